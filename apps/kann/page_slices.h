// Where the pages of text data lie. The library finds a page by looking through all data, so loading all of a store's pages by
// number takes the square of their number; a page that is cut out and loaded by itself takes no longer than its own bytes.
#pragma once

#include "apps/kann/image_load.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace kann {

// Text data without any page.
inline constexpr std::string_view pagelessText = "KBANNBEGIN\r\n";

// The page's bytes as data of its own.
Bytes slicedPage(const Bytes& data, std::size_t start, std::size_t end);
// Where the first page starts, then where each page ends. Just one place when there is no page.
std::vector<std::size_t> findPageEdges(const Bytes& data);

} // namespace kann
