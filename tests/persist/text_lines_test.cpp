// Lines, encoded runs and the two kinds of stream beneath them.
#include "persist/text_lines.h"
#include "tests/persist/support.h"

#include <random>
#include <vector>

using namespace kbann;
using namespace kbann::test;

namespace {

using namespace std::string_literals;

std::string encoded(std::string_view bytes) {
    TextStream out;
    TextWriter writer(out.stream);
    writer.run(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    EXPECT_EQ(writer.finish(), SUCCESS);
    return bytes.empty() ? std::string() : out.text();
}

TEST(TextLines, LinesEndAtBytesBelowABlankOrAbove127) {
    const struct {
        const char* name;
        std::string data;
        std::vector<std::string> lines; // then empty for ever
    } rows[] = {
        {"either line end", "a\r\nb\nc", {"a", "b", "c"}},
        {"blank lines vanish", "a\r\n\r\n\n\t\nb\n", {"a", "b"}},
        {"but not at the start", "\r\na\n", {"", "a"}},
        {"high bytes end a line", "ab\x80\xFFz\n", {"ab", "z"}},
        {"blanks stay", " a  \n b", {" a  ", " b"}},
        {"a NUL stops", "a\n\0b\n"s, {"a", ""}},
        {"a line of 80", std::string(80, 'x') + "\r\ny", {std::string(80, 'x'), "y"}},
        {"a longer line is cut", std::string(85, 'x') + "\r\ny", {std::string(80, 'x'), "xxxxx", "y"}},
        {"line ends go on past the window", "a" + std::string(300, '\n') + "b", {"a", "b"}},
        {"no data", "", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        for (const int64_t piece : {0, 1, 3, 79}) {
            TextStream in(row.data);
            CrumblingStream crumbs(in.stream, piece);
            AnnStream& stream = piece ? crumbs : in.stream;
            TextReader reader(stream);
            std::string_view line;
            for (const auto& wanted : row.lines) {
                ASSERT_TRUE(reader.line(line));
                EXPECT_EQ(line, wanted);
            }
            ASSERT_TRUE(reader.line(line));
            EXPECT_EQ(line, "");
        }
    }
}

TEST(TextLines, OneLineLeavesTheStreamAtTheNext) {
    TextStream in("first\r\n\r\nsecond\r\n");
    char line[longestLine];
    size_t length = 0;
    ASSERT_EQ(annReadLine(in.stream, line, length), SUCCESS);
    EXPECT_EQ(std::string_view(line, length), "first");
    EXPECT_EQ(in.stream.uPos, 9u);
    FailingStream dead(in.stream, 0);
    dead.pfnRead = [](AnnStream&, void*, int64_t) -> int64_t { return -1; };
    EXPECT_EQ(annReadLine(dead, line, length), ERROR_FILE_READ);
}

TEST(TextLines, RunsOfBytes) {
    EXPECT_EQ(encoded("abc"), "86)C\r\n");
    EXPECT_EQ(encoded("a"), "80\r\n");
    EXPECT_EQ(encoded("ab"), "86(\r\n");
    EXPECT_EQ(encoded(""), "");
    EXPECT_EQ(encoded(std::string(45, '\0')), std::string(60, ' ') + "\r\n");
    EXPECT_EQ(encoded(std::string(46, '\0')), std::string(60, ' ') + "\r\n  \r\n");
    EXPECT_EQ(encoded(std::string(45, '\xFF')), std::string(60, '_') + "\r\n");

    std::mt19937 random(static_cast<unsigned>(GTEST_FLAG_GET(random_seed)) + 7);
    for (size_t size = 1; size < 200; ++size) {
        std::string bytes(size, 0);
        for (char& c : bytes) c = static_cast<char>(random());
        TextStream in(encoded(bytes) + "NEXT\r\n");
        TextReader reader(in.stream);
        std::string back(size, 0);
        ASSERT_TRUE(reader.run(reinterpret_cast<uint8_t*>(back.data()), size));
        ASSERT_EQ(back, bytes);
        std::string_view next;
        ASSERT_TRUE(reader.line(next));
        ASSERT_EQ(next, "NEXT");
    }
}

TEST(TextLines, RunsDontCareForLineLengths) {
    const std::string bytes = "The quick brown fox jumps over";
    const std::string whole = encoded(bytes);
    for (size_t step = 1; step < 7; ++step) {
        std::string cut;
        for (size_t i = 0; i + 2 < whole.size(); i += step)
            cut += whole.substr(i, std::min(step, whole.size() - 2 - i)) + "\n";
        TextStream in(cut);
        TextReader reader(in.stream);
        std::string back(bytes.size(), 0);
        ASSERT_TRUE(reader.run(reinterpret_cast<uint8_t*>(back.data()), back.size()));
        EXPECT_EQ(back, bytes);
    }
    TextStream in(whole);
    TextReader reader(in.stream);
    std::string more(bytes.size() + 1, 0);
    EXPECT_FALSE(reader.run(reinterpret_cast<uint8_t*>(more.data()), more.size())) << "the data ends before";
}

TEST(TextLines, ScramblingIsChainedAndComesBack) {
    const std::string plain = "secret key";
    std::string hidden(plain.size(), 0);
    auto* bytes = reinterpret_cast<uint8_t*>(hidden.data());
    annScramble(bytes, reinterpret_cast<const uint8_t*>(plain.data()), plain.size());
    for (size_t i = 1; i < plain.size(); ++i) EXPECT_EQ(static_cast<char>(hidden[i] ^ hidden[i - 1]), plain[i]);
    EXPECT_NE(hidden[0], plain[0]);
    annUnscramble(bytes, hidden.size());
    EXPECT_EQ(hidden, plain);
}

TEST(Stream, MemoryPositionsAndSizes) {
    TextStream memory("hello");
    AnnStream& s = memory.stream;
    EXPECT_EQ(s.uEnd, 5u);
    EXPECT_EQ(s.uLimit, streamGrowthBytes);
    char buffer[8];
    EXPECT_EQ(s.pfnRead(s, nullptr, 1), -1);
    EXPECT_EQ(s.pfnRead(s, buffer, 8), 5);
    EXPECT_EQ(s.pfnRead(s, buffer, 8), 0);
    EXPECT_EQ(s.pfnSeek(s, 0, 3), -1);
    EXPECT_EQ(s.pfnSeek(s, -2, 2), 3);
    EXPECT_EQ(s.pfnSeek(s, 1, 1), 4);
    EXPECT_EQ(s.pfnWrite(s, nullptr, 3), -1);
    EXPECT_EQ(s.pfnWrite(s, nullptr, 0), 0);
    EXPECT_EQ(memory.text(), "hell");
    EXPECT_EQ(s.pfnSeek(s, 6, 0), 6);
    EXPECT_EQ(s.pfnRead(s, buffer, 1), -1) << "beyond the end";
    EXPECT_EQ(s.pfnWrite(s, "xy", 2), 2);
    EXPECT_EQ(memory.text(), "hell\0\0xy"s);
    EXPECT_EQ(s.pfnSeek(s, static_cast<int64_t>(streamGrowthBytes) + 1, 0), static_cast<int64_t>(streamGrowthBytes) + 1);
    EXPECT_EQ(s.pfnWrite(s, "z", 1), -1) << "beyond what is allocated";
}

TEST(Stream, WritesAreCutToWhatFitsWhenABlockCantGrow) {
    TextStream memory("hello");
    AnnStream& s = memory.stream;
    s.uPos = s.uLimit - 3;
    KbSetAllocationHook([](SIZE_T, void*) -> BOOL { return 0; }, nullptr);
    const int64_t written = s.pfnWrite(s, "abcdef", 6);
    KbSetAllocationHook(nullptr, nullptr);
    EXPECT_EQ(written, 3);
    EXPECT_EQ(s.uLimit, streamGrowthBytes);
    EXPECT_EQ(memory.text().substr(streamGrowthBytes - 3), "abc");
}

TEST(Stream, FilesAreReadWithinTheirLimit) {
    const std::string path = testing::TempDir() + "kbann_stream_test";
    const int file = K_FileOpen(path.c_str(), 0x8302, 0x80, 0);
    ASSERT_GE(file, 0);
    std::string content(100'000, 'x');
    for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>('a' + i % 26);
    AnnStream out = annFileStream(file, 0, UINT32_MAX);
    EXPECT_EQ(out.pfnWrite(out, content.data(), 100'000), 100'000);
    EXPECT_EQ(out.uPos, 100'000u);

    AnnStream in = annFileStream(file, 10, 70'000);
    ASSERT_EQ(in.pfnSeek(in, 10, 0), 10);
    std::string read(100'000, 0);
    EXPECT_EQ(in.pfnRead(in, read.data(), 100'000), 70'000);
    EXPECT_EQ(read.substr(0, 70'000), content.substr(10, 70'000));
    EXPECT_EQ(in.pfnRead(in, read.data(), 1), 0);
    EXPECT_EQ(in.uPos, 70'010u);

    ASSERT_TRUE(annSeekTo(out, 5));
    EXPECT_TRUE(annCut(out));
    uint64_t end = 0;
    EXPECT_TRUE(annStreamEnd(out, end));
    EXPECT_EQ(end, 5u);
    EXPECT_EQ(out.uPos, 5u);
    K_FileClose(file, 0);
    std::remove(path.c_str());
}

} // namespace
