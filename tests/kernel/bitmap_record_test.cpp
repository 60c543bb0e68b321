// Life of records: sharing, borrowed records, parts, and what each argument is refused for.
#include "raster_fixture.h"

#include "platform/sys.h"

#include <gtest/gtest.h>

using namespace test;

namespace {

TEST(BitmapRecord, CreateRefusesWhatItCannotHold) {
    struct Row {
        const char* name;
        int type, width, height, bits, order, perspective, expected;
    };
    const Row rows[] = {
        {"smallest", 1, 1, 1, 1, 1, 1, SUCCESS},
        {"type", 2, 1, 1, 8, 1, 1, ERROR_INV_PARAMETER},
        {"no width", 1, 0, 1, 8, 1, 1, ERROR_INV_PARAMETER},
        {"negative height", 1, 1, -1, 8, 1, 1, ERROR_INV_PARAMETER},
        {"side too long", 1, (1 << 24) + 1, 1, 1, 1, 1, ERROR_INV_PARAMETER},
        {"longest row", 1, 1 << 24, 1, 1, 1, 1, SUCCESS},
        {"more than memory", 1, 1 << 24, 1 << 24, 32, 1, 1, ERROR_NO_MEMORY},
        {"odd depth", 1, 1, 1, 2, 1, 1, ERROR_INV_PARAMETER},
        {"depth 0", 1, 1, 1, 0, 1, 1, ERROR_INV_PARAMETER},
        {"12 bits of colour", 1, 1, 1, 12, KB_ORDER_BGR, 1, ERROR_INV_PARAMETER},
        {"12 bits of grey", 1, 1, 1, 12, KB_ORDER_GREY, 1, SUCCESS},
        {"order", 1, 1, 1, 8, 3, 1, ERROR_INV_PARAMETER},
        {"perspective 0", 1, 1, 1, 8, 1, 0, ERROR_INV_PARAMETER},
        {"perspective 9", 1, 1, 1, 8, 1, 9, ERROR_INV_PARAMETER},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Image image;
        EXPECT_EQ(
            K_CreateBitmap(&image.b, row.type, row.width, row.height, row.bits, row.order, nullptr, row.perspective, 0, 0),
            row.expected);
        EXPECT_EQ(image.b.Allocated, row.expected == SUCCESS ? 1u : 0u);
    }
}

TEST(BitmapRecord, RowsAreFourByteMultiples) {
    for (const int bits : allDepths) {
        for (int width = 1; width <= 33; ++width) {
            Image image;
            ASSERT_EQ(K_CreateBitmap(&image.b, 1, width, 2, bits, orderFor(bits), nullptr, 1, 0, 0), SUCCESS);
            EXPECT_EQ(image.b.BytesPerLine % 4, 0);
            EXPECT_GE(image.b.BytesPerLine * 8, width * bits);
            EXPECT_LT((image.b.BytesPerLine - 4) * 8, width * bits);
        }
    }
}

TEST(BitmapRecord, CopiesShareUntilOneIsWritten) {
    Image first, second;
    makeNoise(first, 13, 7, 8, KB_ORDER_BGR, 1, 5);
    const auto before = raws(first.b);
    ASSERT_EQ(K_CopyBitmap(&second.b, &first.b), SUCCESS);
    EXPECT_EQ(K_BitmapRowPointer(&first.b, 0), K_BitmapRowPointer(&second.b, 0));
    uint8_t byte = static_cast<uint8_t>(before[0] + 1);
    ASSERT_EQ(K_PutBitmapRow(&second.b, &byte, 0, 1), 1);
    EXPECT_NE(K_BitmapRowPointer(&first.b, 0), K_BitmapRowPointer(&second.b, 0));
    EXPECT_EQ(raws(first.b), before);
    EXPECT_EQ(rawAt(second.b, 0, 0), byte);
    // The palette belongs to the pixels: the copy's is its own now.
    EXPECT_NE(first.b.pPalette, second.b.pPalette);
    K_FreeBitmap(&first.b);
    EXPECT_EQ(second.b.pPalette[255].rgbRed, 255);
}

TEST(BitmapRecord, BorrowedRecordsAreReadOnly) {
    Image owner;
    makeNoise(owner, 5, 5, 24, KB_ORDER_BGR, 1, 9);
    const auto before = raws(owner.b);
    KernelBitmap lent = owner.b;
    lent.Borrowed = 1;
    const uint8_t byte = 1;
    EXPECT_EQ(K_PutBitmapRow(&lent, &byte, 0, 1), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_WritableBitmapRow(&lent, 0), nullptr);
    EXPECT_EQ(K_FlipBitmap(&lent), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_RotateBitmap(&lent, 9000, 1, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_SetBitmapRgnWhole(&lent, 0, 0, 1), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_ChangeBitmapDepth(&lent, &lent, 8, 0, 0, 0, 0, 0, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_BitmapDC(&lent), nullptr);
    Image copy;
    ASSERT_EQ(K_CopyBitmap(&copy.b, &lent), SUCCESS);
    EXPECT_EQ(copy.b.Borrowed, 0u);
    KernelBitmap kept = lent;
    ASSERT_EQ(K_PrepareOwnedBitmap(&kept, 1), SUCCESS);
    K_FreeBitmap(&lent);
    EXPECT_EQ(lent.Allocated, 0u);
    EXPECT_EQ(raws(owner.b), before);
    K_FreeBitmap(&owner.b);
    EXPECT_EQ(raws(kept), before);
    K_FreeBitmap(&kept);
}

TEST(BitmapRecord, PartsAreCutToTheImage) {
    struct Row {
        int x, y, w, h, left, top, width, height;
    };
    const Row rows[] = {{0, 0, 19, 11, 0, 0, 19, 11},   {3, 2, 5, 4, 3, 2, 5, 4},   {-4, -4, 8, 8, 0, 0, 4, 4},
                        {16, 9, 100, 100, 16, 9, 3, 2}, {1, 0, 17, 1, 1, 0, 17, 1}, {8, 1, 8, 3, 8, 1, 8, 3}};
    for (const int bits : allDepths) {
        Image whole;
        makeNoise(whole, 19, 11, bits, orderFor(bits), KB_VIEW_BOTTOM_LEFT, 77);
        for (const Row& r : rows) {
            SCOPED_TRACE(::testing::Message() << bits << " bits from " << r.x << "," << r.y);
            Image part;
            ASSERT_EQ(K_CopyBitmapRect(&part.b, &whole.b, r.x, r.y, r.w, r.h), SUCCESS);
            ASSERT_EQ(part.b.Width, r.width);
            ASSERT_EQ(part.b.Height, r.height);
            EXPECT_EQ(part.b.ViewPerspective, KB_VIEW_BOTTOM_LEFT);
            for (int y = 0; y < r.height; ++y) {
                for (int x = 0; x < r.width; ++x) ASSERT_EQ(rawAt(part.b, y, x), rawAt(whole.b, r.top + y, r.left + x));
                // What lies behind the last pixel came from nobody else's pixels.
                const uint8_t* row = K_BitmapRowPointer(&part.b, y);
                for (int bit = r.width * bits; bit < part.b.BytesPerLine * 8; ++bit)
                    ASSERT_EQ(row[bit / 8] >> (7 - bit % 8) & 1, 0);
            }
        }
        Image none;
        EXPECT_EQ(K_CopyBitmapRect(&none.b, &whole.b, 19, 0, 1, 1), ERROR_INV_PARAMETER);
        EXPECT_EQ(K_CopyBitmapRect(&none.b, &whole.b, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX), ERROR_INV_PARAMETER);
        EXPECT_EQ(K_CopyBitmapRect(&none.b, &whole.b, 0, 0, -5, 5), ERROR_INV_PARAMETER);
    }
}

TEST(BitmapRecord, RowAccessChecksItsArguments) {
    Image image;
    makeNoise(image, 10, 3, 8, KB_ORDER_BGR, 1, 3);
    uint8_t buffer[64];
    const int token = K_BeginBitmapAccess(&image.b);
    EXPECT_GE(token, 1);
    EXPECT_EQ(K_GetBitmapRow(&image.b, buffer, 2, 64), 12);
    EXPECT_EQ(K_GetBitmapRow(&image.b, buffer, 2, 5), 5);
    EXPECT_EQ(K_GetBitmapRow(&image.b, buffer, 3, 5), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_GetBitmapRow(&image.b, buffer, -1, 5), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_GetBitmapRow(&image.b, nullptr, 0, 5), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_EndBitmapAccess(&image.b, token), SUCCESS);
    EXPECT_EQ(K_GetBitmapPixel(&image.b, 3, 0), 0xFFFFFFFFu);
    EXPECT_EQ(K_GetBitmapPixel(&image.b, 0, 10), 0xFFFFFFFFu);
    KernelBitmap empty{};
    EXPECT_EQ(K_BeginBitmapAccess(&empty), ERROR_INV_BITMAP);
    EXPECT_EQ(K_BeginBitmapAccess(nullptr), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_GetBitmapRow(&empty, buffer, 0, 1), ERROR_INV_BITMAP);
}

TEST(BitmapRecord, PixelColours) {
    struct Row {
        int bits, order;
        uint32_t raw;
        COLORREF color;
    };
    const Row rows[] = {{1, KB_ORDER_BGR, 1, RGB(255, 255, 255)},
                        {4, KB_ORDER_BGR, 3, RGB(51, 51, 51)},
                        {12, KB_ORDER_GREY, 0xABC, RGB(0xAB, 0xAB, 0xAB)},
                        {16, KB_ORDER_GREY, 0x8001, RGB(128, 128, 128)},
                        {16, KB_ORDER_BGR, 0x7C00, RGB(255, 0, 0)},
                        {16, KB_ORDER_RGB, 0x001F, RGB(0, 0, 255)},
                        {24, KB_ORDER_BGR, 0x112233, RGB(0x11, 0x22, 0x33)},
                        {24, KB_ORDER_RGB, 0x112233, RGB(0x33, 0x22, 0x11)},
                        {32, KB_ORDER_BGR, 0xFF112233, RGB(0x11, 0x22, 0x33)}};
    for (const Row& r : rows) {
        Image image;
        ASSERT_EQ(K_CreateBitmap(&image.b, 1, 3, 1, r.bits, r.order, nullptr, 1, 0, 0), SUCCESS);
        std::vector<uint8_t> row(static_cast<size_t>(image.b.BytesPerLine));
        setRaw(row, r.bits, 1, r.raw);
        K_PutBitmapRow(&image.b, row.data(), 0, image.b.BytesPerLine);
        EXPECT_EQ(K_GetBitmapPixel(&image.b, 0, 1), r.color) << r.bits << " bits, order " << r.order;
    }
}

BOOL refuseAll(SIZE_T, void*) { return 0; }

TEST(BitmapRecord, FailedMemoryChangesNothing) {
    Image first, second, made;
    makeNoise(first, 9, 9, 8, KB_ORDER_BGR, 1, 21);
    ASSERT_EQ(K_CopyBitmap(&second.b, &first.b), SUCCESS);
    const auto before = raws(first.b);
    const uint8_t byte = 0;
    KbSetAllocationHook(refuseAll, nullptr);
    const int create = K_CreateBitmap(&made.b, 1, 4, 4, 8, 1, nullptr, 1, 0, 0);
    const int put = K_PutBitmapRow(&second.b, &byte, 0, 1);
    const int rotate = K_RotateBitmap(&first.b, 1234, 1, 0);
    const int depth = K_ChangeBitmapDepth(&first.b, &first.b, 24, 0, 0, 0, 0, 0, 0);
    KbSetAllocationHook(nullptr, nullptr);
    EXPECT_EQ(create, ERROR_NO_MEMORY);
    EXPECT_EQ(put, ERROR_NO_MEMORY);
    EXPECT_EQ(rotate, ERROR_NO_MEMORY);
    EXPECT_EQ(depth, ERROR_NO_MEMORY);
    EXPECT_EQ(raws(first.b), before);
    EXPECT_EQ(raws(second.b), before);
    EXPECT_EQ(made.b.Allocated, 0u);
}

TEST(BitmapRecord, ReusedMemoryIsZeroed) {
    for (int round = 0; round < 3; ++round) { // above 1 MB: pooled mappings
        Image image;
        ASSERT_EQ(K_CreateBitmap(&image.b, 1, 2000, 700, 8, 1, nullptr, 1, 0, 0), SUCCESS);
        for (int y = 0; y < 700; y += 99) {
            uint8_t* row = K_WritableBitmapRow(&image.b, y);
            for (int x = 0; x < 2000; ++x) {
                ASSERT_EQ(row[x], 0);
                row[x] = 0xA5;
            }
        }
    }
}

} // namespace
