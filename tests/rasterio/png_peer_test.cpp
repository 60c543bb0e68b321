// PNG against libpng: what it writes has to come out of our reader, what our writer makes has to come out of it, pixel by
// pixel, at every colour type and depth up to 8 bits, interlaced or not.
#include "contracts/raster_io.h"
#include "platform/sys.h"

#include <gtest/gtest.h>
#include <png.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

struct Picture { // as libpng expands it: B, G, R, A
    int width = 0, height = 0;
    std::vector<uint8_t> bgra;
};

struct Source {
    const std::vector<uint8_t>& bytes;
    size_t at = 0;
};

// libpng leaves by longjmp on a fault, so nothing with a destructor is made between setjmp and the last call.
bool readByPeer(const std::vector<uint8_t>& file, Picture& out) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    Source source{file};
    std::vector<png_bytep> rows;
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }
    png_set_read_fn(png, &source, [](png_structp p, png_bytep to, size_t count) {
        auto& from = *static_cast<Source*>(png_get_io_ptr(p));
        if (count > from.bytes.size() - from.at) png_error(p, "short");
        std::memcpy(to, from.bytes.data() + from.at, count);
        from.at += count;
    });
    png_read_info(png, info);
    out.width = static_cast<int>(png_get_image_width(png, info));
    out.height = static_cast<int>(png_get_image_height(png, info));
    png_set_expand(png);
    png_set_gray_to_rgb(png);
    png_set_add_alpha(png, 255, PNG_FILLER_AFTER);
    png_set_bgr(png);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    out.bgra.resize(size_t(out.width) * size_t(out.height) * 4);
    for (int y = 0; y < out.height; ++y) rows.push_back(out.bgra.data() + size_t(y) * size_t(out.width) * 4);
    png_read_image(png, rows.data());
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    return true;
}

std::vector<uint8_t> writeByPeer(int colorType, int depth, bool interlaced, int width, int height, std::mt19937& random) {
    std::vector<uint8_t> file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(
        png, &file,
        [](png_structp p, png_bytep from, size_t count) {
            auto& to = *static_cast<std::vector<uint8_t>*>(png_get_io_ptr(p));
            to.insert(to.end(), from, from + count);
        },
        nullptr);
    png_set_IHDR(png, info, png_uint_32(width), png_uint_32(height), depth, colorType,
                 interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    std::vector<png_color> palette(size_t(1) << depth);
    for (auto& color : palette) color = {png_byte(random()), png_byte(random()), png_byte(random())};
    if (colorType == PNG_COLOR_TYPE_PALETTE) png_set_PLTE(png, info, palette.data(), static_cast<int>(palette.size()));
    png_write_info(png, info);
    std::vector<uint8_t> pixels(png_get_rowbytes(png, info) * size_t(height));
    for (auto& byte : pixels) byte = static_cast<uint8_t>(random());
    std::vector<png_bytep> rows;
    for (int y = 0; y < height; ++y) rows.push_back(pixels.data() + size_t(y) * png_get_rowbytes(png, info));
    png_write_image(png, rows.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return file;
}

// Colour and, where the record has it, opacity of each pixel.
void expectSame(const KernelBitmap& bitmap, const Picture& picture) {
    ASSERT_EQ(bitmap.Width, picture.width);
    ASSERT_EQ(bitmap.Height, picture.height);
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x) {
            const uint8_t* p = &picture.bgra[(size_t(y) * size_t(picture.width) + size_t(x)) * 4];
            ASSERT_EQ(K_GetBitmapPixel(&bitmap, y, x), RGB(p[2], p[1], p[0])) << x << ',' << y;
            if (bitmap.BitsPerPixel == 32 && bitmap.Alpha) {
                ASSERT_EQ(K_BitmapRowPointer(&bitmap, y)[4 * x + 3], p[3]) << x << ',' << y;
            } else {
                ASSERT_EQ(p[3], 255);
            }
        }
}

TEST(PngPeer, ReadsWhatItWrites) {
    const struct {
        int colorType;
        std::vector<int> depths;
    } rows[] = {{PNG_COLOR_TYPE_GRAY, {1, 2, 4, 8}},
                {PNG_COLOR_TYPE_PALETTE, {1, 2, 4, 8}},
                {PNG_COLOR_TYPE_RGB, {8}},
                {PNG_COLOR_TYPE_GRAY_ALPHA, {8}},
                {PNG_COLOR_TYPE_RGB_ALPHA, {8}}};
    std::mt19937 random(7);
    for (const auto& row : rows)
        for (const int depth : row.depths)
            for (const bool interlaced : {false, true})
                for (const auto& [width, height] : {std::pair{1, 1}, {7, 5}, {33, 9}, {64, 3}}) {
                    SCOPED_TRACE("type " + std::to_string(row.colorType) + " depth " + std::to_string(depth) +
                                 " interlaced " + std::to_string(interlaced) + " width " + std::to_string(width));
                    const auto file = writeByPeer(row.colorType, depth, interlaced, width, height, random);
                    Picture expected;
                    ASSERT_TRUE(readByPeer(file, expected));
                    KernelBitmap bitmap{};
                    ASSERT_EQ(K_LoadMemory(file.data(), &bitmap, 0, 0, file.size(), nullptr, nullptr), SUCCESS);
                    expectSame(bitmap, expected);
                    K_FreeBitmap(&bitmap);
                }
}

TEST(PngPeer, CanReadWhatWeWrite) {
    std::mt19937 random(11);
    for (const int bits : {1, 4, 8, 24, 32})
        for (const int width : {1, 7, 33, 640}) {
            SCOPED_TRACE("bits " + std::to_string(bits) + " width " + std::to_string(width));
            RGBQUAD palette[256];
            for (auto& color : palette) color = {BYTE(random()), BYTE(random()), BYTE(random()), 0};
            KernelBitmap bitmap{};
            ASSERT_EQ(K_CreateBitmap(&bitmap, 1, width, 11, bits, KB_ORDER_BGR, bits <= 8 ? palette : nullptr,
                                     KB_VIEW_TOP_LEFT, 0, 0),
                      SUCCESS);
            bitmap.Alpha = bits == 32;
            for (int y = 0; y < 11; ++y) {
                uint8_t* to = K_WritableBitmapRow(&bitmap, y);
                for (int i = 0; i < (width * bits + 7) / 8; ++i) to[i] = static_cast<uint8_t>(y % 3 ? random() : 0x55);
            }
            HGLOBAL memory = nullptr;
            size_t size = 0;
            ASSERT_EQ(K_SaveMemory(&bitmap, KB_FORMAT_PNG, nullptr, &memory, &size), SUCCESS);
            const auto* bytes = static_cast<const uint8_t*>(GlobalLock(memory));
            Picture read;
            ASSERT_TRUE(readByPeer({bytes, bytes + size}, read));
            expectSame(bitmap, read);
            GlobalFree(memory);
            K_FreeBitmap(&bitmap);
        }
}

} // namespace
