// What the tests of the pictures share: drawing one in a rectangle of an image.
#pragma once

#include "contracts/raster_kernel.h"
#include "resources/tools/outline.h"

#include <gtest/gtest.h>

namespace kbann::test {

// A white upright image of 24 bits that frees itself.
struct Sheet {
    KernelBitmap bitmap{};

    Sheet(int width, int height) {
        EXPECT_EQ(K_CreateBitmap(&bitmap, 1, width, height, 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), SUCCESS);
        const HDC hDC = K_BitmapDC(&bitmap);
        PatBlt(hDC, 0, 0, width, height, WHITENESS);
        K_ReleaseBitmapDC(hDC);
    }
    ~Sheet() { K_FreeBitmap(&bitmap); }
    Sheet(const Sheet&) = delete;
    Sheet& operator=(const Sheet&) = delete;

    // So that the picture's box fills the rectangle.
    void draw(const pictures::Picture& picture, int left, int top, int width, int height) {
        const RECT& box = picture.box;
        const HDC hDC = K_BitmapDC(&bitmap);
        SetMapMode(hDC, MM_ANISOTROPIC);
        SetWindowOrgEx(hDC, box.left, box.top, nullptr);
        SetWindowExtEx(hDC, box.right - box.left, box.bottom - box.top, nullptr);
        SetViewportOrgEx(hDC, left, top, nullptr);
        SetViewportExtEx(hDC, width, height, nullptr);
        EXPECT_TRUE(drawPicture(hDC, picture)) << picture.name;
        K_ReleaseBitmapDC(hDC);
    }

    COLORREF at(int x, int y) const { return K_GetBitmapPixel(&bitmap, y, x); }
};

} // namespace kbann::test
