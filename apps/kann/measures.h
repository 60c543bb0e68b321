// What measurement objects have measured.
#pragma once

#include "apps/kann/image_load.h"

#include <nlohmann/json.hpp>

#include <string>

namespace kann {

// {"dpi": [x, y], "lengths": [{"value", "unit", "text"}...], "angle": {...}}; null for objects that measure nothing. A length
// that the object doesn't measure isn't listed, nor is an angle that it hasn't.
nlohmann::ordered_json measuresOf(HANNOBJECT object, const std::string& file);
// Its numbers on one line.
std::string measuresText(const nlohmann::ordered_json& measures);

} // namespace kann
