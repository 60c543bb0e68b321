// The property family: who has what, what is refused, what depends on what, who may be seen.
#include "kbann/auto_text.h"
#include "store/properties.h"
#include "tests/store/support.h"

using namespace kbann;
using namespace kbann::test;

namespace {

// Every row against every type: the type list decides, refusals change nothing.
TEST(Properties, EveryRowOnEveryType) {
    const AnnPoint point{1, 2};
    for (uint8_t id = 0; id < static_cast<uint8_t>(Property::count); ++id) {
        const PropertyRow& row = annPropertyRow(static_cast<Property>(id));
        for (uint32_t type = 0; type < objectTypeCount; ++type) {
            SCOPED_TRACE(std::string(row.name) + " on type " + std::to_string(type));
            const HANNOBJECT object = make(type);
            const bool has = hasType(row.types, type);
            union {
                BOOL flag;
                uint32_t word;
                double real;
                AnnPoint point;
                KernelBitmap bitmap;
                KernelMetafile metafile;
                char text[256];
            } out{};
            const int got = annGetProperty(object, row.id, &out);
            const bool picture = row.kind == PropertyKind::bitmap || row.kind == PropertyKind::metafile;
            if (!has || !picture) {
                EXPECT_EQ(got, has ? SUCCESS : ERROR_FEATURE_NOT_SUPPORTED);
            }
            EXPECT_EQ(annGetProperty(object, row.id, nullptr), ERROR_INV_PARAMETER);
            if (row.id != Property::type && row.id != Property::window && row.id != Property::serial) {
                PropertyValue value{.number = 1, .real = 2.5, .pointer = nullptr};
                if (row.kind == PropertyKind::string) value.pointer = "text";
                if (row.kind == PropertyKind::namePoint) value.pointer = &point;
                const bool refused = hasType(row.check.refusedTypes, type);
                EXPECT_EQ(annSetChecked(object, row.id, value, 0), refused ? ERROR_INV_PARAMETER
                                                                   : has   ? SUCCESS
                                                                           : ERROR_FEATURE_NOT_SUPPORTED);
                if (has && !refused && row.kind == PropertyKind::real) {
                    EXPECT_EQ(annGetProperty(object, row.id, &out), SUCCESS);
                    EXPECT_EQ(out.real, 2.5);
                    EXPECT_EQ(annSetChecked(object, row.id, {.real = -1}, 0),
                              row.check.notNegative ? ERROR_INV_PARAMETER : SUCCESS);
                }
                if (row.check.highest != UINT32_MAX && has) {
                    EXPECT_EQ(annSetChecked(object, row.id, {.number = row.check.highest + 1}, 0), ERROR_INV_PARAMETER);
                }
            }
            K_AnnDestroy(object, 0);
        }
    }
}

TEST(Properties, FillModeAndRasterModeGoTogether) {
    struct {
        const char* name;
        uint32_t fillBefore, ropBefore;
        bool setFill;
        uint32_t value, fillAfter, ropAfter;
    } rows[] = {{"translucent brings AND", 0, 0, true, 1, 1, 1}, {"opaque takes AND away", 1, 1, true, 2, 2, 0},
                {"opaque leaves XOR", 0, 2, true, 2, 2, 2},      {"transparent leaves all", 2, 1, true, 0, 0, 1},
                {"AND makes translucent", 2, 0, false, 1, 1, 1}, {"copy makes opaque", 1, 1, false, 0, 2, 0},
                {"transparent stays", 0, 0, false, 1, 0, 1}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const HANNOBJECT rect = make(ANN_OBJECT_RECT);
        record(rect).nFillMode = row.fillBefore;
        record(rect).nROP2 = row.ropBefore;
        EXPECT_EQ(row.setFill ? K_AnnSetFillMode(rect, row.value, 0) : K_AnnSetROP2(rect, row.value, 0), SUCCESS);
        EXPECT_EQ(record(rect).nFillMode, row.fillAfter);
        EXPECT_EQ(record(rect).nROP2, row.ropAfter);
        K_AnnDestroy(rect, 0);
    }
    const HANNOBJECT text = make(ANN_OBJECT_TEXT);
    EXPECT_EQ(K_AnnSetFillMode(text, 1, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnSetFillMode(text, 2, 0), SUCCESS);
    EXPECT_EQ(K_AnnSetROP2(text, 0, 0), ERROR_INV_PARAMETER);
    K_AnnDestroy(text, 0);
}

TEST(Properties, AWalkStopsAtAForeignTypeUnlessItGoesDown) {
    Tree tree;
    const HANNOBJECT a = makeItem(tree.root, ANN_OBJECT_RECT);
    makeItem(tree.root, ANN_OBJECT_HILITE);
    const HANNOBJECT b = makeItem(tree.root, ANN_OBJECT_RECT);
    EXPECT_EQ(K_AnnSetLineWidth(tree.root, 4, ANN_FLAG_NOTTHIS), ERROR_FEATURE_NOT_SUPPORTED);
    EXPECT_EQ(record(a).dLineWidth, 4);
    EXPECT_EQ(record(b).dLineWidth, 1);
    EXPECT_EQ(K_AnnSetLineWidth(tree.root, 5, ANN_FLAG_NOTTHIS | ANN_FLAG_RECURSE), SUCCESS);
    EXPECT_EQ(record(b).dLineWidth, 5);
}

TEST(Properties, SelectionAndVisibility) {
    Tree tree;
    const HANNOBJECT item = makeItem(tree.root, ANN_OBJECT_RECT);
    EXPECT_EQ(K_AnnSetSelected(item, TRUE, 0), SUCCESS);
    EXPECT_EQ(K_AnnSetVisible(item, FALSE, 0, nullptr), SUCCESS);
    EXPECT_FALSE(record(item).bSelected);
    EXPECT_EQ(K_AnnSetSelected(item, TRUE, 0), SUCCESS);
    EXPECT_FALSE(record(item).bSelected); // hidden
    K_AnnSetVisible(item, TRUE, 0, nullptr);
    record(item).pszLockKey.assign("key");
    K_AnnSetSelected(item, TRUE, 0);
    EXPECT_FALSE(record(item).bSelected); // locked
}

TEST(Properties, UsersDecideWhatMayBeShown) {
    struct {
        const char *user, *list;
        bool shown;
    } rows[] = {{"", nullptr, true},    {"", "", true},          {"", "ann", false},       {"ann", nullptr, false},
                {"ann", "", false},     {"ann", "ann", true},    {"ann", "bob,ann", true}, {"ann", "ann,bob", true},
                {"ann", "anna", false}, {"ann", "joann", false}, {"ann", "Ann", false},    {"ann", "bob,anna,ann", true},
                {"ann", ",", false},    {"a,b", "x,a,b,y", true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.user) + " in " + (row.list ? row.list : "null"));
        Text user;
        user.assign(row.user);
        EXPECT_EQ(annUserInList(user, row.list), row.shown);
    }
    Tree tree;
    const HANNOBJECT item = makeItem(tree.root, ANN_OBJECT_RECT, {0, 0, 1, 1}, FALSE);
    EXPECT_EQ(K_AnnSetUser(item, nullptr, "ann", 0), SUCCESS);
    EXPECT_EQ(K_AnnSetUser(item, "bob", "carl", 0), SUCCESS);
    EXPECT_EQ(K_AnnSetVisible(item, TRUE, 0, "bob"), SUCCESS);
    EXPECT_FALSE(record(item).bVisible);
    EXPECT_EQ(K_AnnSetVisible(item, TRUE, 0, "bob,ann"), SUCCESS);
    EXPECT_TRUE(record(item).bVisible);
    EXPECT_EQ(K_AnnSetTag(tree.root, 9, ANN_FLAG_RECURSE | ANN_FLAG_USER), SUCCESS); // without a list: those without a user
    EXPECT_EQ(record(tree.root).uTag, 9u);
    EXPECT_EQ(record(item).uTag, 0u);
}

TEST(Properties, MenuBitsOfAnObject) {
    Tree tree;
    const HANNOBJECT item = makeItem(tree.root, ANN_OBJECT_RECT);
    record(item).pItemMenu = std::make_unique<ItemMenuPart>();
    auto& menu = *record(item).pItemMenu;
    constexpr uint32_t font = ANN_AUTOTEXT_MENU_FONT;
    menu.itemMenuEnableMask[font / 8] = static_cast<uint8_t>(1u << (7 - font % 8));
    EXPECT_EQ(K_AnnSetFontBold(item, TRUE, ANN_FLAG_CHECKMENU), SUCCESS);
    EXPECT_FALSE(record(item).bFontBold); // the item is off for it
    menu.itemMenuEnable = menu.itemMenuEnableMask;
    EXPECT_EQ(K_AnnSetFontBold(item, TRUE, ANN_FLAG_CHECKMENU), SUCCESS);
    EXPECT_TRUE(record(item).bFontBold);
    menu.itemMenuEnable = {};
    EXPECT_EQ(K_AnnSetTag(item, 5, ANN_FLAG_CHECKMENU), SUCCESS); // no menu item: nothing to check
    EXPECT_EQ(record(item).uTag, 5u);
}

TEST(Properties, AStampShowsOneThing) {
    const HANNOBJECT stamp = make(ANN_OBJECT_STAMP);
    KernelBitmap bitmap{}, given;
    ASSERT_EQ(K_CreateBitmap(&bitmap, 1, 4, 4, 8, KB_ORDER_GREY, nullptr, 1, 0, 0), SUCCESS);
    EXPECT_EQ(K_AnnGetBitmap(stamp, &given), ERROR_INV_BITMAP);
    EXPECT_EQ(given.Width, 0);
    EXPECT_EQ(K_AnnSetText(stamp, "paid", 0), SUCCESS);
    EXPECT_EQ(K_AnnSetBitmap(stamp, &bitmap, 0), SUCCESS);
    EXPECT_FALSE(static_cast<bool>(record(stamp).pszText));
    EXPECT_EQ(K_AnnGetBitmap(stamp, &given), SUCCESS);
    EXPECT_EQ(K_PutBitmapRow(&given, "abcd", 0, 4), ERROR_INV_PARAMETER); // what is given out is borrowed
    K_FreeBitmap(&given);
    EXPECT_EQ(K_AnnGetBitmap(stamp, &given), SUCCESS);
    EXPECT_EQ(K_AnnSetText(stamp, "paid", 0), SUCCESS);
    EXPECT_EQ(K_AnnGetBitmap(stamp, &given), ERROR_INV_BITMAP);
    EXPECT_EQ(K_AnnSetBitmap(stamp, nullptr, 0), SUCCESS);
    K_FreeBitmap(&bitmap);
    K_AnnDestroy(stamp, 0);
}

TEST(Properties, TextsAndNames) {
    const HANNOBJECT note = make(ANN_OBJECT_NOTE);
    uint32_t length = 99;
    char text[32] = "before";
    EXPECT_EQ(K_AnnSetText(note, "hello", 0), SUCCESS);
    EXPECT_EQ(K_AnnGetTextLen(note, &length), SUCCESS);
    EXPECT_EQ(length, 5u);
    EXPECT_EQ(K_AnnSetText(note, "", 0), SUCCESS);
    EXPECT_FALSE(static_cast<bool>(record(note).pszText));
    EXPECT_EQ(K_AnnGetTextLen(note, &length), SUCCESS);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(K_AnnGetText(note, text), SUCCESS);
    EXPECT_STREQ(text, "");

    const AnnPoint offset{3, 4};
    EXPECT_EQ(K_AnnSetName(note, FALSE, "name", &offset, FALSE, 0), SUCCESS);
    EXPECT_EQ(K_AnnSetName(note, TRUE, reinterpret_cast<const char*>(intptr_t{-1}), nullptr, -1, 0), SUCCESS);
    BOOL show = 9, adjust = 9;
    AnnPoint got{};
    EXPECT_EQ(K_AnnGetName(note, &show, &length, text, &got, &adjust), SUCCESS);
    EXPECT_STREQ(text, "name");
    EXPECT_EQ(length, 4u);
    EXPECT_TRUE(show);
    EXPECT_FALSE(adjust);
    EXPECT_EQ(got.y, 4);
    EXPECT_EQ(K_AnnGetName(note, nullptr, nullptr, nullptr, nullptr, nullptr), SUCCESS);
    EXPECT_EQ(K_AnnGetName(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), ERROR_INV_PARAMETER);
    K_AnnDestroy(note, 0);

    const HANNOBJECT ruler = make(ANN_OBJECT_RULER);
    record(ruler).pMeasure->pszDistance.assign("12.00 mm");
    EXPECT_EQ(K_AnnSetText(ruler, "x", 0), ERROR_FEATURE_NOT_SUPPORTED);
    EXPECT_EQ(K_AnnGetTextLen(ruler, &length), SUCCESS);
    EXPECT_EQ(length, 8u);
    EXPECT_EQ(K_AnnGetText(ruler, text), SUCCESS);
    EXPECT_STREQ(text, "12.00 mm");
    EXPECT_EQ(K_AnnSetBitmapDpiX(ruler, 0.5, 0), SUCCESS);
    EXPECT_EQ(record(ruler).dBitmapDpiX, 150.0);
    EXPECT_EQ(K_AnnSetGaugeLength(ruler, 12, 0), SUCCESS);
    EXPECT_EQ(record(ruler).pMeasure->dGaugeLengthCopy, 12);
    K_AnnDestroy(ruler, 0);
}

TEST(Properties, ToolsAndBackColoursOfAnAutomation) {
    const HANNOBJECT automation = make(ANN_OBJECT_AUTOMATION), rect = make(ANN_OBJECT_RECT);
    for (const uint32_t tool : {0u, 48u, 256u, 512u}) EXPECT_EQ(K_AnnSetTool(automation, tool), SUCCESS) << tool;
    for (const uint32_t tool : {49u, 255u, 513u}) EXPECT_EQ(K_AnnSetTool(automation, tool), ERROR_INV_PARAMETER) << tool;
    uint32_t tool = 0;
    EXPECT_EQ(K_AnnGetTool(automation, &tool), SUCCESS);
    EXPECT_EQ(tool, 512u);
    EXPECT_EQ(K_AnnSetTool(rect, 1), ERROR_FEATURE_NOT_SUPPORTED);
    EXPECT_EQ(K_AnnSetAutoBackColor(rect, ANN_OBJECT_NOTE, 1), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnSetAutoBackColor(automation, ANN_OBJECT_PUSHPIN, 0x123456), SUCCESS);
    COLORREF color = 0;
    EXPECT_EQ(K_AnnGetAutoBackColor(automation, ANN_OBJECT_NOTE, &color), SUCCESS);
    EXPECT_EQ(color, 0x123456u);
    EXPECT_EQ(K_AnnGetAutoBackColor(automation, ANN_OBJECT_LINE, &color), SUCCESS);
    EXPECT_EQ(color, 0xFFFFFFu);
    K_AnnDestroy(rect, 0);
    K_AnnDestroy(automation, 0);
}

TEST(Properties, WindowAndUserModeHoldForTheWholeTree) {
    EventWindow window;
    Tree tree;
    const HANNOBJECT box = makeItem(tree.root, ANN_OBJECT_CONTAINER), item = makeItem(box, ANN_OBJECT_RECT);
    EXPECT_EQ(K_AnnSetWnd(item, window.handle), SUCCESS);
    EXPECT_EQ(K_AnnSetUserMode(item, ANN_USERMODE_RUN), SUCCESS);
    EXPECT_EQ(K_AnnSetUserMode(item, 2), ERROR_INV_PARAMETER);
    for (const HANNOBJECT object : {tree.root, box, item}) {
        EXPECT_EQ(record(object).hWnd, kb::handleValue(window.handle));
        EXPECT_EQ(record(object).nUserMode, 1u);
    }
    const HANNOBJECT later = makeItem(box, ANN_OBJECT_LINE);
    EXPECT_EQ(record(later).nUserMode, 1u);
}

} // namespace
