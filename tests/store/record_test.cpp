// Defaults of every type, copies, and what a record costs.
#include "store/library.h"
#include "tests/store/support.h"

using namespace kbann;
using namespace kbann::test;

namespace {

TEST(Record, DefaultsByType) {
    struct Row {
        uint32_t nType;
        uint32_t nLineStyle = 0, nFillMode = 0, nROP2 = 0;
        double dLineWidth = 1;
        COLORREF crFore = 0, crBack = 0xFFFFFF;
        const char* face = "";
        uint32_t uShowFlags = 3;
        int bTransparent = 0;
        double dBitmapDpi = 0;
    };
    const Row rows[] = {
        {.nType = ANN_OBJECT_CONTAINER, .nLineStyle = 5, .dLineWidth = 0},
        {.nType = ANN_OBJECT_POINTER},
        {.nType = ANN_OBJECT_AUDIO},
        {.nType = ANN_OBJECT_BUTTON, .crBack = 0xC0C0C0, .face = "MS Sans Serif"},
        {.nType = ANN_OBJECT_ELLIPSE},
        {.nType = ANN_OBJECT_FREEHAND},
        {.nType = ANN_OBJECT_HILITE, .nLineStyle = 5, .nFillMode = 1, .nROP2 = 1, .crBack = 0x00FFFF},
        {.nType = ANN_OBJECT_HOTSPOT},
        {.nType = ANN_OBJECT_LINE},
        {.nType = ANN_OBJECT_NOTE, .nLineStyle = 5, .nFillMode = 2, .crBack = 0x00FFFF, .face = "Arial"},
        {.nType = ANN_OBJECT_POLYGON},
        {.nType = ANN_OBJECT_POLYLINE},
        {.nType = ANN_OBJECT_RECT},
        {.nType = ANN_OBJECT_REDACT, .nLineStyle = 5, .nFillMode = 2, .crFore = 0xFFFFFF, .crBack = 0},
        {.nType = ANN_OBJECT_STAMP},
        {.nType = ANN_OBJECT_TEXT, .face = "Arial"},
        {.nType = ANN_OBJECT_AUTOMATION, .crFore = 0x0000FF, .face = "Arial"},
        {.nType = ANN_OBJECT_RULER, .face = "Arial", .dBitmapDpi = 150},
        {.nType = ANN_OBJECT_CROSSPRODUCT, .face = "Arial", .dBitmapDpi = 150},
        {.nType = ANN_OBJECT_POINT, .bTransparent = 1},
        {.nType = ANN_OBJECT_PROTRACTOR, .face = "Arial", .uShowFlags = 0},
        {.nType = ANN_OBJECT_VIDEO},
        {.nType = ANN_OBJECT_PUSHPIN,
         .nLineStyle = 5,
         .nFillMode = 2,
         .crBack = 0x00FFFF,
         .face = "Arial",
         .bTransparent = 1},
        {.nType = ANN_OBJECT_FREEHANDHOTSPOT},
    };
    ASSERT_EQ(std::size(rows), objectTypeCount);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.nType);
        const HANNOBJECT handle = make(row.nType);
        const AnnObject& r = record(handle);
        EXPECT_EQ(r.nType, row.nType);
        EXPECT_EQ(r.nLineStyle, row.nLineStyle);
        EXPECT_EQ(r.nFillMode, row.nFillMode);
        EXPECT_EQ(r.nROP2, row.nROP2);
        EXPECT_EQ(r.dLineWidth, row.dLineWidth);
        EXPECT_EQ(r.crFore, row.crFore);
        EXPECT_EQ(r.crBack, row.crBack);
        EXPECT_STREQ(r.pszFontName.c_str(), row.face);
        EXPECT_EQ(r.uShowFlags, row.uShowFlags);
        EXPECT_EQ(r.bTransparent, row.bTransparent);
        EXPECT_EQ(r.dBitmapDpiX, row.dBitmapDpi);
        EXPECT_EQ(r.dBitmapDpiY, row.dBitmapDpi);
        // Whatever the type.
        EXPECT_NEAR(r.dFontSize, 96.0 * 10 / 72, 1e-12);
        EXPECT_EQ(r.dGaugeLength, 30.0);
        EXPECT_EQ(r.dArcRadius, 30.0);
        EXPECT_EQ(r.nUnit, 4u);
        EXPECT_STREQ(r.pszUnitAbbrev.c_str(), "mm");
        EXPECT_STREQ(r.pszAngleAbbrev.c_str(), "\xB0");
        EXPECT_TRUE(r.bShowNodes && r.bAcute && r.bShowName && r.bNameAutoAdjust && r.bShowLockedIcon);
        EXPECT_FALSE(r.bVisible || r.bSelected || r.bGrouping || r.uSerial);
        EXPECT_GE(r.pHandles.size(), 4u);
        EXPECT_EQ(r.crTransparent, 0xFFFFFFu);
        EXPECT_EQ(r.bitmap.Allocated, row.bTransparent ? 1u : 0u); // points and pushpins bring a picture
        K_AnnDestroy(handle, 0);
    }
}

TEST(Record, AutomationStartsWithItsOwnDefaults) {
    const HANNOBJECT handle = make(ANN_OBJECT_AUTOMATION);
    const AutomationPart& part = *record(handle).pAutomation;
    EXPECT_EQ(part.uAutoFlags, 56u);
    EXPECT_EQ(part.crCustomColors[8], 0xC0C0C0u);
    EXPECT_STREQ(part.pszAutoButtonFont.c_str(), "MS Sans Serif");
    EXPECT_NE(part.hAutoDlgFont, nullptr);
    HANNOBJECT copy = nullptr;
    ASSERT_EQ(K_AnnCopy(handle, &copy), SUCCESS);
    EXPECT_NE(record(copy).pAutomation->hAutoDlgFont, part.hAutoDlgFont);
    K_AnnDestroy(copy, 0);
    K_AnnDestroy(handle, 0);
}

TEST(Record, TextsAreCutAndShared) {
    Text a;
    EXPECT_TRUE(a.assign(std::string_view("ab\0cd", 5)));
    EXPECT_EQ(a.view(), "ab");
    const Text b = a;
    EXPECT_EQ(b.c_str(), a.c_str());
    EXPECT_TRUE(a.assign(""));
    EXPECT_FALSE(static_cast<bool>(a));
    EXPECT_EQ(b.view(), "ab");
}

TEST(Record, DeadAndMadeUpHandlesAreRefused) {
    const HANNOBJECT dead = make(ANN_OBJECT_RECT);
    K_AnnDestroy(dead, 0);
    const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, 2000);
    const HANNOBJECT rows[] = {nullptr, dead, kb::toHandle<HANNOBJECT>(kb::handleValue(memory)),
                               reinterpret_cast<HANNOBJECT>(reinterpret_cast<uintptr_t>(&memory)),
                               kb::toHandle<HANNOBJECT>(0xFFFFFFFF)};
    for (const HANNOBJECT handle : rows) {
        uint32_t type = 99;
        EXPECT_EQ(K_AnnGetType(handle, &type), ERROR_INV_PARAMETER);
        EXPECT_EQ(K_AnnSetTag(handle, 1, 0), ERROR_INV_PARAMETER);
        EXPECT_EQ(type, 99u);
    }
    GlobalFree(memory);
}

TEST(Record, HandlesOfFreedRecordsStayDeadThroughReuse) {
    std::vector<HANNOBJECT> dead;
    for (int round = 0; round < 20; ++round) {
        std::vector<HANNOBJECT> live;
        for (int i = 0; i < 500; ++i) live.push_back(make(ANN_OBJECT_LINE));
        for (const HANNOBJECT handle : dead) ASSERT_EQ(annFromHandle(handle), nullptr);
        for (const HANNOBJECT handle : live) K_AnnDestroy(handle, 0);
        dead.insert(dead.end(), live.begin(), live.end());
    }
}

} // namespace
