// See the header.
#include "apps/kann/store_edit.h"

#include "apps/kann/stored_forms.h"

namespace kann {

std::uint32_t formToWrite(const Arguments& arguments, const Store& store) {
    return arguments.has("to") ? storedFormNumber(arguments.text("to")) : storedFormNumber(store.form);
}

Bytes withPage(const Store& store, HANNOBJECT root, std::uint32_t form, int page, std::string_view file) {
    const bool paged = !store.inTag && form == storedFormNumber(store.form) && countPages(store) > 1;
    return saveTree(root, form, paged ? store.data : Bytes(), SAVE_REPLACEPAGE, page, file);
}

} // namespace kann
