// kann mask and unmask: there and back bit for bit, locks, warnings, and stores that don't belong.
#include "tests/apps/redact_fixture.h"

#include "kbann/kbann.h"

#include <algorithm>

namespace {

class KannMaskTest : public RedactTest {
protected:
    // A tree of the page's size with redactions; the ones with a key are locked.
    struct Area {
        std::array<int, 4> rect;
        const char* key = nullptr;
        const char* turn = "0";
    };
    void makeStore(const std::string& name, const std::vector<Area>& redactions, int across = width,
                   int down = height) const {
        HANNOBJECT root = nullptr;
        const AnnRect whole{0, 0, static_cast<double>(across), static_cast<double>(down)};
        ASSERT_EQ(K_AnnCreateContainer(nullptr, &whole, TRUE, &root), SUCCESS);
        for (const Area& area : redactions) {
            HANNOBJECT object = nullptr;
            const AnnRect rect{static_cast<double>(area.rect[0]), static_cast<double>(area.rect[1]),
                               static_cast<double>(area.rect[2]), static_cast<double>(area.rect[3])};
            ASSERT_EQ(K_AnnCreateItem(root, ANN_OBJECT_REDACT, TRUE, &object), SUCCESS);
            ASSERT_EQ(K_AnnSetRect(object, &rect), SUCCESS);
            ASSERT_EQ(K_AnnSetName(object, TRUE, "a name that is drawn above", nullptr, FALSE, 0), SUCCESS);
            ASSERT_EQ(K_AnnRotate(object, std::stod(area.turn), nullptr, 0), SUCCESS);
            EXPECT_EQ(area.key ? K_AnnLock(object, area.key, 0) : SUCCESS, SUCCESS);
        }
        ASSERT_EQ(K_AnnSave(path(name).c_str(), root, ANN_FMT_NATIVE, FALSE, nullptr), SUCCESS);
        K_AnnDestroy(root, 0);
    }
    bool changed(const std::string& a, const std::string& b, int left, int top, int right, int bottom) const {
        const auto one = pixels(a), other = pixels(b);
        for (int y = top; y < bottom; ++y) {
            for (int i = left * 3; i < right * 3; ++i) {
                if (one[static_cast<std::size_t>(y * width * 3 + i)] != other[static_cast<std::size_t>(y * width * 3 + i)])
                    return true;
            }
        }
        return false;
    }
};

} // namespace

TEST_F(KannMaskTest, ThereAndBackBitForBit) {
    makeStore("in.kba", {{{10, 8, 33, 21}}, {{30, 15, 41, 30}}, {{-5, 40, 9, 99}}, {{50, 20, 70, 30}, nullptr, "30"}});
    constexpr PageKind kinds[] = {
        {"colour", "in.tif", 24, KB_COMPRESS_LZW},
        {"fax", "in.tif", 1, KB_COMPRESS_G4},
        {"sixteen colours", "in.tif", 4, KB_COMPRESS_LZW, 1, true},
        {"palette", "in.png", 8, 0, 1, true},
        {"fourth byte", "in.tif", 32, KB_COMPRESS_NONE},
        {"opacity", "in.png", 32, 0, 1, false, false, true},
        {"rows bottom-up", "in.tif", 24, KB_COMPRESS_NONE, KB_VIEW_BOTTOM_LEFT},
        {"half a turn", "in.tif", 8, KB_COMPRESS_LZW, KB_VIEW_BOTTOM_RIGHT},
    };
    for (const PageKind& kind : kinds) {
        SCOPED_TRACE(kind.name);
        makePage(kind.file, kind);
        const std::string extension(std::string(kind.file).substr(2)), out = "out" + extension, back = "back" + extension;
        const KannResult masked = kann({"mask", kind.file, "in.kba", "-o", out, "--store", "keep.kba"});
        EXPECT_EQ(masked.status, 0) << masked.err;
        EXPECT_NE(masked.err.find("keep.kba holds the covered pixels"), std::string::npos) << masked.err;
        EXPECT_TRUE(changed(kind.file, out, 10, 8, 33, 21));
        EXPECT_FALSE(changed(kind.file, out, 10, 0, 75, 7)) << "names are drawn";
        EXPECT_NE(done({"info", "keep.kba"}).find("holds pixels that can be restored"), std::string::npos);
        done({"unmask", out, "keep.kba", "-o", back});
        EXPECT_EQ(rows(back), rows(kind.file));
        EXPECT_EQ(kann({"verify", out, "keep.kba"}).status == 0, false) << "a mask is no redaction of turned areas";
        const std::string out1 = read(out);
        EXPECT_EQ(kann({"mask", out, "keep.kba", "-o", out, "--store", "again.kba"}).status, 1);
        EXPECT_EQ(read(out), out1);
        EXPECT_FALSE(exists("again.kba"));
    }
}

TEST_F(KannMaskTest, LocksHoldUntilTheirKeyComes) {
    makePage("in.tif", {"", "in.tif", 24});
    makeStore("in.kba", {{{5, 5, 20, 15}, "one"}, {{40, 5, 60, 15}, "two"}, {{10, 30, 30, 40}}});
    EXPECT_EQ(kann({"mask", "in.tif", "in.kba", "-o", "out.tif", "--store", "keep.kba"}).status, 0);
    const struct {
        std::vector<std::string> key;
        int status;
        bool first, second;
    } table[] = {{{}, 3, true, true},
                 {{"--key", "ONE"}, 3, true, true},
                 {{"--key", "one"}, 3, false, true},
                 {{"--key", "two"}, 3, true, false}};
    for (const auto& row : table) {
        std::vector<std::string> arguments{"unmask", "out.tif", "keep.kba", "-o", "back.tif"};
        arguments.insert(arguments.end(), row.key.begin(), row.key.end());
        const KannResult result = kann(arguments);
        EXPECT_EQ(result.status, row.status);
        EXPECT_NE(result.err.find("locked redactions stay covered"), std::string::npos);
        EXPECT_EQ(changed("in.tif", "back.tif", 5, 5, 20, 15), row.first);
        EXPECT_EQ(changed("in.tif", "back.tif", 40, 5, 60, 15), row.second);
        EXPECT_FALSE(changed("in.tif", "back.tif", 10, 30, 30, 40));
    }
}

TEST_F(KannMaskTest, WhatLiesUnderALockStaysCovered) {
    makePage("in.png", {"", "in.png", 24});
    // The unlocked one lies over half of the locked one, and holds its pixels: that is told.
    makeStore("in.kba", {{{5, 5, 25, 25}, "key"}, {{15, 5, 40, 25}}});
    const KannResult masked = kann({"mask", "in.png", "in.kba", "-o", "out.png", "--store", "keep.kba"});
    EXPECT_EQ(masked.status, 3);
    EXPECT_NE(masked.err.find("give back pixels of locked ones"), std::string::npos) << masked.err;
    EXPECT_EQ(kann({"unmask", "out.png", "keep.kba", "-o", "back.png"}).status, 3);
    EXPECT_FALSE(changed("in.png", "back.png", 26, 5, 40, 25));
    EXPECT_FALSE(changed("out.png", "back.png", 6, 6, 24, 24)) << "still covered where both lie";
    EXPECT_EQ(kann({"unmask", "out.png", "keep.kba", "--key", "key", "-o", "back.png"}).status, 0);
    EXPECT_EQ(rows("back.png"), rows("in.png"));
}

TEST_F(KannMaskTest, PagesAndStoresThatDontBelong) {
    for (std::uint32_t page = 1; page <= 3; ++page) makePage("in.tif", {"", "in.tif", 8, KB_COMPRESS_LZW}, page, page > 1);
    makeStore("one.kba", {{{5, 5, 20, 15}}});
    makeStore("two.kba", {{{30, 30, 40, 40}}});
    done({"pages", "one.kba", "insert", "last", "two.kba", "-o", "both.kba"});
    EXPECT_EQ(kann({"mask", "in.tif", "both.kba", "-o", "out.tif", "--store", "keep.kba"}).status, 0);
    EXPECT_NE(rows("out.tif", 1), rows("in.tif", 1));
    EXPECT_NE(rows("out.tif", 2), rows("in.tif", 2));
    EXPECT_EQ(rows("out.tif", 3), rows("in.tif", 3));
    done({"unmask", "out.tif", "keep.kba", "-o", "back.tif"});
    for (int page = 1; page <= 3; ++page) EXPECT_EQ(rows("back.tif", page), rows("in.tif", page));
    EXPECT_EQ(kann({"mask", "in.tif", "one.kba", "--page", "3", "-o", "out.tif", "--store", "third.kba"}).status, 0);
    EXPECT_EQ(rows("out.tif", 1), rows("in.tif", 1));
    EXPECT_NE(rows("out.tif", 3), rows("in.tif", 3));
    done({"unmask", "out.tif", "third.kba", "--page", "3", "-o", "back.tif"});
    EXPECT_EQ(rows("back.tif", 3), rows("in.tif", 3));

    makeText("other.tif");
    makePage("deep.tif", {"", "deep.tif", 16, 0, 1, false, true});
    makeStore("none.kba", {});
    makeStore("beside.kba", {{{500, 500, 600, 600}}});
    write("picture.png", "not a store, and longer than a header");
    const struct {
        const char* name;
        std::vector<std::string> arguments;
        int status;
        const char* error;
    } table[] = {
        {"another image", {"unmask", "other.tif", "keep.kba", "-o", "new.tif"}, 1, "belongs to another image"},
        {"no pixels held", {"unmask", "out.tif", "one.kba", "-o", "new.tif"}, 1, "holds no covered pixels"},
        {"nothing to cover", {"mask", "in.tif", "none.kba", "-o", "new.tif", "--store", "new.kba"}, 1, "nothing to cover"},
        {"beside the image", {"mask", "in.tif", "beside.kba", "-o", "new.tif", "--store", "new.kba"}, 1, "nothing to cover"},
        {"deep grey", {"mask", "deep.tif", "one.kba", "-o", "new.tif", "--store", "new.kba"}, 1, "12 and 16 bits"},
        {"JPEG", {"mask", "deep.tif", "one.kba", "-o", "new.jpg", "--store", "new.kba"}, 1, "JPEG"},
        {"over another file",
         {"mask", "in.tif", "one.kba", "-o", "new.tif", "--store", "picture.png"},
         1,
         "holds no annotation data"},
        {"no second store", {"mask", "in.tif", "one.kba", "-o", "new.tif"}, 2, "usage"},
        {"folder that isn't there",
         {"mask", "in.tif", "one.kba", "-o", "none/new.tif", "--store", "new.kba"},
         1,
         "none/new.tif"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        const KannResult result = kann(row.arguments);
        EXPECT_EQ(result.status, row.status) << result.err;
        EXPECT_NE(result.err.find(row.error), std::string::npos) << result.err;
        EXPECT_FALSE(exists("new.tif") || exists("new.kba") || exists("new.jpg"));
    }
}
