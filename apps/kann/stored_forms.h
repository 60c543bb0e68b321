// Forms of stored data by their names on the command line.
#pragma once

#include "apps/kann/image_load.h"

#include <string_view>

namespace kann {

// Code of a tag that isn't there; it has a text, but no name among the return codes.
inline constexpr int tagNotFound = -404;

// ANN_FMT_* of a name; UsageError for "json", which the library doesn't know, and for no form at all.
std::uint32_t storedFormNumber(std::string_view name);
// The form to go on with after a load: marks and nothing become the text form.
std::uint32_t storedFormNumber(StoreForm form);

} // namespace kann
