// Properties that `kann add` sets: one table for help, reading of values and application. A row without an entry for a type
// is refused before anything is made.
#pragma once

#include "apps/kann/image_load.h"
#include "apps/kann/options.h"
#include "kbann/object_types.h"

#include <string>

namespace kann {

// A value as its row reads it.
struct PropertyValue {
    std::uint32_t word = 0; // numbers, booleans, words
    double real = 0, real2 = 0;
    COLORREF color = 0;
    std::string text; // in the library's code page
    Bitmap image;
    Metafile metafile;
};

enum class PropertyKind : std::uint8_t { boolean, number, real, twoReals, color, text, word, image, metafile };

struct PropertyRow {
    OptionRow option;
    PropertyKind kind;
    kbann::TypeSet types;
    int (*apply)(HANNOBJECT object, const PropertyValue& value);
};

// In the order of application: what drops other properties comes first.
std::span<const PropertyRow> propertyRows();

// Reads a value. Throws UsageError, and Failure for an image that can't be loaded.
PropertyValue readProperty(const PropertyRow& row, const std::string& text);

} // namespace kann
