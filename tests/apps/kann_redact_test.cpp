// kann redact: every kind of page, every source of areas, what doesn't go along, and runs that leave nothing behind.
#include "tests/apps/redact_fixture.h"

#include "kbann/kbann.h"

#include <algorithm>
#include <cstring>

namespace {

// Areas in viewed pixels: one in the middle, one over its corner, two past the edges, one of a pixel.
const std::vector<std::array<int, 4>> areas{
    {10, 8, 33, 21}, {30, 15, 41, 30}, {-5, 40, 9, 99}, {60, -3, 200, 4}, {50, 20, 51, 21}};

constexpr PageKind kinds[] = {
    {"colour", "in.tif", 24, KB_COMPRESS_LZW},
    {"colour in JPEG", "in.tif", 24, KB_COMPRESS_JPEG},
    {"grey in JPEG", "in.tif", 8, KB_COMPRESS_JPEG},
    {"rows bottom-up", "in.tif", 24, KB_COMPRESS_NONE, KB_VIEW_BOTTOM_LEFT},
    {"columns from the right", "in.tif", 24, KB_COMPRESS_PACKBITS, KB_VIEW_TOP_RIGHT},
    {"sides swapped", "in.tif", 24, KB_COMPRESS_DEFLATE, KB_VIEW_LEFT_TOP},
    {"a quarter turn", "in.tif", 1, KB_COMPRESS_G4, KB_VIEW_RIGHT_TOP},
    {"half a turn", "in.tif", 8, KB_COMPRESS_LZW, KB_VIEW_BOTTOM_RIGHT, true},
    {"swapped and turned", "in.tif", 12, KB_COMPRESS_LZW, KB_VIEW_RIGHT_BOTTOM, false, true},
    {"a quarter back", "in.tif", 4, KB_COMPRESS_PACKBITS, KB_VIEW_LEFT_BOTTOM, true},
    {"fax", "in.tif", 1, KB_COMPRESS_G4},
    {"older fax", "in.tif", 1, KB_COMPRESS_G3},
    {"bits in LZW", "in.tif", 1, KB_COMPRESS_LZW},
    {"bits uncompressed", "in.tif", 1, KB_COMPRESS_NONE},
    {"two colours", "in.tif", 1, KB_COMPRESS_DEFLATE, 1, true},
    {"sixteen colours", "in.tif", 4, KB_COMPRESS_LZW, 1, true},
    {"palette", "in.tif", 8, KB_COMPRESS_DEFLATE, 1, true},
    {"grey", "in.tif", 8, KB_COMPRESS_NONE},
    {"12 bit grey", "in.tif", 12, KB_COMPRESS_DEFLATE, 1, false, true},
    {"16 bit grey", "in.tif", 16, KB_COMPRESS_LZW, 1, false, true},
    {"opacity", "in.tif", 32, KB_COMPRESS_LZW, 1, false, false, true},
    {"fourth byte", "in.tif", 32, KB_COMPRESS_NONE},
    {"PNG of bits", "in.png", 1},
    {"PNG of four bits", "in.png", 4, 0, 1, true},
    {"PNG with palette", "in.png", 8, 0, 1, true},
    {"PNG of 16 bit grey", "in.png", 16, 0, 1, false, true},
    {"PNG", "in.png", 24},
    {"PNG with opacity", "in.png", 32, 0, 1, false, false, true},
    {"BMP of bits", "in.bmp", 1, 0, 1, true},
    {"BMP with palette", "in.bmp", 8, 0, 1, true},
    {"BMP", "in.bmp", 24},
    {"BMP with opacity", "in.bmp", 32, 0, 1, false, false, true},
};

bool isCovered(int x, int y) {
    return std::any_of(areas.begin(), areas.end(),
                       [=](const auto& a) { return x >= a[0] && x < a[2] && y >= a[1] && y < a[3]; });
}

bool swapsSides(const KernelFileInfo& info) {
    const int view = info.nViewPerspective;
    return view == KB_VIEW_LEFT_TOP || view == KB_VIEW_RIGHT_TOP || view == KB_VIEW_RIGHT_BOTTOM ||
           view == KB_VIEW_LEFT_BOTTOM;
}

class KannRedactTest : public RedactTest {
protected:
    // Pixels outside are those of the input, pixels inside black.
    void compare(const std::string& in, const std::string& out, int page = 1) const {
        const KernelFileInfo info = fileInfo(in, page);
        const int across = swapsSides(info) ? info.nHeight : info.nWidth;
        const std::vector<std::uint8_t> before = pixels(in, page), after = pixels(out, page);
        ASSERT_EQ(before.size(), after.size());
        for (std::size_t i = 0; i < before.size(); ++i) {
            const int x = static_cast<int>(i) / 3 % across, y = static_cast<int>(i) / 3 / across;
            ASSERT_EQ(after[i], isCovered(x, y) ? 0 : before[i]) << x << "," << y;
        }
    }
    // All bits of the covered pixels become others.
    void invertCovered(const std::string& name, int compression) const {
        KernelBitmap bitmap{};
        ASSERT_EQ(K_LoadFile(path(name).c_str(), &bitmap, 0, 0, nullptr, nullptr), SUCCESS);
        for (int y = 0; y < bitmap.Height; ++y) {
            std::uint8_t* row = K_WritableBitmapRow(&bitmap, y);
            for (int bit = 0; bit < bitmap.Width * bitmap.BitsPerPixel; ++bit) {
                if (isCovered(bit / bitmap.BitsPerPixel, y)) row[bit / 8] ^= static_cast<std::uint8_t>(0x80 >> bit % 8);
            }
        }
        KernelSaveOptions options{};
        K_DefaultSaveOptions(&options, sizeof options);
        options.nCompression = compression;
        ASSERT_EQ(K_SaveFile(path(name).c_str(), &bitmap, formatOf(name), &options), SUCCESS);
        K_FreeBitmap(&bitmap);
    }
    bool holdsSecret(const std::string& name) const { return read(name).find("SECRET") != std::string::npos; }
};

} // namespace

TEST_F(KannRedactTest, EveryKindOfPageIsCoveredAndNothingElseChanges) {
    writeRegions("areas.json", areas);
    for (const PageKind& kind : kinds) {
        SCOPED_TRACE(kind.name);
        makePage(kind.file, kind);
        const std::string out = std::string("out") + std::string(kind.file).substr(2);
        // An area lies beside pages whose sides are swapped, which is told.
        EXPECT_EQ(kann({"redact", kind.file, "--regions", "areas.json", "-o", out, "--report", "report.json"}).status,
                  swapsSides(fileInfo(kind.file)) ? 3 : 0);
        compare(kind.file, out);
        const KernelFileInfo before = fileInfo(kind.file), after = fileInfo(out);
        EXPECT_EQ(after.nBitsPerPixel, before.nBitsPerPixel);
        EXPECT_EQ(after.nViewPerspective, before.nViewPerspective);
        EXPECT_EQ(after.nXResolution, before.nXResolution);
        EXPECT_EQ(after.nYResolution, before.nYResolution);
        EXPECT_EQ(after.nCompression,
                  before.nCompression == KB_COMPRESS_JPEG ? int{KB_COMPRESS_DEFLATE} : before.nCompression);
        done({"verify", out, "report.json"});
        EXPECT_EQ(kann({"verify", out, "--regions", "areas.json"}).status, swapsSides(before) ? 5 : 0);
        EXPECT_EQ(kann({"verify", kind.file, "--regions", "areas.json"}).status, 5);
        // The result depends on nothing that was covered.
        if (kind.compression == KB_COMPRESS_JPEG || before.nViewPerspective != KB_VIEW_TOP_LEFT || kind.palette) continue;
        const std::string first = read(out);
        invertCovered(kind.file, before.nCompression);
        done({"redact", kind.file, "--regions", "areas.json", "-o", out});
        EXPECT_EQ(read(out), first);
    }
}

TEST_F(KannRedactTest, DeepGreyKeepsAllItsBits) {
    writeRegions("areas.json", areas);
    for (const PageKind& kind :
         {PageKind{"12", "in.tif", 12, 0, 1, false, true}, PageKind{"16", "in.png", 16, 0, 1, false, true}}) {
        makePage(kind.file, kind);
        const std::string out = std::string("out") + std::string(kind.file).substr(2);
        done({"redact", kind.file, "--regions", "areas.json", "-o", out});
        const std::vector<std::string> before = rows(kind.file), after = rows(out);
        for (std::size_t y = 0; y < before.size(); ++y) {
            for (int x = 0; x < width; ++x) {
                for (int bit = x * kind.bits; bit < (x + 1) * kind.bits; ++bit) {
                    const auto bitOf = [&](const std::string& row) {
                        return row[static_cast<std::size_t>(bit / 8)] >> (7 - bit % 8) & 1;
                    };
                    ASSERT_EQ(bitOf(after[y]), isCovered(x, static_cast<int>(y)) ? 0 : bitOf(before[y])) << x << "," << y;
                }
            }
        }
    }
}

TEST_F(KannRedactTest, ResultsOfOtherFormatsAreCoveredToo) {
    writeRegions("areas.json", areas);
    const struct {
        const char *in, *out;
        int bits, perspective;
    } rows_[] = {{"in.tif", "out.png", 24, KB_VIEW_RIGHT_TOP},
                 {"in.tif", "out.jpg", 24, KB_VIEW_LEFT_BOTTOM},
                 {"in.png", "out.jpg", 8, 1},
                 {"in.png", "out.bmp", 8, 1},
                 {"in.jpg", "out.png", 24, 1},
                 {"in.jpg", "out.tif", 24, 1}};
    for (const auto& row : rows_) {
        SCOPED_TRACE(testing::Message() << row.in << " " << row.out);
        makePage(row.in, {"", row.in, row.bits, 0, row.perspective});
        EXPECT_EQ(kann({"redact", row.in, "--regions", "areas.json", "-o", row.out}).status,
                  swapsSides(fileInfo(row.in)) ? 3 : 0);
        EXPECT_EQ(kann({"verify", row.out, "--regions", "areas.json"}).status, swapsSides(fileInfo(row.in)) ? 5 : 0);
        if (std::string_view(row.out) != "out.jpg") compare(row.in, row.out);
    }
    // JPEG to JPEG: pixels that share no unit with an area, nor a neighbour, are what they were.
    makePage("in.jpg", {"", "in.jpg", 24});
    done({"redact", "in.jpg", "--regions", "areas.json", "-o", "out.jpg"});
    done({"verify", "out.jpg", "--regions", "areas.json"});
    EXPECT_EQ(kann({"verify", "in.jpg", "--regions", "areas.json"}).status, 5);
    const auto before = pixels("in.jpg"), after = pixels("out.jpg");
    std::size_t same = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            bool near = false;
            for (int dy = -16; dy <= 16; ++dy) {
                for (int dx = -16; dx <= 16; ++dx) near = near || isCovered(x + dx, y + dy);
            }
            const auto at = static_cast<std::size_t>((y * width + x) * 3);
            if (near) continue;
            ++same;
            ASSERT_TRUE(std::equal(before.begin() + static_cast<std::ptrdiff_t>(at),
                                   before.begin() + static_cast<std::ptrdiff_t>(at) + 3,
                                   after.begin() + static_cast<std::ptrdiff_t>(at)));
        }
    }
    EXPECT_GT(same, 10u);
}

TEST_F(KannRedactTest, RedactionsCountWhereverAndHoweverTheyStand) {
    makePage("in.png", {"", "in.png", 24});
    // A tree of 150 x 106 for a page of half that size; a group of its own scale and place in it; one hidden, one turned.
    HANNOBJECT root = nullptr, group = nullptr, inner = nullptr;
    const AnnRect whole{0, 0, 150, 106}, groupRect{20, 10, 60, 50}, innerRect{5, 5, 15.2, 12};
    ASSERT_EQ(K_AnnCreateContainer(nullptr, &whole, TRUE, &root), SUCCESS);
    ASSERT_EQ(K_AnnCreateItem(root, ANN_OBJECT_CONTAINER, TRUE, &group), SUCCESS);
    ASSERT_EQ(K_AnnSetRect(group, &groupRect), SUCCESS);
    ASSERT_EQ(K_AnnSetScalarX(group, 2, 0), SUCCESS);
    ASSERT_EQ(K_AnnSetOffsetY(group, 6, 0), SUCCESS);
    ASSERT_EQ(K_AnnCreateItem(group, ANN_OBJECT_REDACT, TRUE, &inner), SUCCESS);
    ASSERT_EQ(K_AnnSetRect(inner, &innerRect), SUCCESS);
    ASSERT_EQ(K_AnnSetBackColor(inner, RGB(255, 255, 255), 0), SUCCESS); // what it claims doesn't count
    ASSERT_EQ(K_AnnSetScalarX(root, 0.25, 0), SUCCESS);                  // nor does a zoom
    ASSERT_EQ(K_AnnSave(path("tree.kba").c_str(), root, ANN_FMT_NATIVE, FALSE, nullptr), SUCCESS);
    K_AnnDestroy(root, 0);
    done({"add", "tree.kba", "redact", "--rect", "100,80,120,90", "--visible", "no", "-o", "tree.kba"});
    done({"add", "tree.kba", "redact", "--rect", "100,20,140,30", "--rotate", "90", "-o", "tree.kba"});
    done({"add", "tree.kba", "rect", "--rect", "1,1,9,9", "-o", "tree.kba"});
    const KannResult result = kann({"redact", "in.png", "tree.kba", "-o", "out.png", "--report", "report.json"});
    EXPECT_EQ(result.status, 3);
    EXPECT_NE(result.err.find("hidden redactions are covered too: 1"), std::string::npos) << result.err;
    // In the group: x = 20 + 2 x 5 .. 20 + 2 x 15.2, y = 10 + 6 + 5 .. 10 + 6 + 12; then halved and rounded outwards.
    EXPECT_EQ(read("report.json"), "{\"schema\":1,\"pages\":[{\"page\":1,\"size\":[75,53],\"regions\":"
                                   "[[15,10,26,14],[50,40,60,45],[57,2,63,23]]}]}\n");
    done({"verify", "out.png", "tree.kba"});
    EXPECT_EQ(kann({"verify", "in.png", "tree.kba"}).status, 5);
    EXPECT_EQ(done({"redact", "out.png", "--regions", "report.json", "--dry-run"}), read("report.json"));
    // A tree that says "as large as the image".
    done({"add", "new:31999x31999", "redact", "--rect", "3,4,10,12", "-o", "any.kba"});
    EXPECT_EQ(done({"redact", "in.png", "any.kba", "--dry-run"}),
              "{\"schema\":1,\"pages\":[{\"page\":1,\"size\":[75,53],\"regions\":[[3,4,10,12]]}]}\n");
}

TEST_F(KannRedactTest, PagesGoByTheirNumbers) {
    for (std::uint32_t page = 1; page <= 3; ++page) makePage("in.tif", {"", "in.tif", 8, KB_COMPRESS_LZW}, page, page > 1);
    done({"add", "new:75x53", "redact", "--rect", "5,5,20,15", "-o", "one.kba"});
    done({"add", "new:75x53", "redact", "--rect", "30,30,40,40", "-o", "two.kba"});
    done({"pages", "one.kba", "insert", "last", "two.kba", "-o", "both.kba"});
    const auto report = [&](std::vector<std::string> more) {
        std::vector<std::string> arguments{"redact", "in.tif", "--dry-run"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const KannResult result = kann(arguments);
        return result.status == 0 ? result.out.substr(12) : std::to_string(result.status);
    };
    const std::string first = R"({"page":1,"size":[75,53],"regions":[[5,5,20,15]]})", second = R"([[30,30,40,40]]})";
    EXPECT_EQ(report({"both.kba"}), "\"pages\":[" + first + R"(,{"page":2,"size":[75,53],"regions":)" + second + "]}\n");
    EXPECT_EQ(report({"one.kba"}), "\"pages\":[" + first + "]}\n");
    EXPECT_EQ(report({"both.kba", "--page", "2"}), R"("pages":[{"page":2,"size":[75,53],"regions":)" + second + "]}\n");
    EXPECT_EQ(report({"both.kba", "--page", "3", "--store-page", "2"}),
              R"("pages":[{"page":3,"size":[75,53],"regions":)" + second + "]}\n");
    EXPECT_EQ(report({"both.kba", "--page", "4", "--store-page", "2"}), "1");
    done({"redact", "in.tif", "both.kba", "-o", "out.tif"});
    EXPECT_EQ(fileInfo("out.tif").nPages, 3);
    EXPECT_EQ(rows("out.tif", 3), rows("in.tif", 3));
    EXPECT_NE(rows("out.tif", 2), rows("in.tif", 2));
    done({"verify", "out.tif", "both.kba"});
    // The tags of the image, page by page.
    done({"attach", "in.tif", "two.kba", "-o", "tagged.tif", "--page", "3"});
    done({"redact", "tagged.tif", "-o", "out.tif", "--report", "report.json"});
    EXPECT_NE(read("report.json").find(R"({"page":3,"size":[75,53],"regions":[[30,30,40,40]]})"), std::string::npos);
    EXPECT_EQ(kann({"extract", "out.tif", "--page", "3", "-o", "gone.kba"}).status, 1);
    done({"verify", "out.tif", "report.json"});
}

TEST_F(KannRedactTest, NothingGoesAlongButThePicture) {
    writeRegions("areas.json", areas);
    makePage("in.png", {"", "in.png", 24});
    write("in.png", withPngChunk(read("in.png"), "IDAT",
                                 pngChunk("tEXt", std::string("Title\0SECRET", 12)) + pngChunk("eXIf", "SECRET")) +
                        "SECRET");
    makePage("in.jpg", {"", "in.jpg", 24});
    const std::string jpeg = read("in.jpg");
    write("in.jpg", jpeg.substr(0, 20) + jpegMarker(0xFE, "SECRET") + jpegMarker(0xE1, std::string("Exif\0\0SECRET", 12)) +
                        jpegMarker(0xE2, std::string("MPF\0SECRET", 10)) + jpeg.substr(20) + "SECRET");
    makePage("in.bmp", {"", "in.bmp", 24});
    write("in.bmp", read("in.bmp") + "SECRET");
    makeText("in.tif");
    makeText("in.tif", 1, true, 4); // a preview
    const std::uint32_t reduced = 1;
    EXPECT_EQ(K_RewriteFileTag(path("in.tif").c_str(), 2, 254, 4, 1, &reduced), SUCCESS);
    constexpr std::uint16_t description = 270, packet = 700, news = 33723, resources = 34377, maker = 37500;
    for (const std::uint16_t tag : {description, packet, news, resources, maker}) {
        EXPECT_EQ(K_RewriteFileTag(path("in.tif").c_str(), 1, tag, 1, 13, "SECRET SECRET"), SUCCESS);
    }
    write("in.tif", read("in.tif") + "SECRET");
    for (const char* extension : {".png", ".jpg", ".bmp", ".tif"}) {
        SCOPED_TRACE(extension);
        const std::string in = std::string("in") + extension, out = std::string("out") + extension;
        ASSERT_TRUE(holdsSecret(in));
        const KannResult result = kann({"redact", in, "--regions", "areas.json", "-o", out});
        EXPECT_EQ(result.status, std::string_view(extension) == ".tif" ? 3 : 0) << result.err;
        EXPECT_FALSE(holdsSecret(out));
        done({"verify", out, "--regions", "areas.json"});
    }
    EXPECT_EQ(fileInfo("out.tif").nPages, 1);
}

TEST_F(KannRedactTest, ColoursThatOnlyCoveredPixelsHadLeaveThePalette) {
    RGBQUAD palette[256] = {};
    palette[1] = {0x11, 0x22, 0x33, 0};
    palette[2] = {0xAB, 0xCD, 0xEF, 0};
    for (const char* name : {"in.tif", "in.png", "in.bmp"}) {
        KernelBitmap bitmap{};
        ASSERT_EQ(K_CreateBitmap(&bitmap, 1, 20, 20, 8, KB_ORDER_BGR, palette, 1, 0, 0), SUCCESS);
        for (int y = 0; y < 20; ++y) std::memset(K_WritableBitmapRow(&bitmap, y), y >= 5 && y < 9 ? 2 : 1, 20);
        ASSERT_EQ(K_SaveFile(path(name).c_str(), &bitmap, formatOf(name), nullptr), SUCCESS);
        K_FreeBitmap(&bitmap);
        writeRegions("areas.json", {{0, 5, 20, 9}});
        const std::string out = std::string("out") + std::string(name).substr(2);
        done({"redact", name, "--regions", "areas.json", "-o", out});
        KernelBitmap loaded{};
        ASSERT_EQ(K_LoadFile(path(out).c_str(), &loaded, 0, 0, nullptr, nullptr), SUCCESS);
        for (std::uint32_t i = 0; i < loaded.nColors; ++i) EXPECT_NE(loaded.pPalette[i].rgbBlue, 0xAB) << name;
        K_FreeBitmap(&loaded);
    }
}

TEST_F(KannRedactTest, FailedRunsLeaveNoOutput) {
    makePage("in.png", {"", "in.png", 24});
    makePage("in.tif", {"", "in.tif", 8});
    makePage("in.tif", {"", "in.tif", 8}, 2, true);
    writeRegions("areas.json", areas);
    writeRegions("third.json", areas, 3);
    writeRegions("outside.json", {{500, 500, 600, 600}});
    write("size.json", R"({"schema":1,"pages":[{"page":1,"size":[75,54],"regions":[[1,1,9,9]]}]})");
    done({"add", "new:75x53", "rect", "--rect", "1,1,9,9", "-o", "none.kba"});
    // One pixel, 16 bits a sample, in a stored block.
    const std::string header("\0\0\0\1\0\0\0\1\20\2\0\0\0", 13);
    const std::string packed("\x78\x01\x01\x07\x00\xF8\xFF\x00\x01\x02\x03\x04\x05\x06\x00\x3F\x00\x16", 18);
    write("deep.png",
          read("in.png").substr(0, 8) + pngChunk("IHDR", header) + pngChunk("IDAT", packed) + pngChunk("IEND", ""));
    writeRegions("pixel.json", {{0, 0, 1, 1}});
    const struct {
        const char* name;
        std::vector<std::string> arguments;
        int status;
        const char* error;
    } table[] = {
        {"no source", {"in.png"}, 1, "nothing to cover"},
        {"no redaction", {"in.png", "none.kba"}, 1, "nothing to cover"},
        {"all outside", {"in.png", "--regions", "outside.json"}, 1, "nothing to cover"},
        {"no such page", {"in.png", "--regions", "third.json"}, 1, "page 3"},
        {"another size", {"in.png", "--regions", "size.json"}, 1, "belong to another image"},
        {"no such regions", {"in.png", "--regions", "gone.json"}, 1, "gone.json"},
        {"several pages", {"in.tif", "--regions", "areas.json"}, 1, "only TIFF holds several pages"},
        {"deep colour", {"deep.png", "--regions", "pixel.json"}, 1, "--depth 24"},
        {"report that can't be written",
         {"in.png", "--regions", "areas.json", "--report", "none/report.json"},
         1,
         "none/report.json"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        std::vector<std::string> arguments{"redact", "-o", "out.png"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        const KannResult result = kann(arguments);
        EXPECT_EQ(result.status, row.status) << result.err;
        EXPECT_NE(result.err.find(row.error), std::string::npos) << result.err;
        EXPECT_FALSE(exists("out.png"));
        EXPECT_FALSE(exists("report.json"));
    }
    EXPECT_EQ(kann({"redact", "deep.png", "--regions", "pixel.json", "--depth", "24", "-o", "out.png"}).status, 3);
    EXPECT_EQ(kann({"redact", "in.png", "--regions", "areas.json", "-o", "out.xyz"}).status, 2);
    EXPECT_EQ(kann({"redact", "in.png", "--regions", "areas.json"}).status, 2);
}

TEST_F(KannRedactTest, RegionsAreReadStrictly) {
    makePage("in.png", {"", "in.png", 24});
    for (const char* text : {
             "",
             "[]",
             "{}",
             R"({"schema":2,"pages":[]})",
             R"({"schema":1})",
             R"({"schema":1,"pages":{}})",
             R"({"schema":1,"pages":[{"regions":[[1,1,2,2]]}]})",
             R"({"schema":1,"pages":[{"page":0,"regions":[[1,1,2,2]]}]})",
             R"({"schema":1,"pages":[{"page":1,"region":[[1,1,2,2]]}]})",
             R"({"schema":1,"pages":[{"page":1,"regions":[[1,1,2]]}]})",
             R"({"schema":1,"pages":[{"page":1,"regions":[[1,1,1,2]]}]})",
             R"({"schema":1,"pages":[{"page":1,"regions":[[1,1,2.5,2]]}]})",
             R"({"schema":1,"pages":[{"page":1,"regions":[["1",1,2,2]]}]})",
             R"({"schema":1,"pages":[{"page":1,"regions":[[1,1,2,2]],"more":1}]})",
             R"({"schema":1,"pages":[{"page":1,"regions":[[1,1,2,2]]},{"page":1,"regions":[[3,3,4,4]]}]})",
             R"({"schema":1,"pages":[{"page":1,"size":[75,53],"regions":[]},{"page":1,"regions":[[3,3,4,4]]}]})",
             R"({"schema":1,"pages":[{"page":1,"regions":[[1,1,2,2]],"regions":[[3,3,4,4]]}]})",
             R"({"schema":1,"pages":[{"page":1,"regions":[[1,1,2,2]]}],"pages":[{"page":1,"regions":[[3,3,4,4]]}]})",
             R"({"schema":1,"pages":[{"page":1,"size":[0,4],"regions":[[1,1,2,2]]}]})",
             R"({"schema":1,"pages":[{"page":1,"regions":[[1,1,2,2]]}]} x)",
         }) {
        SCOPED_TRACE(text);
        write("areas.json", text);
        const KannResult result = kann({"redact", "in.png", "--regions", "areas.json", "-o", "out.png"});
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.err.find("areas.json"), std::string::npos) << result.err;
        EXPECT_FALSE(exists("out.png"));
    }
    write("areas.json", "{\"schema\":1,\"pages\":[{\"page\":1,\"regions\":[[-99999999999,0,99999999999,1]]}]}");
    EXPECT_EQ(done({"redact", "in.png", "--regions", "areas.json", "--dry-run"}),
              "{\"schema\":1,\"pages\":[{\"page\":1,\"size\":[75,53],\"regions\":[[0,0,75,1]]}]}\n");
}
