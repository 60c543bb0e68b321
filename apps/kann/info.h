// The document that `kann info --json` and `kann convert --to json` share.
#pragma once

#include "apps/kann/image_load.h"

#include <nlohmann/json.hpp>

namespace kann {

// Form, pages and the tree of one page; the tree is null when a TIFF carries no data.
nlohmann::ordered_json infoDocument(const Store& store, int page);

// indent -1: one line.
std::string dumpDocument(const nlohmann::ordered_json& document, int indent);

} // namespace kann
