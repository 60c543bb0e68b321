// Areas of JPEG files that are filled on their coefficients: what changes, what must not, what goes along, and how well the
// judgement tells a filled block from another.
#include "file_fixture.h"
#include "profile_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>

#include <jpeglib.h>

using namespace test;

namespace {

struct Layout {
    const char* name;
    J_COLOR_SPACE space;
    int h, v; // sampling of the first component, the others have 1
    int quality;
    bool progressive;
    int restart; // in rows of blocks, 0 for none
};
constexpr Layout layouts[] = {
    {"grey", JCS_GRAYSCALE, 1, 1, 85, false, 0},
    {"4:4:4", JCS_YCbCr, 1, 1, 90, false, 0},
    {"4:2:2", JCS_YCbCr, 2, 1, 75, false, 1},
    {"4:4:0", JCS_YCbCr, 1, 2, 75, false, 0},
    {"4:2:0", JCS_YCbCr, 2, 2, 75, false, 0},
    {"4:2:0 coarse", JCS_YCbCr, 2, 2, 15, false, 0},
    {"4:2:0 finest", JCS_YCbCr, 2, 2, 100, false, 2},
    {"4:1:1 progressive", JCS_YCbCr, 4, 1, 80, true, 0},
    {"grey progressive", JCS_GRAYSCALE, 1, 1, 60, true, 1},
    {"red, green, blue", JCS_RGB, 1, 1, 80, false, 0},
};

struct Picture {
    int width = 0, height = 0;
    std::vector<uint8_t> rgb;
    uint8_t* at(int x, int y) {
        return &rgb[(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) * 3];
    }
};

// A smooth ground with something like text on it.
Picture pictureOf(int width, int height, uint32_t seed = 1) {
    Picture p{width, height, std::vector<uint8_t>(static_cast<size_t>(width * height * 3))};
    uint32_t state = seed;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            state = state * 1664525u + 1013904223u;
            const bool ink = (x / 3 * 7 + y / 5 * 11 + static_cast<int>(seed)) % 5 < 2;
            for (int c = 0; c < 3; ++c)
                p.at(x, y)[c] =
                    static_cast<uint8_t>(ink ? 30 + 40 * c : 150 + (x + 2 * y + 9 * c) % 80 + static_cast<int>(state >> 29));
        }
    }
    return p;
}

using Extras = std::function<void(jpeg_compress_struct&)>;

Bytes encode(Picture p, const Layout& layout, const Extras& extras = {}) {
    jpeg_compress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char* out = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &out, &size);
    jpeg.image_width = static_cast<JDIMENSION>(p.width);
    jpeg.image_height = static_cast<JDIMENSION>(p.height);
    jpeg.input_components = 3;
    jpeg.in_color_space = JCS_RGB;
    jpeg_set_defaults(&jpeg);
    jpeg_set_colorspace(&jpeg, layout.space);
    jpeg_set_quality(&jpeg, layout.quality, TRUE);
    jpeg.comp_info[0].h_samp_factor = layout.h;
    jpeg.comp_info[0].v_samp_factor = layout.v;
    jpeg.restart_in_rows = layout.restart;
    jpeg.density_unit = 1;
    jpeg.X_density = 300;
    jpeg.Y_density = 200;
    if (layout.progressive) jpeg_simple_progression(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    if (extras) extras(jpeg);
    while (jpeg.next_scanline < jpeg.image_height) {
        JSAMPROW row = p.at(0, static_cast<int>(jpeg.next_scanline));
        jpeg_write_scanlines(&jpeg, &row, 1);
    }
    jpeg_finish_compress(&jpeg);
    Bytes bytes(out, out + size);
    jpeg_destroy_compress(&jpeg);
    std::free(out);
    return bytes;
}

struct Plane {
    int h = 1, v = 1, maxH = 1, maxV = 1, across = 0, down = 0;
    std::vector<std::array<JCOEF, 64>> blocks;
};

// The coefficients of all components, by blocks that lie in the image.
std::vector<Plane> coefficientsOf(const Bytes& bytes, std::vector<std::string>* markers = nullptr) {
    jpeg_decompress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&jpeg);
    for (int marker = 0; marker < 16; ++marker) jpeg_save_markers(&jpeg, JPEG_APP0 + marker, 0xFFFF);
    jpeg_save_markers(&jpeg, JPEG_COM, 0xFFFF);
    jpeg_mem_src(&jpeg, bytes.data(), static_cast<unsigned long>(bytes.size()));
    jpeg_read_header(&jpeg, TRUE);
    for (auto* m = jpeg.marker_list; m && markers; m = m->next)
        markers->push_back(std::to_string(m->marker - JPEG_APP0) + ":" +
                           std::string(reinterpret_cast<char*>(m->data), m->data_length));
    jvirt_barray_ptr* arrays = jpeg_read_coefficients(&jpeg);
    std::vector<Plane> planes;
    for (int c = 0; c < jpeg.num_components; ++c) {
        const jpeg_component_info& info = jpeg.comp_info[c];
        Plane plane{info.h_samp_factor,
                    info.v_samp_factor,
                    jpeg.max_h_samp_factor,
                    jpeg.max_v_samp_factor,
                    static_cast<int>(info.width_in_blocks),
                    static_cast<int>(info.height_in_blocks),
                    {}};
        for (JDIMENSION row = 0; row < info.height_in_blocks; ++row) {
            JBLOCKROW blocks =
                jpeg.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&jpeg), arrays[c], row, 1, FALSE)[0];
            for (JDIMENSION x = 0; x < info.width_in_blocks; ++x) {
                std::array<JCOEF, 64> block;
                std::copy_n(blocks[x], 64, block.begin());
                plane.blocks.push_back(block);
            }
        }
        planes.push_back(std::move(plane));
    }
    jpeg_destroy_decompress(&jpeg);
    return planes;
}

Bytes filled(const Bytes& bytes, const std::vector<RECT>& areas, int* result = nullptr, COLORREF color = RGB(0, 0, 0)) {
    HGLOBAL block = nullptr;
    size_t size = 0;
    const std::vector<uint8_t> exact(bytes);
    const int code =
        K_FillJpegAreas(exact.data(), exact.size(), areas.data(), static_cast<uint32_t>(areas.size()), color, &block, &size);
    if (result) *result = code;
    if (code != SUCCESS) return {};
    const auto* data = static_cast<const uint8_t*>(GlobalLock(block));
    Bytes out(data, data + size);
    GlobalFree(block);
    return out;
}

uint32_t badBlocks(const Bytes& bytes, const std::vector<RECT>& areas, COLORREF color = RGB(0, 0, 0)) {
    uint32_t bad = 9999;
    EXPECT_EQ(K_CheckJpegAreas(bytes.data(), bytes.size(), areas.data(), static_cast<uint32_t>(areas.size()), color, &bad),
              SUCCESS);
    return bad;
}

// Pixels that a block stands for.
RECT pixelsOf(const Plane& plane, int column, int row) {
    return {column * 8 * plane.maxH / plane.h, row * 8 * plane.maxV / plane.v, (column + 1) * 8 * plane.maxH / plane.h,
            (row + 1) * 8 * plane.maxV / plane.v};
}
bool meets(const RECT& a, const RECT& b) {
    return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}

const std::vector<RECT> someAreas{{19, 13, 71, 50}, {60, 40, 90, 47}, {100, 90, 130, 120},
                                  {-20, 60, 5, 70}, {3, 3, 4, 4},     {500, 0, 600, 9}};
constexpr int pictureWidth = 123, pictureHeight = 101; // areas run past both

} // namespace

TEST(JpegAreas, BlocksThatTouchAnAreaAreFilledAndAllOthersKeepTheirCoefficients) {
    for (const Layout& layout : layouts) {
        SCOPED_TRACE(layout.name);
        const Bytes before = encode(pictureOf(pictureWidth, pictureHeight), layout);
        const Bytes after = filled(before, someAreas);
        const std::vector<Plane> old = coefficientsOf(before), fresh = coefficientsOf(after);
        ASSERT_EQ(old.size(), fresh.size());
        size_t kept = 0, changed = 0;
        for (size_t c = 0; c < old.size(); ++c) {
            ASSERT_EQ(old[c].blocks.size(), fresh[c].blocks.size());
            for (int row = 0; row < old[c].down; ++row) {
                for (int column = 0; column < old[c].across; ++column) {
                    const auto i = static_cast<size_t>(row * old[c].across + column);
                    const RECT pixels = pixelsOf(old[c], column, row);
                    const bool touches =
                        std::any_of(someAreas.begin(), someAreas.end(), [&](const RECT& a) { return meets(a, pixels); });
                    if (!touches) {
                        EXPECT_EQ(old[c].blocks[i], fresh[c].blocks[i]) << c << " " << column << "," << row;
                    }
                    (touches ? changed : kept) += 1;
                }
            }
        }
        EXPECT_GT(kept, changed);
        EXPECT_EQ(badBlocks(after, someAreas), 0u);
        EXPECT_GE(badBlocks(before, someAreas), 5u);
        EXPECT_EQ(filled(after, {}), after);
        // Black where no block at an edge and no chroma sample of a neighbour has a say.
        Image image;
        ASSERT_EQ(load(after, image), SUCCESS);
        EXPECT_EQ(image.b.XResolution, layout.space == JCS_RGB ? 0 : 300); // without a JFIF header there is no place for it
        for (int y = 32; y < 47; ++y) {
            for (int x = 36; x < 60; ++x) {
                const COLORREF color = K_GetBitmapPixel(&image.b, y, x);
                const int most = std::max({GetRValue(color), GetGValue(color), GetBValue(color)});
                if (x >= 40 && x < 56 && y < 40)
                    EXPECT_LE(most, 1) << x << "," << y;
                else
                    EXPECT_LE(most, 140) << x << "," << y; // rung, but not the picture
            }
        }
    }
}

TEST(JpegAreas, WhatLiesInsideLeavesNoTrace) {
    // The covered units are the only ones that differ, so the results have to be the same files, tables included.
    for (const Layout& layout : layouts) {
        SCOPED_TRACE(layout.name);
        Picture one = pictureOf(128, 96, 1), other = one;
        const RECT area{32, 32, 96, 64};
        const Picture secret = pictureOf(128, 96, 77);
        for (int y = area.top; y < area.bottom; ++y) {
            for (int x = area.left; x < area.right; ++x)
                std::copy_n(&secret.rgb[static_cast<size_t>((y * 128 + x) * 3)], 3, other.at(x, y));
        }
        const Bytes first = encode(one, layout), second = encode(other, layout);
        EXPECT_NE(first, second);
        EXPECT_EQ(filled(first, {area}), filled(second, {area}));
        // To the right and bottom edge too: the last blocks reach behind the image.
        Picture cutOne = pictureOf(93, 61, 1), cutOther = pictureOf(93, 61, 5);
        const RECT rest{64, 32, 93, 61};
        for (int y = 0; y < 61; ++y) {
            for (int x = 0; x < 93; ++x) {
                if (x < rest.left || y < rest.top) std::copy_n(cutOne.at(x, y), 3, cutOther.at(x, y));
            }
        }
        EXPECT_EQ(filled(encode(cutOne, layout), {rest}), filled(encode(cutOther, layout), {rest}));
    }
}

TEST(JpegAreas, TheJudgementTellsWhatIsLeftAtAnEdge) {
    int told = 0, asked = 0;
    for (const Layout& layout : layouts) {
        if (layout.quality < 60) continue;
        for (int missing = 1; missing <= 5; missing += 2) {
            SCOPED_TRACE(testing::Message() << layout.name << " " << missing);
            const Bytes bytes = encode(pictureOf(pictureWidth, pictureHeight), layout);
            const RECT whole{17, 17, 70, 60}, less{17, 17, 70 - missing, 60};
            const Bytes short_ = filled(bytes, {less});
            EXPECT_EQ(badBlocks(short_, {less}), 0u);
            ++asked;
            told += badBlocks(short_, {whole}) > 0;
        }
    }
    EXPECT_EQ(told, asked);
    // Other colours than the one asked for are no fill; what was filled with them is one.
    const Bytes white = filled(encode(pictureOf(80, 80), layouts[4]), {{9, 9, 60, 60}}, nullptr, RGB(255, 255, 255));
    EXPECT_EQ(badBlocks(white, {{9, 9, 60, 60}}, RGB(255, 255, 255)), 0u);
    EXPECT_GT(badBlocks(white, {{9, 9, 60, 60}}), 0u);
    const Bytes red = filled(encode(pictureOf(80, 80), layouts[1]), {{9, 9, 60, 60}}, nullptr, RGB(200, 20, 40));
    EXPECT_EQ(badBlocks(red, {{9, 9, 60, 60}}, RGB(200, 20, 40)), 0u);
}

TEST(JpegAreas, OnlyResolutionOrientationAndProfileGoAlong) {
    std::string profile = test::usualProfile(false, {{"vued", "text" + std::string(40, 'S')}});
    const Bytes exif =
        bytesOf("45786966 0000 4949 2A00 08000000 0200 1201 0300 01000000 06000000 0F01 0200 04000000 4D414B00 00000000");
    const auto extras = [&](jpeg_compress_struct& jpeg) {
        const auto marker = [&jpeg](int number, const Bytes& data) {
            jpeg_write_marker(&jpeg, number, data.data(), static_cast<unsigned>(data.size()));
        };
        marker(JPEG_APP0, bytesOf("4A46585800 13 0101 102030")); // a preview of one pixel
        marker(JPEG_APP0 + 1, exif);
        marker(JPEG_APP0 + 1, bytesOf("687474703A2F2F 53454352455400"));
        marker(JPEG_APP0 + 2, bytesOf("4D504600 49492A00"));
        marker(JPEG_APP0 + 13, bytesOf("50686F746F 53454352"));
        marker(JPEG_COM, bytesOf("534543524554"));
        jpeg_write_icc_profile(&jpeg, reinterpret_cast<const JOCTET*>(profile.data()),
                               static_cast<unsigned>(profile.size()));
    };
    Bytes bytes = encode(pictureOf(60, 40), layouts[4], extras);
    bytes.insert(bytes.end(), 1000, 'S');
    const Bytes after = filled(bytes, {{8, 8, 30, 20}});
    std::vector<std::string> markers;
    coefficientsOf(after, &markers);
    ASSERT_EQ(markers.size(), 3u);
    EXPECT_EQ(markers[0].substr(0, 7), std::string("0:JFIF\0", 7));
    EXPECT_EQ(markers[1].substr(0, 6), "1:Exif");
    EXPECT_EQ(markers[1].size(), 2u + 32u);
    EXPECT_EQ(markers[2].substr(0, 13), "2:ICC_PROFILE");
    EXPECT_NE(markers[2].find("wtpt"), std::string::npos);
    EXPECT_EQ(markers[2].find("SSSS"), std::string::npos);
    KernelFileInfo info{};
    Image image;
    ASSERT_EQ(load(after, image, &info), SUCCESS);
    EXPECT_EQ(info.nViewPerspective, KB_VIEW_RIGHT_TOP);
    EXPECT_EQ(info.nXResolution, 300);
    EXPECT_EQ(info.nYResolution, 200);
    EXPECT_EQ(std::search(after.begin(), after.end(), exif.begin() + 20, exif.end()), after.end());
    EXPECT_LT(after.size(), bytes.size() - 1000);
    // A profile with a hole between its tags isn't taken along.
    profile += std::string(40, 'S');
    profile.replace(0, 4, test::bigEndian(profile.size()));
    markers.clear();
    coefficientsOf(filled(encode(pictureOf(60, 40), layouts[4], extras), {{8, 8, 30, 20}}), &markers);
    EXPECT_EQ(markers.size(), 2u);
}

TEST(JpegAreas, FaultyInputIsRefused) {
    const Bytes bytes = encode(pictureOf(60, 40), layouts[4]);
    int result = 0;
    filled(Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2)), {{8, 8, 30, 20}}, &result);
    EXPECT_EQ(result, ERROR_FILE_READ);
    filled(bytesOf("89504E470D0A1A0A 0000000D"), {}, &result);
    EXPECT_EQ(result, ERROR_FILE_FORMAT);
    HGLOBAL block = nullptr;
    size_t size = 0;
    EXPECT_EQ(K_FillJpegAreas(bytes.data(), bytes.size(), nullptr, 1, 0, &block, &size), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_FillJpegAreas(nullptr, 0, nullptr, 0, 0, &block, &size), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_CheckJpegAreas(bytes.data(), bytes.size(), nullptr, 0, 0, nullptr), ERROR_INV_PARAMETER);
    K_SetPixelLimit(2000);
    filled(bytes, {}, &result);
    K_SetPixelLimit(0);
    EXPECT_EQ(result, ERROR_NO_MEMORY);
}
