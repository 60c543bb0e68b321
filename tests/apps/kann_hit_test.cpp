// kann hit: which object lies at a pixel of the image.
#include "tests/apps/kann_process.h"

#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

namespace {

class KannHitTest : public KannTest {
protected:
    void SetUp() override {
        const std::vector<std::vector<std::string>> objects{
            {"note", "--rect", "10,10,60,60", "--tag", "1"},
            {"hilite", "--rect", "40,40,90,90", "--tag", "2", "--name", "over"},
            {"note", "--rect", "45,45,55,55", "--tag", "3", "--visible", "no"},
            {"note", "--rect", "80,80,90,90", "--tag", "4"},
        };
        std::string store = "new:100x100";
        for (std::vector<std::string> words : objects) {
            words.insert(words.begin(), {"add", store});
            words.insert(words.end(), {"-o", "plain.kba"});
            done(words);
            store = "plain.kba";
        }
        done({"lock", "plain.kba", "--key", "k", "--tag", "4", "-o", "tree.kba"});
    }
};

} // namespace

TEST_F(KannHitTest, TheFrontMostVisibleUnlockedObjectIsHit) {
    const struct {
        const char *x, *y, *line;
    } rows[] = {
        {"20", "20", "body: NOTE tag 1\n"},
        {"50", "50", "body: HILITE tag 2 name \"over\"\n"}, // over the first, and a hidden one over both
        {"85", "85", "body: HILITE tag 2 name \"over\"\n"}, // a locked one over it
        {"39", "70", "none\n"},
        {"5", "5", "none\n"}, // the root doesn't count
        {"500", "500", "none\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.x) + ", " + row.y);
        EXPECT_EQ(done({"hit", "tree.kba", row.x, row.y}), row.line);
    }
    EXPECT_EQ(done({"hit", "tree.kba", "--", "-5", "5"}), "none\n");
    const Json document = Json::parse(done({"hit", "tree.kba", "50", "50", "--json"}));
    EXPECT_EQ(document.dump(),
              R"({"schema":1,"file":"tree.kba","page":1,"x":50,"y":50,"hit":"body","object":{"type":"HILITE",)"
              R"("tag":2,"name":"over","bounds":[40.0,40.0,90.0,90.0],"path":[1]}})");
    EXPECT_EQ(Json::parse(done({"hit", "tree.kba", "5", "5", "--json"}))["object"], Json());
    EXPECT_EQ(kann({"hit", "tree.kba", "5", "5.5"}).status, 2);
    EXPECT_EQ(kann({"hit", "tree.kba", "5"}).status, 2);
}

TEST_F(KannHitTest, PixelsAreThoseOfTheImageThatCarriesTheTree) {
    makeImage("large.tif", 200, 300);
    done({"attach", "large.tif", "tree.kba", "-o", "tagged.tif"});
    EXPECT_EQ(done({"hit", "tagged.tif", "40", "60"}), "body: NOTE tag 1\n"); // 20, 20 of the tree
    EXPECT_EQ(done({"hit", "tagged.tif", "20", "20"}), "none\n");
    EXPECT_EQ(kann({"hit", "large.tif", "20", "20"}).status, 1);
}

TEST_F(KannHitTest, StoredZoomDoesntCountAndLargeImagesAreReached) {
    done({"add", "new:30000x20000", "note", "--rect", "29000,19000,29500,19500", "--tag", "7", "-o", "large.kba"});
    EXPECT_EQ(done({"hit", "large.kba", "29250", "19250"}), "body: NOTE tag 7\n");
    EXPECT_EQ(done({"hit", "large.kba", "28990", "19250"}), "none\n");
    std::string stored = read("tree.kba");
    const std::size_t at = stored.find("\nOFFSETX\r\n") + 10;
    stored.replace(at, stored.find("\r\n", at) - at, "-4000");
    write("scrolled.kba", stored);
    EXPECT_EQ(done({"hit", "scrolled.kba", "20", "20"}), "body: NOTE tag 1\n");
}
