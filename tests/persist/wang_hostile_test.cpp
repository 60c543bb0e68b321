// Marks that lie: every cut and many changes of a sound file, images whose headers lie, lists that would take long, images
// that unfold without end. Nothing may crash, hang or leave anything behind.
#include "contracts/raster_io.h"
#include "tests/persist/support.h"
#include "tests/persist/wang_bytes.h"
#include "tests/temporary_folder.h"

#include <filesystem>
#include <fstream>
#include <random>

using namespace kbann;
using namespace kbann::test;

namespace {

// A mark of every kind with every block.
std::string soundMarks(bool wide) {
    MarkBytes bytes(wide);
    bytes.block("OiIndex", "9", 2);
    bytes.mark({.uType = 5}).block("OiIndex", "0").block("KiteDat", fileText("BEGINOBJECT\n0\nFATHER\n0\nENDOBJECT\n"));
    bytes.mark({.uType = 1}).block("OiIndex", "1").block("OiAnoDat", bytes.number(6) + std::string(52, '\0'));
    bytes.block("OiDIB", smallDib()).block("OiFilNam", "/gone");
    bytes.mark({.uType = 4}).block("OiAnoDat", bytes.points(2, 2, {1, 2, 3, 4})).block("OiGroup", "[Untitled]");
    bytes.mark({.uType = 7}).block("OiAnText", bytes.text(450, "words"));
    bytes.mark({.uType = 6, .highlighting = 1}).mark({.uType = 11}).block("OiDIB", "?");
    bytes.mark({.uType = 6}).block("OiDIB", smallDib());
    bytes.block("KiteDat", fileText("BEGINOBJECT\n13\nLOCK\n3\n86)C\nENDOBJECT\n"));
    const std::string coded("\0\0\4\0\0\0\x16\0\0\0\3\0\4\0\0\0\x4E\0\0\0\x25\0\0\0\0\0", 26);
    return bytes.mark({.uType = 10}).block("KiteDAT", coded).data;
}

class WangHostile : public testing::TestWithParam<bool> {};

TEST_P(WangHostile, CutAndChangedFiles) {
    const std::string sound = soundMarks(GetParam());
    {
        StoredTree tree;
        ASSERT_EQ(load(sound, tree), SUCCESS);
        ASSERT_EQ(tree.root->pFirstChild->nType, uint32_t{ANN_OBJECT_STAMP});
    }
    const size_t before = annObjectTable().live();
    const auto survives = [&](const std::string& data) {
        StoredTree tree;
        const int code = load(data, tree);
        if (code != SUCCESS) {
            EXPECT_EQ(tree.root, nullptr);
        }
        if (tree.root) saved(tree.root);
        return code;
    };
    int sounds = 0;
    for (size_t cut = 0; cut < sound.size(); ++cut) sounds += survives(sound.substr(0, cut)) == SUCCESS;
    EXPECT_LE(sounds, 4 * 26) << "only cuts between blocks, of which there are 26, leave sound files";
    EXPECT_GE(sounds, 26);
    const auto seed = static_cast<unsigned>(GTEST_FLAG_GET(random_seed)) + 11;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    constexpr uint8_t values[] = {0, 1, 5, 6, 0x7F, 0x80, 0xFF};
    for (int round = 0; round < 4000; ++round) {
        std::string data = sound;
        for (int changes = 0; changes < 3; ++changes)
            data[8 + random() % (data.size() - 8)] = static_cast<char>(values[random() % 7]);
        survives(data);
    }
    EXPECT_EQ(annObjectTable().live(), before);
}

INSTANTIATE_TEST_SUITE_P(Layouts, WangHostile, testing::Bool(), [](const auto& i) { return i.param ? "wide" : "narrow"; });

std::string dib(int32_t width, int32_t height, uint16_t bits, uint32_t compression, uint32_t colors, size_t behind) {
    std::string data(40 + behind, '\0');
    const auto put = [&data](size_t at, auto value) { std::memcpy(data.data() + at, &value, sizeof value); };
    put(0, uint32_t{40});
    put(4, width);
    put(8, height);
    put(12, uint16_t{1});
    put(14, bits);
    put(16, compression);
    put(32, colors);
    return data;
}

TEST(WangHostile, ImagesThatLie) {
    const struct {
        const char* name;
        std::string dib;
        int code;
    } rows[] = {
        {"all there is", dib(2, 2, 24, 0, 0, 16), SUCCESS},
        {"top down", dib(2, -2, 24, 0, 0, 16), SUCCESS},
        {"a byte short", dib(2, 2, 24, 0, 0, 15), ERROR_FILE_READ},
        {"half a header", dib(2, 2, 24, 0, 0, 16).substr(0, 20), ERROR_FILE_READ},
        {"nothing", "", ERROR_FILE_READ},
        {"another header", "\x29" + dib(2, 2, 24, 0, 0, 16).substr(1), ERROR_FILE_READ},
        {"far too large", dib(0x7FFFFFFF, 0x7FFFFFFF, 32, 0, 0, 16), ERROR_FILE_READ},
        {"the smallest height", dib(1, INT32_MIN, 1, 0, 0, 16), ERROR_FILE_READ},
        {"no width", dib(0, 2, 24, 0, 0, 16), ERROR_FILE_READ},
        {"an odd depth", dib(2, 2, 7, 0, 0, 16), ERROR_FILE_READ},
        {"more colours than the depth has", dib(2, 2, 8, 0, 257, 2000), ERROR_FILE_READ},
        {"all colours there are", dib(2, 2, 24, 0, UINT32_MAX, 16), ERROR_FILE_READ},
        {"a file inside", dib(2, 2, 24, 4, 0, 16), ERROR_FILE_READ},
        {"runs of another depth", dib(2, 2, 24, 1, 0, 16), ERROR_FILE_READ},
        {"runs without end", dib(1 << 24, 1 << 24, 8, 1, 0, 1100), ERROR_NO_MEMORY},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        StoredTree tree;
        EXPECT_EQ(load(MarkBytes(true).mark({.uType = 1}).block("OiDIB", row.dib).data, tree), row.code);
    }
    // Each is small enough, all together aren't.
    MarkBytes many(true);
    std::string runs = dib(16000, 16000, 8, 1, 1, 6);
    runs[45] = 1; // the end at once
    for (int i = 0; i < 2; ++i) many.mark({.uType = 1}).block("OiDIB", runs);
    StoredTree tree;
    EXPECT_EQ(load(many.data, tree), ERROR_NO_MEMORY);
}

TEST(WangHostile, ManyMarks) {
    MarkBytes bytes(false);
    for (int i = 0; i < 50'000; ++i) bytes.mark({.uType = 5}).block("OiIndex", std::to_string(i));
    StoredTree tree;
    ASSERT_EQ(load(bytes.data, tree), SUCCESS);
    uint32_t count = 0;
    for (const AnnObject* o = tree.root->pFirstChild; o; o = o->pNext) count += o->nSaveId == count;
    EXPECT_EQ(count, 50'000u);
}

// Lists that turn, open or unscramble one object again and again, and that make pixels out of nothing, are refused early.
TEST(WangHostile, WorkWithoutBytes) {
    constexpr int points = 20'000, times = 1500;
    const std::string zeros(8 * points, '\0'), textAt45 = MarkBytes(true).text(450, "");
    const auto count = [](uint32_t n) { return std::string(reinterpret_cast<const char*>(&n), 4); };
    const auto path = [&] {
        return MarkBytes(true).mark({.uType = 4}).block("OiAnoDat", count(points) + count(points) + zeros);
    };
    const auto again = [](MarkBytes bytes, int blocks, const char* name, const std::string& block) {
        for (int i = 0; i < blocks; ++i) bytes.block(name, block);
        return bytes.data;
    };
    const auto object = [](const char* lines) { return fileText(std::string("BEGINOBJECT\n") + lines + "ENDOBJECT\n"); };
    // A few bytes make 4 million pixels.
    std::string runs = dib(2048, 2048, 8, 1, 1, 6);
    runs[45] = 1; // the end at once
    const auto redaction = [&](const std::string& image) {
        return MarkBytes(true).mark({.uType = 6}).block("OiDIB", image).block("KiteDat", object("13\n"));
    };
    const auto keys = [&](int count) {
        MarkBytes bytes = redaction(runs);
        for (int i = 0; i < count; ++i)
            bytes.block("KiteDat", object("13\nLOCK\n3\n86)C\n")).block("KiteDat", object("13\nLOCK\n0\n\n"));
        return bytes.data;
    };
    // Each name reads the file anew, and each mirrored stamp has pixels of its own.
    const TemporaryFolder folder;
    const std::string file = folder.file("large.bmp"), otherName = folder.file("./large.bmp");
    std::ofstream(file, std::ios::binary) << std::string("BM\0\0\0\0\0\0\0\0\x3E\0\0\0", 14)
                                          << dib(16'000, 16'000, 1, 0, 0, 8);
    std::filesystem::resize_file(file, 62 + 2000 * 16'000);
    const auto stamps = [](std::initializer_list<std::string> names, char rotation) {
        MarkBytes bytes(true);
        for (const std::string& name : names)
            bytes.mark({.uType = 2}).block("OiAnoDat", rotation + std::string(55, '\0')).block("OiFilNam", name);
        return bytes.data;
    };
    const auto namesOfNothing = [](int count) {
        MarkBytes bytes(true);
        bytes.mark({.uType = 2});
        for (int i = 0; i < count; ++i) bytes.block("OiFilNam", "/" + std::to_string(i));
        return bytes.data;
    };
    // A ruler whose unit is a long word.
    const auto longUnit = [&](int turns) {
        StoredTree ruler(newObject(ANN_OBJECT_RULER));
        ruler.root->pszUnitAbbrev.assign(std::string(1'000'000, 'i'));
        TextStream out;
        TextWriter writer(out.stream);
        EXPECT_EQ(annWriteObject(writer, *ruler.root, STREAM_REDUCED), SUCCESS);
        writer.finish();
        return again(MarkBytes(true).mark({.uType = 3}).block("KiteDat", out.text()), turns, "OiAnText", textAt45);
    };
    const struct {
        const char* name;
        std::string data;
        int code;
    } rows[] = {
        {"files that are gone", namesOfNothing(900), SUCCESS},
        {"files without end", namesOfNothing(1500), ERROR_FILE_READ},
        {"a path that is turned once", again(path(), 1, "OiAnText", textAt45), SUCCESS},
        {"a path that is turned without end", again(path(), times, "OiAnText", textAt45), ERROR_FILE_READ},
        {"a long unit that is turned twice", longUnit(2), SUCCESS},
        {"a long unit that is turned without end", longUnit(200), ERROR_FILE_READ},
        {"a polygon that is opened twice", again(path(), 2, "KiteDat", object("10\n")), SUCCESS},
        {"a polygon that is opened without end", again(path(), 4 * times, "KiteDat", object("10\n")), ERROR_FILE_READ},
        {"an image that is hidden twice", keys(2), SUCCESS},
        {"an image that is hidden without end", keys(100), ERROR_FILE_READ},
        {"stamps of one file", stamps({file, file, file}, 1), SUCCESS},
        {"stamps of one file with two names", stamps({file, otherName}, 1), ERROR_NO_MEMORY},
        {"a mirrored stamp of a file", stamps({file}, 5), ERROR_NO_MEMORY},
        {"a row of pixels", redaction(dib(20, 1, 24, 0, 0, 60)).block("OiAnText", textAt45).data, SUCCESS},
        {"a row that becomes a square", redaction(dib(32'000, 1, 1, 0, 0, 4008)).block("OiAnText", textAt45).data,
         ERROR_NO_MEMORY},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        StoredTree tree;
        EXPECT_EQ(load(row.data, tree), row.code);
    }
    // A host's own limit counts.
    for (const std::string& image : {runs, dib(2048, 1024, 1, 0, 0, 8 + 256 * 1024)}) {
        const std::string stamp = MarkBytes(true).mark({.uType = 1}).block("OiDIB", image).data;
        const uint64_t usual = K_SetPixelLimit(1'000'000);
        StoredTree tree;
        EXPECT_EQ(load(stamp, tree), ERROR_NO_MEMORY);
        K_SetPixelLimit(usual);
        EXPECT_EQ(load(stamp, tree), SUCCESS);
    }
}

} // namespace
