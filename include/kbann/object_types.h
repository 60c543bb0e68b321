// Object types as tables: their names, and the sets of types that share a property or a stored field. A set is a mask with
// one bit for each type, bit n for the type of number n.
#ifndef KBANN_OBJECT_TYPES_H
#define KBANN_OBJECT_TYPES_H

#include "kbann/constants.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace kbann {

// Names without their prefix, by number.
inline constexpr auto annObjectTypeNames = std::to_array<std::string_view>({
    "CONTAINER",  "POINTER", "AUDIO",        "BUTTON",   "ELLIPSE",    "FREEHAND", "HILITE",  "HOTSPOT",
    "LINE",       "NOTE",    "POLYGON",      "POLYLINE", "RECT",       "REDACT",   "STAMP",   "TEXT",
    "AUTOMATION", "RULER",   "CROSSPRODUCT", "POINT",    "PROTRACTOR", "VIDEO",    "PUSHPIN", "FREEHANDHOTSPOT",
});
static_assert(annObjectTypeNames.size() == ANN_OBJECT_LAST);

using TypeSet = std::uint32_t;

template <typename... Types> constexpr TypeSet typeSet(Types... types) { return (TypeSet{0} | ... | (TypeSet{1} << types)); }

constexpr bool hasType(TypeSet set, std::uint32_t nType) { return nType < ANN_OBJECT_LAST && (set >> nType & 1) != 0; }

inline constexpr TypeSet typesNone = 0;
inline constexpr TypeSet typesAll = (TypeSet{1} << ANN_OBJECT_LAST) - 1;

// By geometry.
inline constexpr TypeSet typesQuad =
    typeSet(ANN_OBJECT_CONTAINER, ANN_OBJECT_AUDIO, ANN_OBJECT_BUTTON, ANN_OBJECT_ELLIPSE, ANN_OBJECT_HILITE,
            ANN_OBJECT_HOTSPOT, ANN_OBJECT_NOTE, ANN_OBJECT_RECT, ANN_OBJECT_REDACT, ANN_OBJECT_STAMP, ANN_OBJECT_TEXT,
            ANN_OBJECT_VIDEO, ANN_OBJECT_PUSHPIN);
inline constexpr TypeSet typesPointer = typeSet(ANN_OBJECT_POINTER);
inline constexpr TypeSet typesPoints =
    typeSet(ANN_OBJECT_FREEHAND, ANN_OBJECT_LINE, ANN_OBJECT_POLYGON, ANN_OBJECT_POLYLINE, ANN_OBJECT_RULER,
            ANN_OBJECT_CROSSPRODUCT, ANN_OBJECT_POINT, ANN_OBJECT_PROTRACTOR, ANN_OBJECT_FREEHANDHOTSPOT);

// By property.
inline constexpr TypeSet typesAutomation = typeSet(ANN_OBJECT_AUTOMATION);
inline constexpr TypeSet typesGroup = typeSet(ANN_OBJECT_CONTAINER);
inline constexpr TypeSet typesRop2 =
    typeSet(ANN_OBJECT_POINTER, ANN_OBJECT_ELLIPSE, ANN_OBJECT_FREEHAND, ANN_OBJECT_LINE, ANN_OBJECT_POLYGON,
            ANN_OBJECT_POLYLINE, ANN_OBJECT_RECT, ANN_OBJECT_AUTOMATION, ANN_OBJECT_STAMP, ANN_OBJECT_RULER,
            ANN_OBJECT_CROSSPRODUCT, ANN_OBJECT_PROTRACTOR, ANN_OBJECT_FREEHANDHOTSPOT);
inline constexpr TypeSet typesLine = typesRop2 | typeSet(ANN_OBJECT_CONTAINER);
inline constexpr TypeSet typesFillMode =
    typesAll & ~typeSet(ANN_OBJECT_HILITE, ANN_OBJECT_NOTE, ANN_OBJECT_REDACT, ANN_OBJECT_PUSHPIN);
inline constexpr TypeSet typesFillPattern = typeSet(ANN_OBJECT_CONTAINER, ANN_OBJECT_ELLIPSE, ANN_OBJECT_POLYGON,
                                                    ANN_OBJECT_RECT, ANN_OBJECT_AUTOMATION, ANN_OBJECT_STAMP);
inline constexpr TypeSet typesPolyFill = typeSet(ANN_OBJECT_POLYGON, ANN_OBJECT_AUTOMATION);
inline constexpr TypeSet typesText =
    typeSet(ANN_OBJECT_AUDIO, ANN_OBJECT_BUTTON, ANN_OBJECT_NOTE, ANN_OBJECT_TEXT, ANN_OBJECT_STAMP, ANN_OBJECT_RULER,
            ANN_OBJECT_CROSSPRODUCT, ANN_OBJECT_PROTRACTOR, ANN_OBJECT_VIDEO, ANN_OBJECT_PUSHPIN);
inline constexpr TypeSet typesActive = typeSet(ANN_OBJECT_AUDIO, ANN_OBJECT_BUTTON, ANN_OBJECT_HOTSPOT, ANN_OBJECT_VIDEO,
                                               ANN_OBJECT_AUTOMATION, ANN_OBJECT_FREEHANDHOTSPOT, ANN_OBJECT_PUSHPIN);
inline constexpr TypeSet typesBitmap = typeSet(ANN_OBJECT_STAMP, ANN_OBJECT_REDACT, ANN_OBJECT_POINT, ANN_OBJECT_PUSHPIN);
inline constexpr TypeSet typesBitmap2 = typeSet(ANN_OBJECT_PUSHPIN);
inline constexpr TypeSet typesTransparent = typeSet(ANN_OBJECT_STAMP, ANN_OBJECT_POINT, ANN_OBJECT_AUTOMATION);
inline constexpr TypeSet typesMetafile = typeSet(ANN_OBJECT_STAMP, ANN_OBJECT_HOTSPOT, ANN_OBJECT_FREEHANDHOTSPOT);
inline constexpr TypeSet typesMeasure =
    typeSet(ANN_OBJECT_AUTOMATION, ANN_OBJECT_RULER, ANN_OBJECT_CROSSPRODUCT, ANN_OBJECT_PROTRACTOR);
inline constexpr TypeSet typesShow = typesMeasure;
inline constexpr TypeSet typesNodes =
    typeSet(ANN_OBJECT_AUTOMATION, ANN_OBJECT_FREEHAND, ANN_OBJECT_POLYLINE, ANN_OBJECT_POLYGON, ANN_OBJECT_FREEHANDHOTSPOT);
inline constexpr TypeSet typesProtractor = typeSet(ANN_OBJECT_PROTRACTOR, ANN_OBJECT_AUTOMATION);
inline constexpr TypeSet typesNamed = typesAll & ~typeSet(ANN_OBJECT_CONTAINER); // those whose name is stored

} // namespace kbann

#endif
