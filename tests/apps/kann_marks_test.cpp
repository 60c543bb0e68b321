// Marks of other tools on the command line: into and out of tags, from and into the other forms, on the image, and files that
// they name.
#include "tests/apps/kann_process.h"
#include "tests/persist/wang_bytes.h"

#include <algorithm>
#include <cstring>

namespace {

class KannMarksTest : public KannTest {
protected:
    void SetUp() override {
        done({"add", "new:120x90", "rect", "--rect", "20,10,80,50", "--fill-mode", "opaque", "--back-color", "#FF0000",
              "--line-style", "null", "-o", "page.kba"});
        done({"add", "page.kba", "pointer", "--points", "10,80", "100,60", "-o", "page.kba"});
        makeImage("white.tif", 120, 90);
    }

    std::string types(const std::string& name, const std::vector<std::string>& more = {}) const {
        std::vector<std::string> arguments{"info", name};
        arguments.insert(arguments.end(), more.begin(), more.end());
        std::string words, list = done(arguments);
        for (std::size_t at = 0; (at = list.find("\n    ", at)) != std::string::npos;) {
            at += 5;
            words += (words.empty() ? "" : " ") + list.substr(at, list.find(' ', at) - at);
        }
        return words;
    }

    // A stamp whose image is a file: header, one mark, one block.
    static std::string linkedStamp(const std::string& path) {
        std::string data("\0\0\0\0\1\0\0\0\5\0\0\0\xA4\0\0\0\2\0\0\0\x0A\0\0\0\x0A\0\0\0\x28\0\0\0\x1E\0\0\0", 36);
        data.resize(16 + 116, '\0');
        data += std::string("\1\0\0\0\x3F\xF8\x0F\0", 8);
        data.resize(16 + 164, '\0');
        data += std::string("\6\0\0\0\x0C\0\0\0OiFilNam", 16);
        for (int i = 0; i < 4; ++i) data += static_cast<char>((path.size() + 1) >> 8 * i);
        return data + path + '\0';
    }
};

} // namespace

TEST_F(KannMarksTest, FormsHoldWhatTheyCan) {
    const struct {
        const char *form, *types;
    } rows[] = {
        {"tifftag", "RECT POINTER"}, {"wangtag", "RECT LINE"}, {"native", "RECT POINTER"}, {"coded", "RECT POINTER"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.form);
        done({"convert", "page.kba", "--to", row.form, "-o", "store"});
        EXPECT_EQ(types("store"), row.types);
        done({"attach", "white.tif", "page.kba", "--as", row.form, "-o", "tagged.tif"});
        EXPECT_EQ(types("tagged.tif"), row.types);
        done({"extract", "tagged.tif", "-o", "extracted"});
        EXPECT_EQ(read("extracted"), read("store"));
        done({"attach", "white.tif", "extracted", "-o", "again.tif"});
        EXPECT_EQ(read("again.tif"), read("tagged.tif"));
        done({"convert", "store", "--to", "native", "-o", "native.kba"});
        EXPECT_EQ(types("native.kba"), row.types);
        done({"detach", "tagged.tif", "-o", "bare.tif"});
        EXPECT_EQ(kann({"extract", "bare.tif", "-o", "none"}).status, 1);
        EXPECT_EQ(pixels("bare.tif"), pixels("white.tif"));
        // Marks stand on the same pixels as the tree that they were made of, at any scale.
        done({"render", "tagged.tif", "-o", "tagged1.png"});
        done({"render", "tagged.tif", "--scale", "2", "-o", "tagged2.png"});
        done({"render", "white.tif", "store", "--scale", "2", "-o", "store2.png"});
        for (const char* name : {"tagged1.png", "tagged2.png", "store2.png"}) {
            SCOPED_TRACE(name);
            const std::size_t scale = name[std::strlen(name) - 5] - std::size_t{'0'};
            const auto drawn = pixels(name);
            ASSERT_EQ(drawn.size(), 120 * 90 * 3 * scale * scale);
            const auto at = [&drawn, scale](std::size_t x, std::size_t y) {
                const std::uint8_t* p = &drawn[(y * scale * 120 * scale + x * scale) * 3];
                return p[2] << 16 | p[1] << 8 | p[0];
            };
            EXPECT_EQ(at(50, 30), 0xFF0000);
            EXPECT_EQ(at(22, 12), 0xFF0000);
            EXPECT_NE(at(90, 30), 0xFF0000);
        }
    }
    EXPECT_NE(done({"info", "store", "--json"}).find("\"form\": \"coded\""), std::string::npos);
}

// In a file of their own marks don't know their image: they are drawn by its pixels all the same.
TEST_F(KannMarksTest, LooseMarksLieOnTheImagesPixels) {
    done({"convert", "page.kba", "--to", "tifftag", "-o", "whole.tag"});
    done({"convert", "page.kba", "--to", "wangtag", "-o", "marks.tag"});
    EXPECT_NE(done({"info", "marks.tag"}).find("CONTAINER 0,0,31999,31999"), std::string::npos);
    done({"attach", "white.tif", "marks.tag", "-o", "tagged.tif"});
    EXPECT_NE(done({"info", "tagged.tif"}).find("CONTAINER 0,0,119,89"), std::string::npos);
    done({"render", "white.tif", "marks.tag", "-o", "loose.png"});
    done({"render", "tagged.tif", "-o", "tagged.png"});
    EXPECT_EQ(pixels("loose.png"), pixels("tagged.png"));
    done({"burn", "tagged.tif", "-o", "burned.tif"});
    EXPECT_EQ(pixels("burned.tif"), pixels("tagged.png"));
    EXPECT_NE(done({"hit", "tagged.tif", "50", "30"}).find("RECT"), std::string::npos);
}

// Marks with fields of 16 bits, which nothing here writes: shown, drawn and converted as the same ones of the wide layout.
TEST_F(KannMarksTest, TheOlderLayoutIsRead) {
    for (const bool wide : {false, true}) {
        kbann::test::MarkBytes bytes(wide);
        bytes.mark({.uType = 6, .left = 20, .top = 10, .right = 80, .bottom = 50, .color1 = 0x00FF0000});
        bytes.mark({.uType = 3, .left = 5, .top = 60, .right = 105, .bottom = 80, .color1 = 0x000000FF, .lineSize = 3});
        bytes.block("OiAnoDat", bytes.points(2, 2, {0, 0, 100, 20}));
        bytes.mark({.uType = 7, .left = 5, .top = 52, .right = 100, .bottom = 62, .height = -12, .face = "Liberation Sans"});
        bytes.block("OiAnText", bytes.text(90, "older words"));
        write(wide ? "wide.tag" : "older.tag", bytes.data);
    }
    ASSERT_NE(read("older.tag"), read("wide.tag"));
    EXPECT_EQ(types("older.tag"), "RECT LINE TEXT");
    EXPECT_NE(done({"info", "older.tag"}).find("RECT 20,10,80,50\n"), std::string::npos) << done({"info", "older.tag"});
    EXPECT_NE(done({"info", "older.tag"}).find("text \"older words\""), std::string::npos);
    const auto tree = [this](const std::string& name) {
        const std::string document = done({"info", name, "--json"});
        return document.substr(document.find("\"root\""));
    };
    EXPECT_EQ(tree("older.tag"), tree("wide.tag"));

    done({"attach", "white.tif", "older.tag", "-o", "tagged.tif"});
    done({"extract", "tagged.tif", "-o", "extracted.tag"});
    EXPECT_EQ(read("extracted.tag"), read("older.tag"));
    done({"render", "tagged.tif", "-o", "tagged.png"});
    const auto drawn = pixels("tagged.png");
    ASSERT_EQ(drawn.size(), 120u * 90 * 3);
    const auto at = [&drawn](std::size_t x, std::size_t y) {
        const std::uint8_t* p = &drawn[(y * 120 + x) * 3];
        return p[2] << 16 | p[1] << 8 | p[0];
    };
    EXPECT_EQ(at(22, 12), 0xFF0000);
    EXPECT_EQ(at(78, 48), 0xFF0000);
    EXPECT_EQ(at(55, 70), 0x0000FF); // the middle of the line
    done({"render", "white.tif", "older.tag", "-o", "loose.png"});
    EXPECT_TRUE(pixels("loose.png") == drawn);

    for (const std::string form : {"native", "coded", "tifftag", "wangtag"}) {
        SCOPED_TRACE(form);
        for (const std::string name : {"older", "wide"}) done({"convert", name + ".tag", "--to", form, "-o", name + ".out"});
        EXPECT_EQ(read("older.out"), read("wide.out"));
        EXPECT_EQ(types("older.out"), "RECT LINE TEXT");
        if (form == "wangtag") continue; // its boxes grow at each pass
        done({"render", "white.tif", "older.out", "-o", "converted.png"});
        EXPECT_TRUE(pixels("converted.png") == drawn);
    }
}

// Of images that stand sideways and of those with a side beyond what marks know, too: what is drawn and what is covered for good
// are the pixels that the mark tells.
TEST_F(KannMarksTest, MarksLieOnTheirPixelsWhateverTheImage) {
    const struct {
        const char* name;
        int width, height, perspective; // as stored
        RECT mark;
    } rows[] = {
        {"upright", 200, 40, KB_VIEW_TOP_LEFT, {100, 10, 150, 30}},
        {"upside down", 200, 40, KB_VIEW_BOTTOM_RIGHT, {100, 10, 150, 30}},
        {"on its right side", 40, 200, KB_VIEW_RIGHT_TOP, {100, 10, 150, 30}},
        {"on its left side", 40, 200, KB_VIEW_LEFT_BOTTOM, {100, 10, 150, 30}},
        {"to the last pixel", 40, 200, KB_VIEW_LEFT_TOP, {0, 0, 200, 40}},
        {"very wide", 40'000, 40, KB_VIEW_TOP_LEFT, {20'000, 10, 21'000, 30}},
        {"very high, on its side", 40, 40'000, KB_VIEW_RIGHT_TOP, {20'000, 10, 21'000, 30}},
        {"very wide, to the last pixel", 40'000, 40, KB_VIEW_TOP_LEFT, {39'000, 10, 40'000, 40}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        saveBitmap(path("page.tif"), row.width, row.height, 24, KB_FORMAT_TIFF, [&](KernelBitmap& bitmap) {
            bitmap.ViewPerspective = row.perspective;
            for (int y = 0; y < row.height; ++y)
                std::fill_n(K_WritableBitmapRow(&bitmap, y), 3 * row.width, std::uint8_t{0xFF});
        });
        kbann::test::MarkBytes redaction(true);
        redaction.mark({.uType = 6,
                        .left = row.mark.left,
                        .top = row.mark.top,
                        .right = row.mark.right,
                        .bottom = row.mark.bottom,
                        .color1 = 0});
        write("rect.tag", redaction.data);
        write("redaction.tag", redaction.block("KiteDat", "BEGINOBJECT\r\n13\r\nENDOBJECT\r\n").data);
        done({"attach", "page.tif", "rect.tag", "-o", "rect.tif"});
        done({"render", "rect.tif", "-o", "drawn.png"});
        done({"attach", "page.tif", "redaction.tag", "-o", "redaction.tif"});
        done({"redact", "redaction.tif", "-o", "covered.tif"});
        done({"mask", "page.tif", "redaction.tif", "-o", "masked.tif", "--store", "masked.kba"});
        const int across = std::max(row.width, row.height);
        const auto within = [&row](int x, int y, int by) {
            return x >= row.mark.left - by && x < row.mark.right + by && y >= row.mark.top - by && y < row.mark.bottom + by;
        };
        // A rectangle's line stands on its edges.
        for (const auto& [file, edge] : {std::pair{"drawn.png", 2}, {"covered.tif", 0}, {"masked.tif", 0}}) {
            const auto found = pixels(file);
            ASSERT_EQ(found.size(), std::size_t(row.width) * std::size_t(row.height) * 3);
            int wrong = 0;
            for (std::size_t i = 0; i < found.size(); i += 3) {
                const int x = static_cast<int>(i) / 3 % across, y = static_cast<int>(i) / 3 / across;
                if (within(x, y, -edge)) wrong += found[i] != 0;
                if (!within(x, y, edge)) wrong += found[i] != 0xFF;
            }
            EXPECT_EQ(wrong, 0) << file;
        }
    }
}

// Pure marks know no containers, so what lies in one is brought to where it stands; a pixel of line comes around each box.
TEST_F(KannMarksTest, ObjectsOfNestedContainersStandWhereTheyWere) {
    const auto object = [](const char* type, const char* more, const char* points) {
        return std::string("BEGINOBJECT\r\n") + type + "\r\nVISIBLE\r\n1\r\n" + more + "LINEWIDTH\r\n0\r\nPOINTS\r\n3\r\n" +
               points + "ENDOBJECT\r\n";
    };
    const std::string point =
        "BEGINOBJECT\r\n19\r\nVISIBLE\r\n1\r\nPOINTS\r\n1\r\n10\r\n20\r\nENDOBJECT\r\n"; // can't be resized
    const std::string open = "BLOCKBEGIN\r\n", close = "BLOCKEND\r\n";
    write("nested.kba", "KBANNBEGIN\r\n" + object("0", "", "0\r\n0\r\n400\r\n0\r\n400\r\n300\r\n") + open +
                            object("0", "SCALARX\r\n2\r\nOFFSETY\r\n7\r\n", "100\r\n50\r\n300\r\n50\r\n300\r\n250\r\n") +
                            open + point + object("12", "SCALARY\r\n0.5\r\n", "10\r\n20\r\n60\r\n20\r\n60\r\n50\r\n") +
                            object("0", "OFFSETX\r\n3\r\n", "40\r\n40\r\n90\r\n40\r\n90\r\n90\r\n") + open +
                            object("12", "", "5\r\n5\r\n15\r\n5\r\n15\r\n15\r\n") + close + close + close + "KBANNEND\r\n");
    done({"convert", "nested.kba", "--to", "wangtag", "-o", "flat.tag"});
    const std::string tree = done({"info", "flat.tag"});
    EXPECT_NE(tree.find("STAMP 111,68,129,86 image"), std::string::npos) << tree;
    EXPECT_NE(tree.find("RECT 119,76,221,93\n"), std::string::npos) << tree;
    EXPECT_NE(tree.find("RECT 195,101,217,113\n"), std::string::npos) << tree;
}

TEST_F(KannMarksTest, NothingThatCouldBeAMark) {
    done({"add", "new:120x90", "button", "--rect", "20,10,80,50", "-o", "button.kba"});
    const KannResult failed = kann({"convert", "button.kba", "--to", "wangtag", "-o", "none.tag"});
    EXPECT_EQ(failed.status, 1);
    EXPECT_NE(failed.err.find("nothing in it can be a mark"), std::string::npos);
    EXPECT_FALSE(exists("none.tag"));
    EXPECT_EQ(kann({"attach", "white.tif", "button.kba", "--as", "wangtag", "-o", "none.tif"}).status, 1);
    EXPECT_EQ(types("button.kba"), "BUTTON");
    // Data of marks without any that is known carries no annotations.
    write("unknown.tag", std::string("\0\0\0\0\1\0\0\0", 8));
    EXPECT_EQ(kann({"render", "white.tif", "unknown.tag", "-o", "plain.png"}).status, 3);
    const KannResult empty = kann({"attach", "white.tif", "unknown.tag", "--as", "native", "-o", "none.tif"});
    EXPECT_EQ(empty.status, 1);
    EXPECT_NE(empty.err.find("carries no annotation data"), std::string::npos);
}

TEST_F(KannMarksTest, NamedFilesAreOpenedWhenAskedFor) {
    makeImage("stamp.bmp", 30, 20);
    write("stamp.tag", linkedStamp(path("stamp.bmp")));
    EXPECT_EQ(done({"info", "stamp.tag"}).find("image"), std::string::npos);
    EXPECT_NE(done({"info", "stamp.tag", "--linked-images"}).find("image 30x20"), std::string::npos);
    write("folder.tag", linkedStamp(path("")));
    EXPECT_EQ(done({"info", "folder.tag", "--linked-images"}).find("image"), std::string::npos);
}
