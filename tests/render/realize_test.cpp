// Realizing into images and taking redactions out again, bit for bit; printing; what of a tree is drawn.
#include "render/realize.h"
#include "tests/kernel/raster_fixture.h"
#include "tests/render/canvas.h"

#include <limits>

using namespace kbann;
using namespace kbann::test;
using ::test::Image;
using ::test::makeNoise;

namespace {

// All rows as they are stored, padding too.
std::vector<uint8_t> bytesOf(const KernelBitmap& b) {
    std::vector<uint8_t> bytes;
    for (int y = 0; y < b.Height; ++y) {
        const uint8_t* row = K_BitmapRowPointer(&b, y);
        bytes.insert(bytes.end(), row, row + b.BytesPerLine);
    }
    return bytes;
}

COLORREF viewedPixel(const KernelBitmap& b, int x, int y) {
    RECT r{x, y, x + 1, y + 1};
    K_RectToBitmapView(&b, 0, &r);
    return K_GetBitmapPixel(&b, r.top, r.left) & 0xFFFFFF;
}

struct Realize : ::testing::Test {
    Realize() {
        const AnnRect page{0, 0, 100, 80};
        K_AnnSetRect(tree.root, &page);
        record(tree.root).dLineWidth = 0;
        annUpdate(record(tree.root), Repaint::none);
    }
    Tree tree;
    HANNOBJECT redaction(AnnRect rect) { return makeItem(tree.root, ANN_OBJECT_REDACT, rect); }
    // The bounds of the root as the fit takes them, so that one unit is one pixel.
    RECT bounds() const { return record(tree.root).rcBounds; }
};

TEST_F(Realize, ThereAndBackAtEveryDepthAndPerspective) {
    for (const int bits : {1, 4, 8, 16, 24, 32}) {
        for (int perspective = 1; perspective <= 8; ++perspective) {
            SCOPED_TRACE(::testing::Message() << bits << " bits, perspective " << perspective);
            Image image;
            RGBQUAD palette[256] = {}; // half of the entries twice: colours alone don't tell the bytes
            for (int i = 0; i < 256; ++i)
                palette[i] = {static_cast<BYTE>(i / 2), static_cast<BYTE>(200 - i / 2), static_cast<BYTE>(i / 2 * 2), 0};
            makeNoise(image, 131, 117, bits, KB_ORDER_BGR, perspective, static_cast<uint32_t>(bits),
                      bits <= 8 ? palette : nullptr);
            Tree other;
            const AnnRect page{0, 0, 117, 117};
            K_AnnSetRect(other.root, &page);
            const HANNOBJECT first = makeItem(other.root, ANN_OBJECT_REDACT, {10.4, 12.6, 60.3, 49.9}),
                             overlapping = makeItem(other.root, ANN_OBJECT_REDACT, {41, 33, 77, 90}),
                             turned = makeItem(other.root, ANN_OBJECT_REDACT, {60, 20, 100, 40}),
                             beyond = makeItem(other.root, ANN_OBJECT_REDACT, {-30, 70, 30, 300});
            K_AnnRotate(turned, 30, nullptr, 0);
            for (const HANNOBJECT object : {first, overlapping, turned, beyond})
                K_AnnSetName(object, FALSE, nullptr, nullptr, 0, 0);
            const auto before = bytesOf(image.b);
            const RECT target = record(other.root).rcBounds;
            ASSERT_EQ(K_AnnRealize(&image.b, &target, other.root, TRUE), SUCCESS);
            EXPECT_TRUE(bytesOf(image.b) != before);
            if (bits >= 16) {
                EXPECT_EQ(viewedPixel(image.b, 20, 20), 0u);
            }
            for (const HANNOBJECT object : {first, overlapping, turned, beyond})
                EXPECT_TRUE(record(object).bitmap.Allocated);
            const auto covered = bytesOf(image.b);
            ASSERT_EQ(K_AnnRealize(&image.b, &target, other.root, TRUE), SUCCESS); // keeps what it has kept
            EXPECT_TRUE(bytesOf(image.b) == covered);
            ASSERT_EQ(K_AnnUnrealize(&image.b, &target, other.root, FALSE), SUCCESS);
            EXPECT_TRUE(bytesOf(image.b) == before);
            for (const HANNOBJECT object : {first, overlapping, turned, beyond})
                EXPECT_FALSE(record(object).bitmap.Allocated);
            ASSERT_EQ(K_AnnUnrealize(&image.b, &target, other.root, FALSE), SUCCESS);
            EXPECT_TRUE(bytesOf(image.b) == before);
        }
    }
}

TEST_F(Realize, LockedAndUnselectedOnesStay) {
    const HANNOBJECT locked = redaction({10, 10, 20, 20}), open = redaction({40, 10, 50, 20}),
                     selected = redaction({70, 10, 80, 20});
    for (const HANNOBJECT object : {locked, open, selected}) K_AnnSetName(object, FALSE, nullptr, nullptr, 0, 0);
    Canvas canvas(100, 80);
    K_ReleaseBitmapDC(canvas.dc);
    const RECT target = bounds();
    ASSERT_EQ(K_AnnRealize(&canvas.bitmap, &target, tree.root, TRUE), SUCCESS);
    ASSERT_TRUE(record(locked).pszLockKey.assign("key"));
    ASSERT_EQ(K_AnnSetSelected(selected, TRUE, 0), SUCCESS);
    const auto at = [&](int x) { return viewedPixel(canvas.bitmap, x, 15); };
    EXPECT_EQ(K_AnnUnrealize(&canvas.bitmap, &target, tree.root, TRUE), SUCCESS); // the locked one isn't selected
    EXPECT_EQ(at(15), 0u);
    EXPECT_EQ(at(45), 0u);
    EXPECT_EQ(at(75), 0xFFFFFFu);
    EXPECT_EQ(K_AnnUnrealize(&canvas.bitmap, &target, tree.root, FALSE), ERROR_ANN_LOCKED);
    EXPECT_EQ(at(15), 0u);
    EXPECT_EQ(at(45), 0xFFFFFFu);
    EXPECT_TRUE(record(locked).bitmap.Allocated);
    EXPECT_FALSE(record(open).bitmap.Allocated);
    record(locked).pszLockKey.clear();
    EXPECT_EQ(K_AnnUnrealize(&canvas.bitmap, &target, tree.root, FALSE), SUCCESS);
    EXPECT_EQ(at(15), 0xFFFFFFu);
    canvas.dc = K_BitmapDC(&canvas.bitmap);
}

// Wherever the tree is fitted to: what is covered comes back, and nothing of what was kept is lost.
TEST_F(Realize, ThereAndBackInEveryTarget) {
    struct {
        const char* name;
        RECT target;
        int dark; // pixels
    } rows[] = {
        {"the whole image", {0, 0, 100, 80}, 400},
        {"mirrored", {100, 0, 0, 80}, 400},
        {"a part of the image, the box beyond it", {20, 20, 60, 52}, 64},
        {"a part at its own size", {5, 5, 20, 20}, 20},
        {"upside down, so that the tree lies below it", {0, 80, 100, 0}, 0},
        {"beside the image", {100, 0, 200, 80}, 0},
        {"mirrored, across the edge", {85, 0, -15, 80}, 400},
    };
    const HANNOBJECT object = redaction({10, 10, 30, 30});
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Image image;
        makeNoise(image, 100, 80, 24, KB_ORDER_BGR, 1, 7);
        const auto before = bytesOf(image.b);
        int dark = 0;
        ASSERT_EQ(K_AnnRealize(&image.b, &row.target, tree.root, TRUE), SUCCESS);
        for (int y = 0; y < 80; ++y)
            for (int x = 0; x < 100; ++x) dark += K_GetBitmapPixel(&image.b, y, x) == 0;
        EXPECT_EQ(dark, row.dark);
        ASSERT_EQ(K_AnnUnrealize(&image.b, &row.target, tree.root, FALSE), SUCCESS);
        EXPECT_TRUE(bytesOf(image.b) == before);
        EXPECT_FALSE(record(object).bitmap.Allocated);
    }
}

// Beyond what 16 bits hold there is image still.
TEST_F(Realize, LongImages) {
    const AnnRect page{0, 0, 33'000, 20};
    K_AnnSetRect(tree.root, &page);
    for (const double left : {31'990.0, 32'500.0}) {
        const HANNOBJECT object = redaction({left, 2.4, left + 100, 12.6});
        K_AnnSetName(object, FALSE, nullptr, nullptr, 0, 0);
        Canvas canvas(33'000, 20);
        K_ReleaseBitmapDC(canvas.dc);
        const RECT target = bounds();
        ASSERT_EQ(K_AnnRealize(&canvas.bitmap, &target, tree.root, TRUE), SUCCESS);
        const auto from = static_cast<int>(left);
        for (int x = from - 1; x <= from + 100; ++x) {
            EXPECT_EQ(viewedPixel(canvas.bitmap, x, 2) == 0, x >= from && x < from + 100) << x;
            EXPECT_EQ(viewedPixel(canvas.bitmap, x, 12) == 0, x >= from && x < from + 100) << x;
        }
        EXPECT_EQ(record(object).bitmap.Width, 100);
        ASSERT_EQ(K_AnnUnrealize(&canvas.bitmap, &target, tree.root, FALSE), SUCCESS);
        EXPECT_EQ(viewedPixel(canvas.bitmap, from + 50, 5), 0xFFFFFFu);
        canvas.dc = K_BitmapDC(&canvas.bitmap);
        K_AnnDestroy(object, 0);
    }
    // All that is drawn in upright rectangles shows there, as turned ones do.
    for (const uint32_t type : {ANN_OBJECT_RECT, ANN_OBJECT_ELLIPSE, ANN_OBJECT_NOTE, ANN_OBJECT_BUTTON, ANN_OBJECT_PUSHPIN,
                                ANN_OBJECT_AUDIO, ANN_OBJECT_VIDEO, ANN_OBJECT_TEXT, ANN_OBJECT_HOTSPOT}) {
        SCOPED_TRACE(type);
        const HANNOBJECT object = makeItem(tree.root, type, {32'500, 1, 32'560, 18});
        K_AnnSetName(object, FALSE, nullptr, nullptr, 0, 0);
        K_AnnSetText(object, "text", 0);
        Canvas canvas(33'000, 20);
        const RECT target = bounds();
        ASSERT_EQ(K_AnnPrint(canvas.dc, &target, tree.root), SUCCESS);
        int painted = 0;
        for (int y = 0; y < 20; ++y)
            for (int x = 32'400; x < 32'700; ++x) painted += canvas.at(x, y) != 0xFFFFFF;
        EXPECT_GT(painted, 20);
        K_AnnDestroy(object, 0);
    }
}

TEST_F(Realize, WhatIsDrawnOfATree) {
    const auto shape = [](HANNOBJECT container, uint32_t type, AnnRect rect, COLORREF color) {
        const HANNOBJECT made = makeItem(container, type, rect);
        K_AnnSetName(made, FALSE, nullptr, nullptr, 0, 0);
        K_AnnSetBackColor(made, color, 0);
        K_AnnSetForeColor(made, color, 0);
        if (type == ANN_OBJECT_RECT) K_AnnSetFillMode(made, ANN_FILLMODE_OPAQUE, 0);
        return made;
    };
    const HANNOBJECT rect = shape(tree.root, ANN_OBJECT_RECT, {10, 10, 20, 20}, RGB(255, 0, 0));
    shape(tree.root, ANN_OBJECT_REDACT, {30, 10, 40, 20}, RGB(0, 0, 9));
    HANNOBJECT hidden = makeItem(tree.root, ANN_OBJECT_CONTAINER, {50, 0, 100, 80});
    const HANNOBJECT inside = shape(hidden, ANN_OBJECT_RECT, {5, 10, 15, 20}, RGB(0, 200, 0));
    shape(hidden, ANN_OBJECT_REDACT, {25, 10, 35, 20}, RGB(0, 0, 9));
    K_AnnSetSelected(inside, TRUE, 0);
    struct {
        const char* name;
        bool shown, redactOnly, selected;
        HANNOBJECT object;
        bool rect, redact, inside, insideRedact;
    } rows[] = {
        {"all", true, false, false, tree.root, true, true, true, true},
        {"redactions", true, true, false, tree.root, false, true, false, true},
        {"container hidden", false, false, false, tree.root, true, true, false, false},
        {"container hidden, redactions", false, true, false, tree.root, false, true, false, false},
        {"selected", true, false, true, tree.root, false, false, true, false},
        {"selected in a hidden one", false, false, true, tree.root, false, false, false, false},
        {"an item", true, false, false, rect, true, false, false, false},
        {"an item below", true, false, false, inside, false, false, true, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        record(hidden).bVisible = row.shown;
        Canvas canvas(100, 80);
        const AnnMatrix identity = identityMatrix;
        const RECT all{0, 0, 100, 80};
        annDrawTree(canvas.dc, &all, record(row.object), &identity,
                    {.bRedactOnly = row.redactOnly, .bSelected = row.selected, .bSiblings = row.object == tree.root});
        EXPECT_EQ(canvas.at(15, 15) != 0xFFFFFF, row.rect);
        EXPECT_EQ(canvas.at(35, 15) != 0xFFFFFF, row.redact);
        EXPECT_EQ(canvas.at(60, 15) != 0xFFFFFF, row.inside);
        EXPECT_EQ(canvas.at(80, 15) != 0xFFFFFF, row.insideRedact);
        if (row.selected) continue;
        // The exported way with the same choice: into an image of the root's size an item comes to where it stands.
        Canvas image(100, 80);
        K_ReleaseBitmapDC(image.dc);
        const RECT whole = row.object == inside ? record(hidden).rcBounds : bounds(); // fitted from its container
        ASSERT_EQ(K_AnnRealize(&image.bitmap, &whole, row.object, row.redactOnly), SUCCESS);
        image.dc = K_BitmapDC(&image.bitmap);
        EXPECT_EQ(image.at(15, 15) != 0xFFFFFF, row.rect);
        EXPECT_EQ(image.at(35, 15) != 0xFFFFFF, row.redact);
        EXPECT_EQ(image.at(60, 15) != 0xFFFFFF, row.inside);
        EXPECT_EQ(image.at(80, 15) != 0xFFFFFF, row.insideRedact);
        for (AnnObject* r = &record(tree.root); r; r = annNextInTree<AnnObject>(r, &record(tree.root)))
            K_FreeBitmap(&r->bitmap);
    }
    // No handles and no icon, though the object is selected and locked.
    record(hidden).bVisible = 1;
    ASSERT_TRUE(record(rect).pszLockKey.assign("key"));
    record(rect).bSelected = 1;
    annUpdate(record(rect), Repaint::none);
    Canvas canvas(100, 80);
    const RECT whole = bounds();
    ASSERT_EQ(K_AnnPrint(canvas.dc, &whole, tree.root), SUCCESS);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 25; ++x) {
            const bool inRect = x >= 10 && x < 21 && y >= 10 && y < 21;
            ASSERT_EQ(canvas.at(x, y), inRect ? RGB(255, 0, 0) : 0xFFFFFFu) << x << ", " << y;
        }
}

TEST_F(Realize, PrintingFillsTheTarget) {
    const HANNOBJECT rect = makeItem(tree.root, ANN_OBJECT_RECT, {10, 10, 20, 30});
    K_AnnSetName(rect, FALSE, nullptr, nullptr, 0, 0);
    K_AnnSetFillMode(rect, ANN_FILLMODE_OPAQUE, 0);
    K_AnnSetBackColor(rect, RGB(9, 9, 9), 0);
    K_AnnSetForeColor(rect, RGB(9, 9, 9), 0);
    Canvas canvas(200, 200);
    const RECT target{50, 40, 150, 180};
    ASSERT_EQ(K_AnnPrint(canvas.dc, &target, rect), SUCCESS); // an item: fitted to its own bounds
    EXPECT_EQ(canvas.at(100, 100), RGB(9, 9, 9));
    EXPECT_EQ(canvas.at(62, 50), RGB(9, 9, 9));
    EXPECT_EQ(canvas.at(138, 170), RGB(9, 9, 9));
    for (const POINT p : {POINT{49, 100}, {150, 100}, {100, 39}, {100, 180}}) EXPECT_EQ(canvas.at(p.x, p.y), 0xFFFFFFu);
    Canvas own(200, 200); // without a target: where it is
    ASSERT_EQ(K_AnnPrint(own.dc, nullptr, rect), SUCCESS);
    EXPECT_EQ(own.at(15, 20), RGB(9, 9, 9));
    EXPECT_EQ(own.at(25, 20), 0xFFFFFFu);
    EXPECT_EQ(K_AnnPrint(own.dc, nullptr, nullptr), ERROR_INV_PARAMETER);
}

TEST_F(Realize, Codes) {
    const HANNOBJECT object = redaction({10, 10, 30, 30});
    Image none, grey12, grey16, sized;
    KernelBitmap borrowed{}, spoilt{};
    spoilt.Width = spoilt.Height = 10;
    spoilt.BitsPerPixel = 24;
    spoilt.Allocated = 1;
    ASSERT_EQ(K_InitBitmap(&sized.b, 100, 80, 24), SUCCESS);
    const HANNOBJECT point = makeItem(tree.root, ANN_OBJECT_POINT);
    ASSERT_EQ(K_AnnGetBitmap(point, &borrowed), SUCCESS);
    for (KernelBitmap* bad : {static_cast<KernelBitmap*>(nullptr), &none.b, &sized.b, &borrowed, &spoilt}) {
        EXPECT_EQ(K_AnnRealize(bad, nullptr, tree.root, TRUE), ERROR_INV_PARAMETER);
        EXPECT_EQ(K_AnnUnrealize(bad, nullptr, tree.root, FALSE), ERROR_INV_PARAMETER);
    }
    Canvas canvas(100, 80);
    EXPECT_EQ(K_AnnRealize(&canvas.bitmap, nullptr, nullptr, TRUE), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnUnrealize(&canvas.bitmap, nullptr, nullptr, TRUE), ERROR_INV_PARAMETER);
    makeNoise(grey12, 100, 80, 12, KB_ORDER_GREY, 1, 1);
    makeNoise(grey16, 100, 80, 16, KB_ORDER_GREY, 1, 1);
    for (KernelBitmap* grey : {&grey12.b, &grey16.b}) {
        const auto before = bytesOf(*grey);
        EXPECT_EQ(K_AnnRealize(grey, nullptr, tree.root, FALSE), ERROR_INV_PARAMETER);
        EXPECT_FALSE(record(object).bitmap.Allocated);
        EXPECT_EQ(K_AnnRealize(grey, nullptr, tree.root, TRUE), ERROR_INV_PARAMETER);
        EXPECT_TRUE(record(object).bitmap.Allocated); // what was kept stays
        EXPECT_EQ(K_AnnUnrealize(grey, nullptr, tree.root, FALSE), ERROR_INV_PARAMETER);
        EXPECT_TRUE(record(object).bitmap.Allocated);
        EXPECT_EQ(bytesOf(*grey), before);
        K_FreeBitmap(&record(object).bitmap);
    }
    // Beside the image, without size, or nowhere at all: nothing is covered, and nothing goes wrong.
    const HANNOBJECT beside = redaction({500, 500, 600, 600}), nowhere = redaction({1, 1, 2, 2});
    record(nowhere).quad[1].x = std::numeric_limits<double>::quiet_NaN();
    const RECT target = bounds();
    EXPECT_EQ(K_AnnRealize(&canvas.bitmap, &target, tree.root, TRUE), SUCCESS);
    EXPECT_FALSE(record(beside).bitmap.Allocated);
    EXPECT_FALSE(record(nowhere).bitmap.Allocated);
    EXPECT_TRUE(record(object).bitmap.Allocated);
    EXPECT_EQ(K_AnnUnrealize(&canvas.bitmap, &target, tree.root, FALSE), SUCCESS);
}

// As deep as trees may be, and as long as a list gets: the walk keeps no level of its own.
TEST_F(Realize, DeepAndLongTrees) {
    HANNOBJECT container = tree.root;
    for (uint32_t i = 1; i < maxTreeDepth; ++i) container = makeItem(container, ANN_OBJECT_CONTAINER, {0, 0, 100, 80});
    const HANNOBJECT deepest = makeItem(container, ANN_OBJECT_REDACT, {10, 10, 20, 20});
    K_AnnSetName(deepest, FALSE, nullptr, nullptr, 0, 0);
    Canvas canvas(100, 80);
    K_ReleaseBitmapDC(canvas.dc);
    const auto before = bytesOf(canvas.bitmap);
    const RECT target = bounds();
    ASSERT_EQ(K_AnnRealize(&canvas.bitmap, &target, tree.root, TRUE), SUCCESS);
    EXPECT_TRUE(record(deepest).bitmap.Allocated);
    EXPECT_NE(bytesOf(canvas.bitmap), before);
    ASSERT_EQ(K_AnnUnrealize(&canvas.bitmap, &target, tree.root, FALSE), SUCCESS);
    EXPECT_EQ(bytesOf(canvas.bitmap), before);
    canvas.dc = K_BitmapDC(&canvas.bitmap);
}

} // namespace
