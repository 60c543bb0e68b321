// The attribute record as a table: each field with its place and its bytes in both layouts.
#include "persist/wang_layout.h"

#include <algorithm>

namespace kbann {
namespace {

struct Place {
    uint8_t offset, bytes; // 4 and 2 bytes are signed
};

struct FieldRow {
    int32_t& (*of)(WangAttributes&);
    Place wide, narrow;
};

// clang-format off
constexpr auto fieldRowsOfMark = std::to_array<FieldRow>({
    {[](WangAttributes& a) -> int32_t& { return a.uType; },         {0, 4},   {0, 2}},
    {[](WangAttributes& a) -> int32_t& { return a.bounds.left; },   {4, 4},   {2, 4}},
    {[](WangAttributes& a) -> int32_t& { return a.bounds.top; },    {8, 4},   {6, 4}},
    {[](WangAttributes& a) -> int32_t& { return a.bounds.right; },  {12, 4},  {10, 4}},
    {[](WangAttributes& a) -> int32_t& { return a.bounds.bottom; }, {16, 4},  {14, 4}},
    {[](WangAttributes& a) -> int32_t& { return a.color1; },        {20, 4},  {18, 4}},
    {[](WangAttributes& a) -> int32_t& { return a.color2; },        {24, 4},  {22, 4}},
    {[](WangAttributes& a) -> int32_t& { return a.bHighlighting; }, {28, 4},  {26, 2}},
    {[](WangAttributes& a) -> int32_t& { return a.bTransparent; },  {32, 4},  {28, 2}},
    {[](WangAttributes& a) -> int32_t& { return a.lineSize; },      {36, 4},  {30, 4}},
    {[](WangAttributes& a) -> int32_t& { return a.fontHeight; },    {48, 4},  {36, 2}},
    {[](WangAttributes& a) -> int32_t& { return a.fontWeight; },    {64, 4},  {44, 2}},
    {[](WangAttributes& a) -> int32_t& { return a.italic; },        {68, 1},  {46, 1}},
    {[](WangAttributes& a) -> int32_t& { return a.underline; },     {69, 1},  {47, 1}},
    {[](WangAttributes& a) -> int32_t& { return a.strikeOut; },     {70, 1},  {48, 1}},
    {[](WangAttributes& a) -> int32_t& { return a.charSet; },       {71, 1},  {49, 1}},
    {[](WangAttributes& a) -> int32_t& { return a.bVisible; },      {116, 4}, {92, 2}},
    {[](WangAttributes& a) -> int32_t& { return a.reserved; },      {120, 4}, {94, 4}},
});
// clang-format on
constexpr size_t wideFace = 76, narrowFace = 54;

int32_t take(const uint8_t* p, uint8_t bytes) {
    switch (bytes) {
    case 1: return *p;
    case 2: return static_cast<int16_t>(annLittleU16(p));
    default: return static_cast<int32_t>(annLittleU32(p));
    }
}

} // namespace

WangAttributes annWangDecode(std::span<const uint8_t> bytes, WangLayout layout) {
    const bool wide = layout == WangLayout::wide;
    WangAttributes attributes;
    for (const FieldRow& row : fieldRowsOfMark) {
        const Place place = wide ? row.wide : row.narrow;
        row.of(attributes) = take(bytes.data() + place.offset, place.bytes);
    }
    std::copy_n(bytes.data() + (wide ? wideFace : narrowFace), wangFaceBytes, attributes.face.data());
    return attributes;
}

std::array<uint8_t, wangMostAttributeBytes> annWangEncode(const WangAttributes& attributes) {
    std::array<uint8_t, wangMostAttributeBytes> bytes{};
    WangAttributes copy = attributes;
    for (const FieldRow& row : fieldRowsOfMark) {
        const auto value = static_cast<uint32_t>(row.of(copy));
        if (row.wide.bytes == 1)
            bytes[row.wide.offset] = static_cast<uint8_t>(value);
        else
            annPutLittleU32(bytes.data() + row.wide.offset, value);
    }
    std::ranges::copy(attributes.face, bytes.begin() + wideFace);
    return bytes;
}

} // namespace kbann
