// Which object a mark becomes, and which mark an object.
#pragma once

#include "persist/wang_layout.h"
#include "store/record.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace kbann {

// Where a mark's line size comes from.
enum class WangLineSize : uint8_t { none, one, own };

// Where its points come from, for marks that have points.
enum class WangPath : uint8_t { none, ends, ellipse, list, closedList, corners, cross };

struct WangKind {
    uint32_t uType;
    WangLineSize lineSize;
    WangPath path;
    bool bInPure; // marks of other makers can stand for it
    bool bText;   // its text goes out in a block
};

// The mark that an object is written as.
WangKind annWangKindOf(const AnnObject& object);
// Its points in object space, whole numbers. Throws std::bad_alloc.
void annWangPathOf(const AnnObject& object, WangPath path, std::vector<POINT>& points);

struct WangObject {
    uint32_t nType;
    std::optional<uint32_t> nFillMode; // when it isn't the type's own
};

// The object that a mark is read as; none for types that aren't known.
std::optional<WangObject> annWangObjectOf(const WangAttributes& attributes);

} // namespace kbann
