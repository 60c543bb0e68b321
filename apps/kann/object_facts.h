// What commands tell of an object, and walks over trees that gather objects.
#pragma once

#include "apps/kann/image_load.h"

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace kann {

// ANN_OBJECT_LAST for a dead handle.
std::uint32_t typeOf(HANNOBJECT object);
std::string_view typeName(HANNOBJECT object);
// All objects that the flags let pass (ANN_FLAG_*), from back to front, containers before their children.
std::vector<HANNOBJECT> objectsOf(HANNOBJECT start, std::uint32_t flags, const std::string& file);
// Those with the tag, whatever they are; maybe none.
std::vector<HANNOBJECT> objectsWithTag(const Tree& tree, std::uint32_t tag, const std::string& file);

// "type", "tag", "name", "bounds" of a record about the object; the name is "" for none.
nlohmann::ordered_json objectRecord(HANNOBJECT object, const std::string& file);
// The same as words: TYPE tag N name "..."; what is 0 or empty is left out.
std::string objectWords(const nlohmann::ordered_json& record);

// Shortest text that reads back as the number, nine digits at most.
std::string numberText(double value);
// A text on one line, between quotes; long ones are cut.
std::string quotedText(const std::string& text);

} // namespace kann
