// A page to draw trees on in tests.
#pragma once

#include "tests/store/support.h"

namespace kbann::test {

struct Canvas {
    Canvas(int width, int height, COLORREF ground = 0xFFFFFF, int bits = 24) {
        EXPECT_EQ(K_CreateBitmap(&bitmap, 1, width, height, bits, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), SUCCESS);
        dc = K_BitmapDC(&bitmap);
        const HBRUSH brush = CreateSolidBrush(ground);
        const RECT all{0, 0, width, height};
        FillRect(dc, &all, brush);
        DeleteObject(brush);
    }
    ~Canvas() {
        K_ReleaseBitmapDC(dc);
        K_FreeBitmap(&bitmap);
    }
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    void draw(HANNOBJECT object, const RECT* clip = nullptr) { EXPECT_EQ(K_AnnDraw(dc, clip, object), SUCCESS); }
    COLORREF at(int x, int y) const { return GetPixel(dc, x, y); }
    // Pixels that aren't of the colour.
    int countOther(COLORREF color) const {
        int count = 0;
        for (int y = 0; y < bitmap.Height; ++y)
            for (int x = 0; x < bitmap.Width; ++x) count += at(x, y) != color;
        return count;
    }

    KernelBitmap bitmap{};
    HDC dc = nullptr;
};

inline HANNOBJECT withPoints(HANNOBJECT root, uint32_t type, const std::vector<AnnPoint>& points) {
    const HANNOBJECT made = makeItem(root, type);
    EXPECT_EQ(K_AnnSetPoints(made, points.data(), static_cast<uint32_t>(points.size())), SUCCESS);
    return made;
}

} // namespace kbann::test
