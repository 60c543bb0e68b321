// kann render: what the picture shows, pixel by pixel, and what it keeps of the image.
#include "tests/apps/kann_pictures.h"

using KannRenderTest = KannPictureTest;

TEST_F(KannRenderTest, ARectangleStandsWhereItIsFitted) {
    makeWhite("page.png", 40, 30);
    done({"add", "new:40x30", "rect", "--rect", "10,10,30,20", "--fore-color", "#FF0000", "--line-width", "0", "-o",
          "same.kba"});
    done({"add", "new:20x15", "rect", "--rect", "5,5,15,10", "--fore-color", "red", "--line-width", "0", "-o", "half.kba"});
    const Box outer{10, 10, 31, 21}, inner{11, 11, 30, 20};
    const auto outline = [&](int x, int y) { return outer.holds(x, y) && !inner.holds(x, y) ? red : white; };
    done({"render", "page.png", "same.kba", "-o", "same.png"});
    expectPicture("same.png", 40, 30, outline);
    done({"render", "page.png", "half.kba", "-o", "half.png"});
    expectPicture("half.png", 40, 30, outline);

    const Box outer2{20, 20, 61, 41}, inner2{21, 21, 60, 40};
    done({"render", "page.png", "half.kba", "--scale", "2", "-o", "double.png"});
    expectPicture("double.png", 80, 60,
                  [&](int x, int y) { return outer2.holds(x, y) && !inner2.holds(x, y) ? red : white; });
}

TEST_F(KannRenderTest, TheStoredZoomAndScrollDontCount) {
    makeWhite("page.png", 40, 30);
    done({"add", "new:40x30", "rect", "--rect", "10,10,30,20", "--fore-color", "red", "-o", "plain.kba"});
    std::string stored = read("plain.kba");
    const auto change = [&stored](const std::string& keyword, const std::string& value) { // the root's fields come first
        const std::size_t at = stored.find("\n" + keyword + "\r\n") + keyword.size() + 3;
        stored.replace(at, stored.find("\r\n", at) - at, value);
    };
    change("SCALARX", "3.5");
    change("SCALARY", "0.25");
    change("OFFSETX", "-117");
    change("OFFSETY", "42");
    write("zoomed.kba", stored);
    done({"render", "page.png", "plain.kba", "-o", "plain.png"});
    done({"render", "page.png", "zoomed.kba", "-o", "zoomed.png"});
    EXPECT_TRUE(read("plain.png") == read("zoomed.png"));
}

TEST_F(KannRenderTest, LargeResultsHaveNoSeams) {
    makeWhite("wide.png", 8300, 24, KB_FORMAT_PNG, 8);
    done({"add", "new:8300x24", "rect", "--rect", "4000,4,8200,20", "--fore-color", "blue", "--back-color", "blue",
          "--fill-mode", "opaque", "--line-width", "0", "-o", "tree.kba"});
    done({"render", "wide.png", "tree.kba", "-o", "out.png"});
    const Box bar{4000, 4, 8201, 21};
    expectPicture("out.png", 8300, 24, [&](int x, int y) { return bar.holds(x, y) ? blue : white; });
}

TEST_F(KannRenderTest, ImagesOfEveryKindBecomeTwentyFourBitsOnWhite) {
    done({"add", "new:8x4", "rect", "--rect", "1,1,2,2", "--visible", "no", "-o", "none.kba"});
    saveBitmap(path("alpha.png"), 8, 4, 32, KB_FORMAT_PNG, [](KernelBitmap& bitmap) {
        bitmap.Alpha = 1;
        for (int y = 0; y < 4; ++y) {
            std::uint8_t* row = K_WritableBitmapRow(&bitmap, y);
            for (int x = 0; x < 8; ++x) row[x * 4 + 2] = 200, row[x * 4 + 3] = static_cast<std::uint8_t>(x * 36);
        }
    });
    done({"render", "alpha.png", "none.kba", "-o", "alpha_out.png"});
    expectPicture("alpha_out.png", 8, 4, [](int x, int) {
        const int opacity = x * 36;
        const auto over = [opacity](int value) {
            return static_cast<std::uint8_t>((value * opacity + 255 * (255 - opacity) + 127) / 255);
        };
        return Color{over(0), over(0), over(200)};
    });

    // A picture on its side: row 0 is the right column.
    saveBitmap(path("side.tif"), 8, 4, 1, KB_FORMAT_TIFF, [](KernelBitmap& bitmap) {
        bitmap.ViewPerspective = KB_VIEW_RIGHT_TOP;
        bitmap.XResolution = 300;
        bitmap.YResolution = 200;
        for (int y = 1; y < 4; ++y) *K_WritableBitmapRow(&bitmap, y) = 0xFF;
    });
    done({"render", "side.tif", "none.kba", "-o", "side.png"});
    expectPicture("side.png", 4, 8, [](int x, int) { return x == 3 ? black : white; });
    done({"render", "side.tif", "none.kba", "-o", "side_out.tif"});
    const KernelFileInfo info = fileInfo("side_out.tif");
    EXPECT_EQ(info.nBitsPerPixel, 24);
    EXPECT_EQ(info.nXResolution + info.nYResolution, 500);
}

TEST_F(KannRenderTest, TheExtensionNamesTheFormatAndFormatOverridesIt) {
    makeWhite("page.png", 40, 30);
    done({"add", "new:40x30", "rect", "--rect", "10,10,30,20", "-o", "tree.kba"});
    const struct {
        const char* output;
        std::vector<std::string> more;
        int format;
    } rows[] = {{"a.png", {}, KB_FORMAT_PNG},
                {"a.jpg", {}, KB_FORMAT_JPEG},
                {"a.JPEG", {}, KB_FORMAT_JPEG},
                {"a.tif", {}, KB_FORMAT_TIFF},
                {"a.tiff", {}, KB_FORMAT_TIFF},
                {"a.bmp", {}, KB_FORMAT_BMP},
                {"b.png", {"--format", "bmp"}, KB_FORMAT_BMP}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.output);
        std::vector<std::string> arguments{"render", "page.png", "tree.kba", "-o", row.output};
        arguments.insert(arguments.end(), row.more.begin(), row.more.end());
        done(arguments);
        EXPECT_EQ(fileInfo(row.output).nFormat, row.format);
    }
}

TEST_F(KannRenderTest, PagesAreTakenTogether) {
    makeScan("scan.tif", 3);
    done({"add", "new:64x48", "rect", "--rect", "20,10,40,30", "-o", "one.kba"});
    done({"add", "new:64x48", "ellipse", "--rect", "20,10,40,30", "-o", "two.kba"});
    done({"pages", "one.kba", "insert", "last", "two.kba", "-o", "both.kba"});
    done({"render", "scan.tif", "two.kba", "--page", "2", "-o", "due.png"});
    done({"render", "scan.tif", "both.kba", "--page", "2", "-o", "same_page.png"});
    EXPECT_TRUE(read("due.png") == read("same_page.png"));
    done({"render", "scan.tif", "both.kba", "--page", "2", "--store-page", "1", "-o", "other.png"});
    EXPECT_FALSE(read("due.png") == read("other.png"));
    EXPECT_EQ(kann({"render", "scan.tif", "both.kba", "--page", "3", "-o", "none.png"}).status, 1);
    done({"attach", "scan.tif", "two.kba", "--page", "2", "-o", "tagged.tif"});
    done({"render", "tagged.tif", "--page", "2", "-o", "by_tag.png"});
    EXPECT_TRUE(read("due.png") == read("by_tag.png"));
    EXPECT_EQ(fileInfo("due.png").nXResolution, 300);
}

TEST_F(KannRenderTest, SelectionDrawsHandlesInDesignModeAlone) {
    makeWhite("page.png", 60, 40);
    done({"add", "new:60x40", "rect", "--rect", "20,10,40,30", "--tag", "5", "-o", "tree.kba"});
    const auto render = [this](std::vector<std::string> more, const std::string& output) {
        std::vector<std::string> arguments{"render", "page.png", "tree.kba", "-o", output};
        arguments.insert(arguments.end(), more.begin(), more.end());
        done(arguments);
        return read(output);
    };
    const std::string plain = render({}, "plain.png");
    EXPECT_TRUE(render({"--mode", "design"}, "design.png") == plain);
    EXPECT_TRUE(render({"--select", "5"}, "run.png") == plain);
    EXPECT_FALSE(render({"--mode", "design", "--select", "5"}, "handles.png") == plain);
}
