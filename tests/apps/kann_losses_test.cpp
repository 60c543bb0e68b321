// kann redact and mask: nothing is lost, covered or overwritten without a word.
#include "tests/apps/redact_fixture.h"

#include <functional>
#include <unistd.h>

namespace {

class KannLossesTest : public RedactTest {
protected:
    void SetUp() override {
        RedactTest::SetUp();
        writeRegions("areas.json", {{10, 8, 33, 21}});
        makePage("in.tif", {"", "in.tif", 24, KB_COMPRESS_NONE});
        done({"add", "new:75x53", "redact", "--rect", "10,8,33,21", "-o", "in.kba"});
    }
    // The page with a small copy of it before or behind, which is tagged as one.
    void makePreview(bool before) const {
        makePage("pair.tif", {"", "pair.tif", 24, KB_COMPRESS_NONE}, before ? 2 : 1);
        makePage("pair.tif", {"", "pair.tif", 24, KB_COMPRESS_NONE}, before ? 1 : 2, true);
        const std::uint32_t reduced = 1;
        EXPECT_EQ(K_RewriteFileTag(path("pair.tif").c_str(), before ? 1 : 2, 254, 4, 1, &reduced), SUCCESS);
    }
};

} // namespace

TEST_F(KannLossesTest, WhatAResultHasntIsTold) {
    const auto setWord = [](int tag, char value) {
        return [tag, value](std::string& bytes) { bytes[entryOf(bytes, tag) + 8] = value; };
    };
    const struct {
        const char* name;
        int bits;
        std::function<void(std::string&)> change;
        const char* told;
    } table[] = {
        {"inks", 32,
         [&](std::string& bytes) {
             setWord(262, 5)(bytes);
             putNumber(bytes, entryOf(bytes, 338), 339 | 3 << 16); // no opacity, but whole numbers
             setWord(339, 1)(bytes);
         },
         "inks or colours of another kind"},
        {"grey with more", 24, setWord(262, 1), "further samples"},
        {"pixels that aren't square", 24, setWord(296, 1), "how wide its pixels are"},
        {"half a resolution", 24, [](std::string& bytes) { putNumber(bytes, numberAt(bytes, entryOf(bytes, 283) + 8), 0); },
         "along one side alone"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        makePage("odd.tif", {"", "odd.tif", row.bits, KB_COMPRESS_NONE});
        std::string bytes = read("odd.tif");
        row.change(bytes);
        write("odd.tif", bytes);
        for (const char* out : {"out.tif", "out.png"}) {
            const KannResult result = kann({"redact", "odd.tif", "--regions", "areas.json", "-o", out});
            EXPECT_EQ(result.status, 3);
            EXPECT_NE(result.err.find(row.told), std::string::npos) << result.err;
            done({"verify", out, "areas.json"});
        }
    }
}

TEST_F(KannLossesTest, PagesBehindABreakAreNotLeftOut) {
    makePage("in.tif", {"", "in.tif", 24, KB_COMPRESS_NONE}, 2, true);
    const std::string sound = read("in.tif");
    const std::size_t directory = numberAt(sound, 4);
    const std::size_t link = directory + 2 + 12 * static_cast<std::size_t>(sound[directory]);
    for (const std::uint32_t next : {std::uint32_t{0x7FFFFFFF}, numberAt(sound, 4)}) {
        std::string bytes = sound;
        putNumber(bytes, link, next);
        write("broken.tif", bytes);
        for (const char* command : {"redact", "mask"}) {
            const KannResult result =
                kann(std::string_view(command) == "mask"
                         ? std::vector<std::string>{"mask", "broken.tif", "in.kba", "-o", "out.tif", "--store", "keep.kba"}
                         : std::vector<std::string>{"redact", "broken.tif", "--regions", "areas.json", "-o", "out.tif"});
            EXPECT_EQ(result.status, 1);
            EXPECT_NE(result.err.find("the chain of pages breaks behind page 1"), std::string::npos) << result.err;
            EXPECT_FALSE(exists("out.tif") || exists("keep.kba"));
        }
    }
}

TEST_F(KannLossesTest, PreviewsOfMaskedPagesGo) {
    done({"add", "new:75x53", "rect", "--rect", "1,1,9,9", "-o", "rect.kba"});
    done({"pages", "rect.kba", "insert", "last", "in.kba", "-o", "second.kba"});
    for (const bool before : {false, true}) {
        SCOPED_TRACE(before);
        makePreview(before);
        const std::string store = before ? "second.kba" : "in.kba";
        ASSERT_TRUE(holdsCovered("in.tif", "pair.tif"));
        const KannResult result = kann({"mask", "pair.tif", store, "-o", "out.tif", "--store", "keep.kba"});
        EXPECT_EQ(result.status, 3);
        EXPECT_NE(result.err.find("is a preview or a mask of another one"), std::string::npos) << result.err;
        EXPECT_EQ(fileInfo("out.tif").nPages, 1);
        EXPECT_FALSE(holdsCovered("in.tif", "out.tif"));
        done({"unmask", "out.tif", "keep.kba", "-o", "back.tif"});
        EXPECT_EQ(rows("back.tif"), rows("in.tif"));
        EXPECT_EQ(kann({"unmask", "pair.tif", "keep.kba", "-o", "back.tif"}).status, before ? 1 : 3);
    }
    makePreview(false); // one page is left, so any format takes it
    EXPECT_EQ(kann({"mask", "pair.tif", "in.kba", "-o", "out.png", "--store", "keep.kba"}).status, 3);
    EXPECT_EQ(kann({"mask", "pair.tif", "in.kba", "--page", "2", "-o", "out.png", "--store", "none.kba"}).status, 1);
    EXPECT_FALSE(exists("none.kba"));
}

TEST_F(KannLossesTest, UnpackedResultsHoldNoCoveredPixel) {
    makePage("in.bmp", {"", "in.bmp", 24});
    for (const std::string extension : {".tif", ".bmp"}) {
        ASSERT_TRUE(holdsCovered("in" + extension, "in" + extension));
        done({"redact", "in" + extension, "--regions", "areas.json", "-o", "out" + extension});
        EXPECT_FALSE(holdsCovered("in" + extension, "out" + extension));
        EXPECT_EQ(kann({"mask", "in" + extension, "in.kba", "-o", "mask" + extension, "--store", "keep.kba"}).status, 0);
        EXPECT_FALSE(holdsCovered("in" + extension, "mask" + extension));
    }
}

TEST_F(KannLossesTest, OneFileForTwoResultsIsWrongUsage) {
    const std::string image = read("in.tif"), store = read("in.kba");
    ASSERT_EQ(::symlink("new.tif", path("link.tif").c_str()), 0);
    const std::vector<std::string> redact{"redact", "in.tif", "in.kba"}, mask{"mask", "in.tif", "in.kba"};
    const struct {
        std::vector<std::string> command;
        std::vector<std::string> more;
    } table[] = {
        {redact, {"-o", "new.tif", "--report", "new.tif"}},
        {redact, {"-o", "new.tif", "--report", "./new.tif"}},
        {redact, {"-o", "new.tif", "--report", "link.tif"}},
        {redact, {"-o", "-", "--format", "tiff", "--report", "-"}},
        {redact, {"-o", "new.tif", "--report", "in.tif"}},
        {redact, {"-o", "new.tif", "--report", "in.kba"}},
        {mask, {"-o", "new.tif", "--store", "new.tif"}},
        {mask, {"-o", "link.tif", "--store", "new.tif"}},
        {mask, {"-o", "new.tif", "--store", "in.tif"}},
        {{"redact", "in.tif", "--regions", "areas.json"}, {"-o", "new.tif", "--page", "1"}},
        {{"redact", "in.tif", "--regions", "areas.json"}, {"-o", "new.tif", "--store-page", "2"}},
    };
    for (const auto& row : table) {
        std::vector<std::string> arguments = row.command;
        arguments.insert(arguments.end(), row.more.begin(), row.more.end());
        const KannResult result = kann(arguments);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments) << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_FALSE(exists("new.tif"));
        EXPECT_EQ(read("in.tif") == image && read("in.kba") == store, true);
    }
    // Standard input and standard output have one name and are two things.
    const KannResult piped =
        kann({"redact", "-", "--regions", "areas.json", "-o", "new.tif", "--report", "-"}, read("in.tif"));
    EXPECT_EQ(piped.status, 0) << piped.err;
    EXPECT_EQ(piped.out, "{\"schema\":1,\"pages\":[{\"page\":1,\"size\":[75,53],\"regions\":[[10,8,33,21]]}]}\n");
    // The second store may take the first one's place, and a device takes all it gets.
    done({"redact", "in.tif", "in.kba", "-o", "/dev/null", "--format", "tiff", "--report", "/dev/null"});
    EXPECT_EQ(kann({"mask", "in.tif", "in.kba", "-o", "in.tif", "--store", "in.kba"}).status, 0);
    done({"unmask", "in.tif", "in.kba", "-o", "in.tif"});
    EXPECT_EQ(pixels("in.tif").size(), static_cast<std::size_t>(width * height * 3));
}

TEST_F(KannLossesTest, FailuresAreJsonWhereJsonIsAskedFor) {
    for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{
             {"measure", "gone.kba"}, {"hit", "gone.kba", "1", "1"}, {"info", "gone.kba"}}) {
        std::vector<std::string> json = command;
        json.push_back("--json");
        const KannResult plain = kann(command), result = kann(json);
        EXPECT_EQ(plain.status, 1);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(plain.out, "");
        EXPECT_EQ(result.err, plain.err);
        EXPECT_EQ(result.out.rfind(R"({"file":"gone.kba","code":-14,"message":"Not able to open file)", 0), 0u)
            << result.out;
        EXPECT_TRUE(result.out.ends_with("\"offset\":null}\n")) << result.out;
    }
}
