// The rows of the property family, in the order of Property.
#include "kbann/auto_text.h"
#include "store/properties.h"
#include "store/tree.h"

#include <algorithm>

namespace kbann {
namespace {

using enum PropertyKind;

constexpr PropertyCheck anything{};
constexpr PropertyCheck notNegative{.notNegative = true};
constexpr PropertyCheck resolution{.notNegative = true, .resolution = true};
constexpr PropertyCheck upTo(uint32_t highest) { return {.highest = highest}; }
constexpr PropertyCheck notFor(TypeSet types) { return {.refusedTypes = types}; }

constexpr int menuFont = ANN_AUTOTEXT_MENU_FONT, menuFill = ANN_AUTOTEXT_MENU_FILL, menuRuler = ANN_AUTOTEXT_MENU_RULER,
              menuName = ANN_AUTOTEXT_MENU_NAME, menuNodes = ANN_AUTOTEXT_MENU_NODES, menuLine = ANN_AUTOTEXT_MENU_LINE;

using V = AnnValues;
using A = AutomationPart;
using P = Property;

// clang-format off
constexpr auto rows = std::to_array<PropertyRow>({
    {P::visible,           "bVisible",           flag,   &V::bVisible,           typesAll,         noMenuItem, anything},
    {P::selected,          "bSelected",          flag,   &V::bSelected,          typesAll,         noMenuItem, anything},
    {P::tag,               "uTag",               color,  &V::uTag,               typesAll,         noMenuItem, anything},
    {P::fontBold,          "bFontBold",          flag,   &V::bFontBold,          typesAll,         menuFont,   anything},
    {P::fontItalic,        "bFontItalic",        flag,   &V::bFontItalic,        typesAll,         menuFont,   anything},
    {P::fontStrikeThrough, "bFontStrikeThrough", flag,   &V::bFontStrikeThrough, typesAll,         menuFont,   anything},
    {P::fontUnderline,     "bFontUnderline",     flag,   &V::bFontUnderline,     typesAll,         menuFont,   anything},
    {P::fontSize,          "dFontSize",          real,   &V::dFontSize,          typesAll,         menuFont,   notNegative},
    {P::fontName,          "pszFontName",        string, &V::pszFontName,        typesAll,         menuFont,   anything},
    {P::foreColor,         "crFore",             color,  &V::crFore,             typesAll,         ANN_AUTOTEXT_MENU_FOREGROUNDCOLOR, anything},
    {P::backColor,         "crBack",             color,  &V::crBack,             typesAll,         ANN_AUTOTEXT_MENU_BACKGROUNDCOLOR, anything},
    {P::lineWidth,         "dLineWidth",         real,   &V::dLineWidth,         typesLine,        menuLine,   notNegative},
    {P::lineStyle,         "nLineStyle",         word,   &V::nLineStyle,         typesLine,        menuLine,   upTo(ANN_LINE_NULL)},
    {P::fillPattern,       "nFillPattern",       word,   &V::nFillPattern,       typesFillPattern, menuFill,   upTo(ANN_FILLPATTERN_VERTICAL)},
    {P::fillMode,          "nFillMode",          word,   &V::nFillMode,          typesFillMode,    menuFill,   upTo(ANN_FILLMODE_OPAQUE)},
    {P::polyFillMode,      "nPolyFillMode",      word,   &V::nPolyFillMode,      typesPolyFill,    menuFill,   upTo(ANN_POLYFILL_ALTERNATE)},
    {P::rop2,              "nROP2",              word,   &V::nROP2,              typesRop2,        ANN_AUTOTEXT_MENU_ROP2,
     notFor(typeSet(ANN_OBJECT_HILITE, ANN_OBJECT_REDACT, ANN_OBJECT_TEXT))},
    {P::transparent,       "bTransparent",       flag,   &V::bTransparent,       typesTransparent, ANN_AUTOTEXT_MENU_TRANSPARENT, anything},
    {P::transparentColor,  "crTransparent",      color,  &V::crTransparent,      typesTransparent, ANN_AUTOTEXT_MENU_TRANSPARENTCOLOR, anything},
    {P::text,              "pszText",            string, &V::pszText,            typesText,        ANN_AUTOTEXT_MENU_TEXT, anything},
    {P::bitmap,            "bitmap",             bitmap, &AnnObject::bitmap,     typesBitmap,      noMenuItem, anything},
    {P::secondaryBitmap,   "bitmap2",            bitmap, &PushpinPart::bitmap2,  typesBitmap2,     ANN_AUTOTEXT_MENU_SECONDARYFILE, anything},
    {P::metafile,          "metafile",         metafile, &AnnObject::metafile,   typesMetafile,    ANN_AUTOTEXT_MENU_METAFILE, anything},
    {P::showLockedIcon,    "bShowLockedIcon",    flag,   &V::bShowLockedIcon,    typesAll,         noMenuItem, anything},
    {P::scalarX,           "dScalarX",           real,   &V::dScalarX,           typesAll,         noMenuItem, anything},
    {P::scalarY,           "dScalarY",           real,   &V::dScalarY,           typesAll,         noMenuItem, anything},
    {P::offsetX,           "dOffsetX",           real,   &V::dOffsetX,           typesAll,         noMenuItem, anything},
    {P::offsetY,           "dOffsetY",           real,   &V::dOffsetY,           typesAll,         noMenuItem, anything},
    {P::dpiX,              "dDpiX",              real,   &A::dDpiX,              typesAutomation,  noMenuItem, resolution},
    {P::dpiY,              "dDpiY",              real,   &A::dDpiY,              typesAutomation,  noMenuItem, resolution},
    {P::bitmapDpiX,        "dBitmapDpiX",        real,   &V::dBitmapDpiX,        typesMeasure,     noMenuItem, resolution},
    {P::bitmapDpiY,        "dBitmapDpiY",        real,   &V::dBitmapDpiY,        typesMeasure,     noMenuItem, resolution},
    {P::gaugeLength,       "dGaugeLength",       real,   &V::dGaugeLength,       typesMeasure,     menuRuler,  anything},
    {P::showFlags,         "uShowFlags",         word,   &V::uShowFlags,         typesShow,        menuRuler,  anything},
    {P::showNodes,         "bShowNodes",         flag,   &V::bShowNodes,         typesNodes,       menuNodes,  anything},
    {P::gapNodes,          "nGapNodes",          word,   &V::nGapNodes,          typesNodes,       menuNodes,  anything},
    {P::showName,          "bShowName",          flag,   &V::bShowName,          typesAll,         menuName,   anything},
    {P::name,              "pszName",            string, &V::pszName,            typesAll,         menuName,   anything},
    {P::nameOffset,        "ptNameOffset",    namePoint, &V::ptNameOffset,       typesAll,         menuName,   anything},
    {P::nameAutoAdjust,    "bNameAutoAdjust",    flag,   &V::bNameAutoAdjust,    typesAll,         menuName,   anything},
    {P::grouping,          "bGrouping",          flag,   &V::bGrouping,          typesGroup,       noMenuItem, anything},
    {P::hyperlinkMenuEnable, "bHyperlinkMenuEnable", flag, &V::bHyperlinkMenuEnable, typesAutomation, noMenuItem, anything},
    {P::tool,              "nTool",              word,   &A::nTool,              typesAutomation,  noMenuItem, anything},
    {P::noteBack,          "crNoteBack",         handle, &A::crNoteBack,         typesAutomation,  noMenuItem, anything},
    {P::hiliteBack,        "crHiliteBack",       handle, &A::crHiliteBack,       typesAutomation,  noMenuItem, anything},
    {P::redactBack,        "crRedactBack",       handle, &A::crRedactBack,       typesAutomation,  noMenuItem, anything},
    {P::window,            "hWnd",               handle, &V::hWnd,               typesAll,         noMenuItem, anything},
    {P::userMode,          "nUserMode",          word,   &V::nUserMode,          typesAll,         noMenuItem, upTo(ANN_USERMODE_RUN)},
    {P::type,              "nType",              word,   &V::nType,              typesAll,         noMenuItem, anything},
    {P::activeState,       "nActiveState",       word,   &V::nActiveState,       typesActive,      noMenuItem, anything},
    {P::serial,            "uSerial",            color,  &V::uSerial,            typesAll,         noMenuItem, anything},
});
// clang-format on

consteval bool rowsAreSound() {
    if (rows.size() != static_cast<size_t>(P::count)) return false;
    for (size_t i = 0; i < rows.size(); ++i) {
        if (rows[i].id != static_cast<P>(i)) return false;
        const size_t member = rows[i].member.index();
        const auto oneOf = [member](std::initializer_list<size_t> list) {
            return std::ranges::find(list, member) != list.end();
        };
        bool fits = false;
        switch (rows[i].kind) {
        case flag: fits = oneOf({0}); break;
        case word:
        case color:
        case handle: fits = oneOf({1, 9}); break;
        case real: fits = oneOf({2, 8}); break;
        case string: fits = oneOf({3}); break;
        case namePoint: fits = oneOf({4}); break;
        case bitmap: fits = oneOf({5, 7}); break;
        case metafile: fits = oneOf({6}); break;
        }
        if (!fits) return false;
    }
    return true;
}
static_assert(rowsAreSound(), "rows stand in the order of Property, and each kind has a field of its own sort");

} // namespace

const PropertyRow& annPropertyRow(Property id) { return rows[static_cast<size_t>(id)]; }

} // namespace kbann
