// Fields of an object in stored data: one row each, in the order of writing. Reader and writer of the stream forms walk
// this table, and whoever shows stored data. A reader takes fields in any order and of any type.
//
// There are two dresses: the full one of the text and coded forms, and the reduced one for what marks of foreign tools
// can't hold. A row is written in a dress for the types of that dress's set. Texts of no bytes aren't written, nor are
// pictures that an object hasn't, menu bits when none is set, hyperlinks without a type, points when there are none.
#ifndef KBANN_STORED_FIELDS_H
#define KBANN_STORED_FIELDS_H

#include "kbann/object_types.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace kbann {

// What follows the keyword.
enum class FieldContent : std::uint8_t {
    u32,           // one number
    color,         // 0x00BBGGRR
    tag,           // a number of the application's
    boolean,       // 0 or 1
    real,          // a double
    text,          // length, then the bytes
    scrambledText, // the same, bytes scrambled
    hyperlink,     // three u32: type, first and second argument
    nodes,         // boolean show, u32 gap
    angle,         // boolean acute, u32 unit, u32 digits, real radius of the arc
    nameOffset,    // two reals
    bitmap,        // bits, width, height, order, perspective, palette, rows
    metafile,      // kind, sizes, bits
    menuState,     // u32 bits, 38 bytes enabled, 38 bytes mask
    points,        // u32 count, pairs of reals
    showRuler,     // boolean, read alone: both bits of the show flags
    father,        // u32 number of the container, 0 for none
};

struct StoredField {
    std::uint8_t tag;
    std::string_view keyword;
    TypeSet types;        // written in the full dress
    TypeSet reducedTypes; // written in the reduced dress
    FieldContent content;
    std::string_view names; // record fields that the content holds, separated by commas
};

// The words that frame objects, in the same numbering as the fields.
struct StreamToken {
    std::uint8_t tag;
    std::string_view keyword;
};

inline constexpr StreamToken tokenBeginObject{0, "BEGINOBJECT"}; // a u32 follows: the object type
inline constexpr StreamToken tokenEndObject{37, "ENDOBJECT"};
inline constexpr StreamToken tokenBlockBegin{38, "BLOCKBEGIN"};
inline constexpr StreamToken tokenBlockEnd{39, "BLOCKEND"};
inline constexpr StreamToken tokenPageEnd{40, "KBANNEND"};
inline constexpr auto streamTokens =
    std::to_array<StreamToken>({tokenBeginObject, tokenEndObject, tokenBlockBegin, tokenBlockEnd, tokenPageEnd});

// POINTS holds the quad of quad types, tip and tail of a pointer, else the point list.
// clang-format off
inline constexpr auto storedFields = std::to_array<StoredField>({
    {1,  "FATHER",            typesNone,        typesAll,         FieldContent::father,        "nFatherId"},
    {2,  "VISIBLE",           typesAll,         typesNone,        FieldContent::boolean,       "bVisible"},
    {3,  "TAG",               typesAll,         typesAll,         FieldContent::tag,           "uTag"},
    {4,  "SCALARX",           typesAll,         typesAll,         FieldContent::real,          "dScalarX"},
    {5,  "SCALARY",           typesAll,         typesAll,         FieldContent::real,          "dScalarY"},
    {6,  "OFFSETX",           typesAll,         typesAll,         FieldContent::real,          "dOffsetX"},
    {7,  "OFFSETY",           typesAll,         typesAll,         FieldContent::real,          "dOffsetY"},
    {41, "LOCK",              typesAll,         typesAll,         FieldContent::scrambledText, "pszLockKey"},
    {42, "USER",              typesAll,         typesAll,         FieldContent::scrambledText, "pszUser"},
    {8,  "HYPERLINK",         typesAll,         typesAll,         FieldContent::hyperlink,
     "nHyperlinkType,uHyperlinkParam1,uHyperlinkParam2"},
    {43, "HYPERLINKTEXT",     typesAll,         typesAll,         FieldContent::text,          "pszHyperlink"},
    {9,  "FORECOLOR",         typesAll,         typeSet(ANN_OBJECT_RECT), FieldContent::color, "crFore"},
    {10, "BACKCOLOR",         typesAll,         typesNone,        FieldContent::color,         "crBack"},
    {11, "FONTSIZE",          typesAll,         typesAll,         FieldContent::real,          "dFontSize"},
    {12, "FONTBOLD",          typesAll,         typesNone,        FieldContent::boolean,       "bFontBold"},
    {13, "FONTITALIC",        typesAll,         typesNone,        FieldContent::boolean,       "bFontItalic"},
    {14, "FONTSTRIKETHROUGH", typesAll,         typesNone,        FieldContent::boolean,       "bFontStrikeThrough"},
    {15, "FONTUNDERLINE",     typesAll,         typesNone,        FieldContent::boolean,       "bFontUnderline"},
    {44, "FONTNAME",          typesAll,         typesNone,        FieldContent::text,          "pszFontName"},
    {16, "LINEWIDTH",         typesLine,        typesLine,        FieldContent::real,          "dLineWidth"},
    {17, "LINESTYLE",         typesLine,        typesLine,        FieldContent::u32,           "nLineStyle"},
    {18, "FILLPATTERN",       typesFillPattern, typesFillPattern, FieldContent::u32,           "nFillPattern"},
    {19, "TRANSPARENT",       typesTransparent, typesNone,        FieldContent::boolean,       "bTransparent"},
    {20, "TRANSPARENTCOLOR",  typesTransparent, typesTransparent, FieldContent::color,         "crTransparent"},
    {21, "FILLMODE",          typesFillMode,    typesFillMode,    FieldContent::u32,           "nFillMode"},
    {22, "ROP2",              typesRop2,        typesRop2,        FieldContent::u32,           "nROP2"},
    {23, "POLYFILLMODE",      typesPolyFill,    typesPolyFill,    FieldContent::u32,           "nPolyFillMode"},
    {45, "TEXT",              typesText,        typesNone,        FieldContent::text,          "pszText"},
    {24, "BITMAP",            typesBitmap,      typesNone,        FieldContent::bitmap,        "bitmap"},
    {25, "UNIT",              typesMeasure,     typesMeasure,     FieldContent::u32,           "nUnit"},
    {46, "ABBREV",            typesMeasure,     typesMeasure,     FieldContent::text,          "pszUnitAbbrev"},
    {26, "PRECISION",         typesMeasure,     typesMeasure,     FieldContent::u32,           "nUnitPrecision"},
    {27, "GAUGELEN",          typesMeasure,     typesMeasure,     FieldContent::real,          "dGaugeLength"},
    {28, "HANDLES",           typesNodes,       typesNodes,       FieldContent::nodes,         "bShowNodes,nGapNodes"},
    {29, "ANGLE",             typesProtractor,  typesProtractor,  FieldContent::angle,
     "bAcute,nAngleUnit,nAnglePrecision,dArcRadius"},
    {47, "ANGLE_ABBREV",      typesProtractor,  typesProtractor,  FieldContent::text,          "pszAngleAbbrev"},
    {48, "NAME",              typesNamed,       typesNamed,       FieldContent::text,          "pszName"},
    {30, "SHOWNAME",          typesNamed,       typesNamed,       FieldContent::boolean,       "bShowName"},
    {50, "NAMEOFFSET",        typesNamed,       typesNamed,       FieldContent::nameOffset,    "ptNameOffset"},
    {51, "NAMEAUTOADJUST",    typesNamed,       typesNamed,       FieldContent::boolean,       "bNameAutoAdjust"},
    {31, "SHOWRULER",         typesNone,        typesNone,        FieldContent::showRuler,     "uShowFlags"},
    {32, "SHOWFLAGS",         typesMeasure,     typesMeasure,     FieldContent::u32,           "uShowFlags"},
    {33, "METABITMAP",        typesMetafile,    typesMetafile,    FieldContent::metafile,      "metafile"},
    {34, "SECONDARYBITMAP",   typesBitmap2,     typesBitmap2,     FieldContent::bitmap,        "bitmap2"},
    {35, "MENUSTATE",         typesAll,         typesAll,         FieldContent::menuState,
     "itemMenuEnable,itemMenuEnableMask"},
    {49, "GROUPING",          typesGroup,       typesGroup,       FieldContent::boolean,       "bGrouping"},
    {36, "POINTS",            typesQuad | typesPointer | typesPoints, typesQuad | typeSet(ANN_OBJECT_POINT),
     FieldContent::points,    "pPoints"},
});
// clang-format on

// Every number from 0 to 51 is one token or one field.
consteval bool storedTagsAreComplete() {
    std::uint64_t seen = 0;
    const auto mark = [&seen](std::uint8_t tag) {
        const std::uint64_t bit = std::uint64_t{1} << tag;
        const bool fresh = (seen & bit) == 0;
        seen |= bit;
        return fresh;
    };
    for (const auto& token : streamTokens) {
        if (!mark(token.tag)) return false;
    }
    for (const auto& field : storedFields) {
        if (!mark(field.tag)) return false;
    }
    return seen == (std::uint64_t{1} << 52) - 1;
}
static_assert(storedTagsAreComplete());

// The row of a keyword or of a tag number, or null.
constexpr const StoredField* findStoredField(std::string_view keyword) {
    for (const auto& field : storedFields) {
        if (field.keyword == keyword) return &field;
    }
    return nullptr;
}

constexpr const StoredField* findStoredField(std::uint32_t tag) {
    for (const auto& field : storedFields) {
        if (field.tag == tag) return &field;
    }
    return nullptr;
}

} // namespace kbann

#endif
