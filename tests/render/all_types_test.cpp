// Every type in eight rotations, mirrored both ways, and mirrored after a turn, as golden pictures.
#include "kbann/object_types.h"
#include "tests/render/canvas.h"
#include "tests/render/golden.h"

#include <span>

using namespace kbann;
using namespace kbann::test;

namespace {

constexpr int cell = 90, columns = 11;

// A page of letters whose corners can't be mistaken for each other: red, green, blue, and a white one.
void fillPicture(KernelBitmap* bitmap) {
    ASSERT_EQ(K_CreateBitmap(bitmap, 1, 60, 40, 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), SUCCESS);
    const HDC dc = K_BitmapDC(bitmap);
    const auto fill = [dc](RECT r, COLORREF color) {
        const HBRUSH brush = CreateSolidBrush(color);
        FillRect(dc, &r, brush);
        DeleteObject(brush);
    };
    fill({0, 0, 60, 40}, RGB(250, 235, 200));
    fill({0, 0, 20, 14}, RGB(220, 30, 30));
    fill({40, 0, 60, 14}, RGB(30, 160, 60));
    fill({0, 26, 20, 40}, RGB(40, 60, 220));
    fill({40, 26, 60, 40}, RGB(255, 255, 255));
    fill({27, 10, 33, 36}, 0);
    fill({27, 10, 44, 15}, 0);
    K_ReleaseBitmapDC(dc);
}

struct TypeRow {
    const char* name;
    uint32_t type;
    void (*make)(HANNOBJECT object);
};

void setPoints(HANNOBJECT object, std::initializer_list<AnnPoint> points) {
    EXPECT_EQ(K_AnnSetPoints(object, points.begin(), static_cast<uint32_t>(points.size())), SUCCESS);
}

// Geometry in a cell of its own, about its middle; colours that tell outline from fill.
void box(HANNOBJECT object) {
    const AnnRect rect{20, 32, 76, 64};
    EXPECT_EQ(K_AnnSetRect(object, &rect), SUCCESS);
}
void filled(HANNOBJECT object) {
    K_AnnSetBackColor(object, RGB(190, 220, 255), 0);
    K_AnnSetFillMode(object, ANN_FILLMODE_OPAQUE, 0);
}
void writing(HANNOBJECT object) {
    box(object);
    K_AnnSetFontSize(object, 11, 0);
    K_AnnSetText(object, "Key of\rF", 0);
}

constexpr TypeRow shapes[] = {
    {"container", ANN_OBJECT_CONTAINER,
     [](HANNOBJECT o) {
         box(o);
         K_AnnSetLineStyle(o, ANN_LINE_DASH, 0);
     }},
    {"rect", ANN_OBJECT_RECT,
     [](HANNOBJECT o) {
         box(o);
         filled(o);
         K_AnnSetFillPattern(o, ANN_FILLPATTERN_BDIAGONAL, 0);
         K_AnnSetLineWidth(o, 3, 0);
     }},
    {"ellipse", ANN_OBJECT_ELLIPSE,
     [](HANNOBJECT o) {
         box(o);
         filled(o);
     }},
    {"hilite", ANN_OBJECT_HILITE, box},
    {"redact", ANN_OBJECT_REDACT, box},
    {"line", ANN_OBJECT_LINE,
     [](HANNOBJECT o) {
         setPoints(o, {{20, 40}, {76, 56}});
         K_AnnSetLineWidth(o, 2, 0);
     }},
    {"polyline", ANN_OBJECT_POLYLINE,
     [](HANNOBJECT o) {
         setPoints(o, {{20, 60}, {34, 34}, {48, 60}, {76, 40}});
     }},
    {"polygon", ANN_OBJECT_POLYGON,
     [](HANNOBJECT o) {
         setPoints(o, {{20, 64}, {30, 32}, {76, 44}, {50, 50}});
         filled(o);
     }},
    {"freehand", ANN_OBJECT_FREEHAND,
     [](HANNOBJECT o) {
         setPoints(o, {{20, 50}, {28, 38}, {38, 36}, {46, 48}, {54, 60}, {66, 58}, {76, 40}});
     }},
    {"pointer", ANN_OBJECT_POINTER,
     [](HANNOBJECT o) {
         setPoints(o, {{76, 40}, {20, 56}});
         K_AnnSetLineWidth(o, 2, 0);
     }},
};

constexpr TypeRow texts[] = {
    {"text", ANN_OBJECT_TEXT, writing},       {"note", ANN_OBJECT_NOTE, writing},
    {"button", ANN_OBJECT_BUTTON, writing},   {"stamp of text", ANN_OBJECT_STAMP, writing},
    {"pushpin", ANN_OBJECT_PUSHPIN, writing},
};

constexpr TypeRow pictures[] = {
    {"stamp of an image", ANN_OBJECT_STAMP,
     [](HANNOBJECT o) {
         box(o);
         KernelBitmap picture{};
         fillPicture(&picture);
         EXPECT_EQ(K_AnnSetBitmap(o, &picture, 0), SUCCESS);
         K_FreeBitmap(&picture);
     }},
    {"stamp with transparent white", ANN_OBJECT_STAMP,
     [](HANNOBJECT o) {
         box(o);
         KernelBitmap picture{};
         fillPicture(&picture);
         EXPECT_EQ(K_AnnSetBitmap(o, &picture, 0), SUCCESS);
         EXPECT_EQ(K_AnnSetTransparentColor(o, RGB(255, 255, 255), 0), SUCCESS);
         EXPECT_EQ(K_AnnSetTransparent(o, TRUE, 0), SUCCESS);
         K_FreeBitmap(&picture);
     }},
    {"stamp of a metafile", ANN_OBJECT_STAMP,
     [](HANNOBJECT o) {
         box(o);
         EXPECT_EQ(K_AnnSetMetafile(o, nullptr, ANN_METAFILE_APPROVED, 0), SUCCESS);
     }},
    {"point", ANN_OBJECT_POINT,
     [](HANNOBJECT o) {
         setPoints(o, {{48, 48}});
     }},
    {"audio", ANN_OBJECT_AUDIO, box},
    {"video", ANN_OBJECT_VIDEO, box},
    {"hotspot", ANN_OBJECT_HOTSPOT, box},
    {"freehand hotspot", ANN_OBJECT_FREEHANDHOTSPOT,
     [](HANNOBJECT o) {
         setPoints(o, {{20, 64}, {30, 32}, {76, 44}, {60, 66}});
     }},
};

constexpr TypeRow measures[] = {
    {"ruler", ANN_OBJECT_RULER,
     [](HANNOBJECT o) {
         setPoints(o, {{26, 42}, {66, 54}});
     }},
    {"cross product", ANN_OBJECT_CROSSPRODUCT,
     [](HANNOBJECT o) {
         setPoints(o, {{24, 48}, {72, 48}, {48, 48}, {48, 30}, {48, 66}});
     }},
    {"protractor", ANN_OBJECT_PROTRACTOR,
     [](HANNOBJECT o) {
         setPoints(o, {{24, 36}, {40, 60}, {74, 54}});
     }},
};

void compare(std::span<const TypeRow> rows, const char* golden) {
    const int height = cell * static_cast<int>(rows.size());
    Tree tree;
    for (size_t row = 0; row < rows.size(); ++row) {
        for (int column = 0; column < columns; ++column) {
            SCOPED_TRACE(rows[row].name);
            const HANNOBJECT object = makeItem(tree.root, rows[row].type);
            rows[row].make(object);
            K_AnnSetFontSize(object, 11, 0);
            K_AnnSetBitmapDpiX(object, 96, 0);
            K_AnnSetBitmapDpiY(object, 96, 0);
            K_AnnSetGaugeLength(object, 10, 0);
            const AnnPoint middle{48, 48};
            int turned = SUCCESS, mirrored = SUCCESS;
            if (column == 8 || column == 10) mirrored = K_AnnReverse(object, &middle, 0);
            if (column == 9) mirrored = K_AnnFlip(object, &middle, 0);
            if (column < 8) turned = K_AnnRotate(object, column * 45.0, &middle, 0);
            if (column == 10) turned = K_AnnRotate(object, 30, &middle, 0);
            EXPECT_EQ(mirrored, SUCCESS);
            EXPECT_EQ(turned, SUCCESS);
            EXPECT_EQ(K_AnnMove(object, column * cell, static_cast<double>(row) * cell, 0), SUCCESS);
        }
    }
    Canvas canvas(cell * columns, height, RGB(250, 250, 245));
    canvas.draw(tree.root);
    expectGolden(canvas.bitmap, golden);
}

TEST(AllTypes, Shapes) { compare(shapes, "all_shapes"); }
TEST(AllTypes, Texts) { compare(texts, "all_texts"); }
TEST(AllTypes, Pictures) { compare(pictures, "all_pictures"); }
TEST(AllTypes, Measures) { compare(measures, "all_measures"); }

} // namespace
