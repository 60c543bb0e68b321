// Where things stand in Wang marks: the attribute record in its two layouts, the names of blocks, the fixed sizes. All
// numbers are little-endian.
#pragma once

#include "platform/gdi.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace kbann {

enum class WangLayout : uint8_t { wide, narrow }; // fields of 32 bits, or of 16 where they were so once

inline constexpr size_t wangHeaderBytes = 8;
inline constexpr uint32_t wangWideMark = 1; // second word of the header; 0 for the narrow layout

inline constexpr uint32_t wangBlockLoose = 2, wangBlockMark = 5, wangBlockNamed = 6;
inline constexpr uint32_t wangNameField = 12; // what stands in front of a name: its length with that of the size
inline constexpr size_t wangNameBytes = 8;

// What reading and writing know of named blocks.
namespace wang_name {
inline constexpr std::string_view group = "OiGroup", index = "OiIndex", points = "OiAnoDat", file = "OiFilNam",
                                  dib = "OiDIB", dibOld = "OiDib", text = "OiAnText", rest = "KiteDat",
                                  restCoded = "KiteDAT";
}

inline constexpr size_t wangIndexBytes = 10;      // written
inline constexpr size_t wangLongestIndex = 30;    // read
inline constexpr size_t wangLongestPath = 260;    // read
inline constexpr uint32_t wangScale = 1000;       // 1:1
inline constexpr int32_t wangReserved = 0x0FF83F; // in every attribute record
inline constexpr size_t wangFaceBytes = 32;

// Bytes in front of the points and in front of a text.
constexpr size_t wangPointsHeader(WangLayout layout) { return layout == WangLayout::wide ? 8 : 4; }
constexpr size_t wangPointBytes(WangLayout layout) { return layout == WangLayout::wide ? 8 : 4; }
constexpr size_t wangTextHeader(WangLayout layout) { return layout == WangLayout::wide ? 16 : 8; }

// Mark types.
inline constexpr uint32_t wangImage = 1, wangLinkedImage = 2, wangLine = 3, wangFreehand = 4, wangHollowRect = 5,
                          wangFilledRect = 6, wangText = 7, wangTextFile = 8, wangTextStamp = 9, wangNote = 10,
                          wangForm = 12;

struct WangAttributes {
    int32_t uType = 0;
    RECT bounds{};
    int32_t color1 = 0, color2 = 0; // blue, green, red, 0
    int32_t bHighlighting = 0, bTransparent = 0;
    int32_t lineSize = 0;
    int32_t fontHeight = 0, fontWeight = 0, italic = 0, underline = 0, strikeOut = 0, charSet = 0;
    int32_t bVisible = 0;
    int32_t reserved = wangReserved;
    std::array<char, wangFaceBytes> face{};
};

constexpr size_t wangAttributeBytes(WangLayout layout) { return layout == WangLayout::wide ? 164 : 138; }
inline constexpr size_t wangMostAttributeBytes = 164;

// `bytes` has the size of the layout.
WangAttributes annWangDecode(std::span<const uint8_t> bytes, WangLayout layout);
// In the wide layout, the only one that is written.
std::array<uint8_t, wangMostAttributeBytes> annWangEncode(const WangAttributes& attributes);

inline uint32_t annLittleU32(const uint8_t* p) {
    return p[0] | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}
inline uint16_t annLittleU16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
inline void annPutLittleU32(uint8_t* p, uint32_t value) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(value >> 8 * i);
}

// A colour of a mark from one of an object, and back.
constexpr uint32_t annSwapColor(uint32_t color) { return (color & 0xFF) << 16 | (color & 0xFF00) | (color >> 16 & 0xFF); }

} // namespace kbann
