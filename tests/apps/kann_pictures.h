// Pictures that kann has written, compared pixel by pixel with what they should show.
#pragma once

#include "tests/apps/kann_process.h"

#include <array>
#include <cstring>

using Color = std::array<std::uint8_t, 3>; // blue, green, red
inline constexpr Color black{0, 0, 0}, white{255, 255, 255}, red{0, 0, 255}, blue{255, 0, 0};

struct Box {
    int left, top, right, bottom; // right and bottom excluded
    bool holds(int x, int y) const { return x >= left && x < right && y >= top && y < bottom; }
};

class KannPictureTest : public KannTest {
protected:
    void makeWhite(const std::string& name, int width, int height, int format = KB_FORMAT_PNG, int bits = 24,
                   const KernelSaveOptions* options = nullptr, int perspective = KB_VIEW_TOP_LEFT) const {
        const auto fill = [perspective](KernelBitmap& bitmap) {
            bitmap.XResolution = bitmap.YResolution = 200;
            bitmap.ViewPerspective = perspective;
            for (int y = 0; y < bitmap.Height; ++y) {
                std::memset(K_WritableBitmapRow(&bitmap, y), 255, static_cast<std::size_t>(bitmap.BytesPerLine));
            }
        };
        saveBitmap(path(name), width, height, bits, format, fill, options);
    }

    // Every pixel has the colour that `model` tells.
    template <typename Model>
    void expectPicture(const std::string& name, int width, int height, Model model, int page = 1) const {
        const std::vector<std::uint8_t> got = pixels(name, page);
        ASSERT_EQ(got.size(), static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3) << name;
        int wrong = 0;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const Color due = model(x, y);
                const std::uint8_t* at =
                    &got[(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)) * 3];
                if (std::memcmp(at, due.data(), 3) != 0 && ++wrong < 4) {
                    ADD_FAILURE() << name << " at " << x << ", " << y << ": " << +at[0] << " " << +at[1] << " " << +at[2];
                }
            }
        }
        EXPECT_EQ(wrong, 0) << name;
    }
};
