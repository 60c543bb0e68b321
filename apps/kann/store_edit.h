// Stores that commands read, change and write again: the page that was changed takes its old place, others stay as they are.
#pragma once

#include "apps/kann/image_load.h"
#include "apps/kann/options.h"

namespace kann {

// The form that a changed store is written in: --to, else its own; marks of foreign tools and new trees become the text form.
std::uint32_t formToWrite(const Arguments& arguments, const Store& store);
// The data with the tree in the place of a page. A form of one page holds the tree alone.
Bytes withPage(const Store& store, HANNOBJECT root, std::uint32_t form, int page, std::string_view file);

} // namespace kann
