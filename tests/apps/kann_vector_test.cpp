// Metafiles: as images of a chosen size, and as pictures of stamps and hotspots.
#include "tests/apps/kann_pictures.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <cstdlib>

using Json = nlohmann::ordered_json;

namespace {

std::string word(int value) { return {static_cast<char>(value), static_cast<char>(value >> 8)}; }
std::string longWord(std::uint32_t value) {
    return word(static_cast<int>(value & 0xFFFF)) + word(static_cast<int>(value >> 16));
}
std::string metaRecord(int function, const std::string& parameters) {
    return longWord(static_cast<std::uint32_t>(3 + parameters.size() / 2)) + word(function) + parameters;
}

// A placeable metafile of 1 x 0.5 inches whose left half is red.
std::string halfRed() {
    constexpr int right = 1000, bottom = 500;
    const std::string box = word(0) + word(0) + word(right) + word(bottom);
    std::string head = longWord(0x9AC6CDD7) + word(0) + box + word(1000) + longWord(0);
    int checksum = 0;
    for (std::size_t i = 0; i < head.size(); i += 2)
        checksum ^= static_cast<std::uint8_t>(head[i]) | static_cast<std::uint8_t>(head[i + 1]) << 8;
    const std::string records = metaRecord(0x020B, word(0) + word(0)) +                         // window origin: y, x
                                metaRecord(0x020C, word(bottom) + word(right)) +                // window extent: y, x
                                metaRecord(0x02FA, word(5) + word(0) + word(0) + longWord(0)) + // no pen
                                metaRecord(0x02FC, word(0) + longWord(0x0000FF) + word(0)) +    // red brush
                                metaRecord(0x012D, word(0)) + metaRecord(0x012D, word(1)) +     // both selected
                                metaRecord(0x041B, word(bottom) + word(right / 2) + word(0) + word(0)) + // b, r, t, l
                                metaRecord(0, "");
    constexpr std::uint32_t headerWords = 9, largestWords = 8;
    return head + word(checksum) + word(1) + word(headerWords) + word(0x300) +
           longWord(static_cast<std::uint32_t>(headerWords + records.size() / 2)) + word(2) + longWord(largestWords) +
           word(0) + records;
}

class KannVectorTest : public KannPictureTest {
protected:
    // Red in the left half and white in the right, but for two pixels at the border, whose place is the player's to say.
    void expectHalves(const std::string& name, int width, int height) const {
        const std::vector<std::uint8_t> got = pixels(name);
        ASSERT_EQ(got.size(), static_cast<std::size_t>(width * height * 3)) << name;
        int wrong = 0;
        for (int y = 2; y < height - 2; ++y) {
            for (int x = 2; x < width - 2; ++x) {
                if (std::abs(x - width / 2) <= 2) continue;
                const Color due = x < width / 2 ? red : white;
                wrong += std::memcmp(&got[static_cast<std::size_t>(y * width + x) * 3], due.data(), 3) != 0;
            }
        }
        EXPECT_EQ(wrong, 0) << name;
    }
    Json lastObject(const std::string& store) const {
        return Json::parse(done({"info", store, "--json"}))["root"]["children"].back();
    }
};

} // namespace

TEST_F(KannVectorTest, MetafilesAreImagesOfTheSizeAskedFor) {
    write("half.wmf", halfRed());
    const struct {
        std::vector<std::string> words;
        int width, height, dpi;
    } rows[] = {{{}, 150, 75, 150},
                {{"--dpi", "300"}, 300, 150, 300},
                {{"--width", "81"}, 81, 41, 81},
                {{"--width", "1000"}, 1000, 500, 1000}};
    for (const auto& row : rows) {
        std::vector<std::string> words{"render", "half.wmf", "-o", "out.png"};
        words.insert(words.end(), row.words.begin(), row.words.end());
        done(words);
        expectHalves("out.png", row.width, row.height);
        EXPECT_EQ(fileInfo("out.png").nXResolution, row.dpi);
    }
    EXPECT_EQ(kann({"render", "half.wmf", "--dpi", "9", "--width", "9", "-o", "x.png"}).status, 2);
    EXPECT_EQ(kann({"render", "half.wmf", "--dpi", "0", "-o", "x.png"}).status, 2);
    EXPECT_EQ(kann({"render", "half.wmf", "--width", "60000", "--max-pixels", "1000000", "-o", "x.png"}).status, 1);
    EXPECT_EQ(kann({"render", "half.wmf", "--page", "2", "-o", "x.png"}).status, 1);
    EXPECT_EQ(kann({"render", "half.wmf", "--page", "2", "--width", "90", "-o", "x.png"}).status, 1);
    write("short.wmf", halfRed().substr(0, 30));
    for (const char* option : {"--dpi", "--width"})
        EXPECT_EQ(kann({"render", "short.wmf", option, "90", "-o", "x.png"}).status, 1);
    EXPECT_FALSE(exists("x.png"));

    done({"add", "new:100x50", "rect", "--rect", "80,10,90,40", "--fore-color", "blue", "-o", "tree.kba"});
    done({"burn", "half.wmf", "tree.kba", "--width", "100", "-o", "burned.png"});
    const std::vector<std::uint8_t> got = pixels("burned.png");
    ASSERT_EQ(got.size(), 15000u);
    EXPECT_EQ(std::memcmp(&got[(20 * 100 + 80) * 3], blue.data(), 3), 0);
}

TEST_F(KannVectorTest, TreesBecomeMetafiles) {
    done({"add", "new:100x50", "rect", "--rect", "0,0,50,50", "--fill-mode", "opaque", "--back-color", "red", "--line-style",
          "null", "-o", "tree.kba"});
    done({"convert", "tree.kba", "--to", "wmf", "-o", "tree.wmf"});
    done({"render", "tree.wmf", "--dpi", "96", "-o", "tree.png"});
    expectHalves("tree.png", 100, 50);
    EXPECT_EQ(kann({"convert", "tree.wmf", "--to", "native", "-o", "back.kba"}).status, 1) << "pictures aren't read back";
}

TEST_F(KannVectorTest, StampsAndHotspotsTakePictures) {
    write("half.wmf", halfRed());
    done({"add", "new:100x50", "stamp", "--rect", "0,0,100,50", "--metafile", "half.wmf", "-o", "own.kba"});
    EXPECT_EQ(lastObject("own.kba")["fields"]["metafile"]["enhanced"], false);
    makeWhite("page.png", 100, 50);
    done({"render", "page.png", "own.kba", "-o", "own.png"});
    expectHalves("own.png", 100, 50);

    std::string paid;
    for (const char* name : {"paid", "void", "approved", "hotspot"}) {
        done({"add", "new:100x50", "stamp", "--rect", "0,0,100,50", "--stamp", name, "-o", "stamp.kba"});
        const std::string digest = lastObject("stamp.kba")["fields"]["metafile"]["sha256"];
        EXPECT_NE(digest, paid);
        if (paid.empty()) paid = digest;
    }
    done({"add", "new:100x50", "hotspot", "--rect", "0,0,100,50", "--stamp", "paid", "-o", "spot.kba"});
    EXPECT_EQ(lastObject("spot.kba")["fields"]["metafile"]["sha256"], paid);
    done({"add", "new:100x50", "freehandhotspot", "--points", "1,1", "90,1", "50,40", "--metafile", "half.wmf", "-o",
          "spot.kba"});
    EXPECT_TRUE(lastObject("spot.kba")["fields"].contains("metafile"));
    done({"add", "new:100x50", "stamp", "--rect", "0,0,100,50", "--image", "half.wmf", "-o", "image.kba"});
    EXPECT_EQ(lastObject("image.kba")["fields"]["bitmap"]["width"], 150);

    const std::vector<std::vector<std::string>> refused{
        {"stamp", "--stamp", "paid", "--text", "x"},
        {"stamp", "--metafile", "half.wmf", "--image", "half.wmf"},
        {"stamp", "--stamp", "nothing"},
        {"rect", "--stamp", "paid"},
    };
    for (std::vector<std::string> words : refused) {
        words.insert(words.begin(), {"add", "new:9x9"});
        words.insert(words.end(), {"--rect", "1,1,8,8", "-o", "x.kba"});
        EXPECT_EQ(kann(words).status, 2);
    }
    EXPECT_EQ(kann({"add", "new:9x9", "stamp", "--rect", "1,1,8,8", "--metafile", "page.png", "-o", "x.kba"}).status, 1);
    EXPECT_FALSE(exists("x.kba"));
}

TEST_F(KannVectorTest, EveryTypeOfObjectCanBeAdded) {
    makeImage("picture.png", 9, 9);
    const std::vector<std::vector<std::string>> rows{
        {"audio", "--rect", "1,1,20,20", "--text", "sound.wav"},
        {"video", "--rect", "1,1,20,20", "--text", "film.avi"},
        {"hotspot", "--rect", "1,1,20,20"},
        {"freehandhotspot", "--points", "1,1", "9,9", "1,9", "--show-nodes", "no"},
        {"button", "--rect", "1,1,20,20", "--text", "press"},
        {"point", "--points", "5,5", "--image", "picture.png", "--transparent", "yes"},
        {"pushpin", "--rect", "1,1,20,20", "--image", "picture.png", "--secondary-image", "picture.png", "--text", "pin"},
        {"stamp", "--rect", "1,1,20,20", "--text", "SEEN"},
        {"crossproduct", "--points", "1,5", "9,5", "5,5", "5,1", "5,9"},
        {"automation"},
    };
    for (std::vector<std::string> words : rows) {
        SCOPED_TRACE(words[0]);
        std::string type = words[0];
        std::ranges::transform(type, type.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        words.insert(words.begin(), {"add", "new:30x30"});
        words.insert(words.end(), {"-o", "one.kba"});
        done(words);
        EXPECT_EQ(lastObject("one.kba")["type"], type);
    }
}
