// Where the content of each stored field stands in a record, and the way from a keyword to its row. Fields of one plain
// value name their member here; those of several values or with rules of their own are told by their content alone.
#pragma once

#include "kbann/stored_fields.h"
#include "store/record.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <variant>

namespace kbann {

using FieldMember =
    std::variant<std::monostate, uint32_t AnnValues::*, int32_t AnnValues::*, double AnnValues::*, Text AnnValues::*>;

inline constexpr uint32_t storedTagCount = 52;
// Rows that have a rule besides their content.
inline constexpr uint8_t tagLock = 41, tagFontSize = 11, tagHyperlinkText = 43, tagSecondaryBitmap = 34, tagGrouping = 49;

struct FieldMemberRow {
    uint8_t tag;
    FieldMember member;
};

inline constexpr auto fieldMemberRows = std::to_array<FieldMemberRow>({
    {1, &AnnValues::nFatherId},
    {2, &AnnValues::bVisible},
    {3, &AnnValues::uTag},
    {4, &AnnValues::dScalarX},
    {5, &AnnValues::dScalarY},
    {6, &AnnValues::dOffsetX},
    {7, &AnnValues::dOffsetY},
    {9, &AnnValues::crFore},
    {10, &AnnValues::crBack},
    {tagFontSize, &AnnValues::dFontSize},
    {12, &AnnValues::bFontBold},
    {13, &AnnValues::bFontItalic},
    {14, &AnnValues::bFontStrikeThrough},
    {15, &AnnValues::bFontUnderline},
    {16, &AnnValues::dLineWidth},
    {17, &AnnValues::nLineStyle},
    {18, &AnnValues::nFillPattern},
    {19, &AnnValues::bTransparent},
    {20, &AnnValues::crTransparent},
    {21, &AnnValues::nFillMode},
    {22, &AnnValues::nROP2},
    {23, &AnnValues::nPolyFillMode},
    {25, &AnnValues::nUnit},
    {26, &AnnValues::nUnitPrecision},
    {27, &AnnValues::dGaugeLength},
    {30, &AnnValues::bShowName},
    {32, &AnnValues::uShowFlags},
    {tagLock, &AnnValues::pszLockKey},
    {42, &AnnValues::pszUser},
    {tagHyperlinkText, &AnnValues::pszHyperlink},
    {44, &AnnValues::pszFontName},
    {45, &AnnValues::pszText},
    {46, &AnnValues::pszUnitAbbrev},
    {47, &AnnValues::pszAngleAbbrev},
    {48, &AnnValues::pszName},
    {tagGrouping, &AnnValues::bGrouping},
    {51, &AnnValues::bNameAutoAdjust},
});

// By tag number.
inline constexpr auto fieldMembers = [] {
    std::array<FieldMember, storedTagCount> members{};
    for (const auto& row : fieldMemberRows) members[row.tag] = row.member;
    return members;
}();

inline constexpr auto fieldRows = [] {
    std::array<const StoredField*, storedTagCount> rows{};
    for (const auto& field : storedFields) rows[field.tag] = &field;
    return rows;
}();

// The member of a row whose content tells its kind.
template <class Value> constexpr Value AnnValues::*fieldMember(uint8_t tag) {
    return *std::get_if<Value AnnValues::*>(&fieldMembers[tag]);
}

consteval bool fieldMembersFitContent() {
    for (const auto& field : storedFields) {
        const FieldMember& member = fieldMembers[field.tag];
        switch (field.content) {
        case FieldContent::u32:
        case FieldContent::color:
        case FieldContent::tag:
        case FieldContent::father:
            if (!std::holds_alternative<uint32_t AnnValues::*>(member)) return false;
            break;
        case FieldContent::boolean:
            if (!std::holds_alternative<int32_t AnnValues::*>(member)) return false;
            break;
        case FieldContent::real:
            if (!std::holds_alternative<double AnnValues::*>(member)) return false;
            break;
        case FieldContent::text:
        case FieldContent::scrambledText:
            if (!std::holds_alternative<Text AnnValues::*>(member)) return false;
            break;
        case FieldContent::hyperlink:
        case FieldContent::nodes:
        case FieldContent::angle:
        case FieldContent::nameOffset:
        case FieldContent::bitmap:
        case FieldContent::metafile:
        case FieldContent::menuState:
        case FieldContent::points:
        case FieldContent::showRuler:
            if (!std::holds_alternative<std::monostate>(member)) return false;
            break;
        }
    }
    return true;
}
static_assert(fieldMembersFitContent());

// Tag numbers of all keywords, hashed by length and three characters; a few share a place and stand behind it.
namespace keyword_table {

inline constexpr size_t places = 256;
inline constexpr uint8_t none = 0xFF;

constexpr size_t placeOf(std::string_view word) {
    const auto at = [word](size_t i) { return static_cast<size_t>(static_cast<unsigned char>(word[i])); };
    return (word.size() * 37 + at(0) * 5 + at(word.size() / 2) * 11 + at(word.size() - 1) * 3) % places;
}

struct Entry {
    std::string_view word;
    uint8_t tag = none;
};

inline constexpr auto entries = [] {
    std::array<Entry, places> table{};
    const auto add = [&table](std::string_view word, uint8_t tag) {
        size_t place = placeOf(word);
        while (table[place].tag != none) place = (place + 1) % places;
        table[place] = {word, tag};
    };
    for (const auto& token : streamTokens) add(token.keyword, token.tag);
    for (const auto& field : storedFields) add(field.keyword, field.tag);
    return table;
}();

} // namespace keyword_table

inline constexpr uint8_t noTag = keyword_table::none;

// The tag of a keyword, noTag for any other line.
constexpr uint8_t annTagOf(std::string_view word) {
    if (word.empty()) return noTag;
    size_t place = keyword_table::placeOf(word);
    for (;; place = (place + 1) % keyword_table::places) {
        const auto& entry = keyword_table::entries[place];
        if (entry.tag == noTag || entry.word == word) return entry.tag;
    }
}

} // namespace kbann
