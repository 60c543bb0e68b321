// Reads a stored tree in the text form, as the library has just written it to memory, into nodes with one JSON value for
// each field under its record name.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string_view>
#include <vector>

namespace kann {

struct StoredNode {
    std::uint32_t type = 0;
    nlohmann::ordered_json fields = nlohmann::ordered_json::object();
    bool holdsPixels = false; // a redaction that can be taken back
    std::vector<StoredNode> children;
};

// Throws std::runtime_error when the text isn't a stored tree.
StoredNode readStoredTree(std::string_view text);

} // namespace kann
