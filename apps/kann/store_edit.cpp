#include "apps/kann/store_edit.h"

#include "apps/kann/stored_forms.h"

namespace kann {

std::uint32_t formToWrite(const Arguments& arguments, const Store& store) {
    return arguments.has("to") ? storedFormNumber(arguments.text("to")) : storedFormNumber(store.form);
}

Bytes withPage(const Store& store, HANNOBJECT root, std::uint32_t form, int page, std::string_view file) {
    const int pages = store.inTag ? 1 : countPages(store);
    if (pages > 1 && form == storedFormNumber(store.form))
        return saveTree(root, form, store.data, SAVE_REPLACEPAGE, page, file);
    if (pages < 2 || (form != ANN_FMT_NATIVE && form != ANN_FMT_ENCODED)) return saveTree(root, form, {}, 0, 1, file);
    SavedPages saved(form, file);
    for (int other = 1; other <= pages; ++other) saved.append(other == page ? root : loadTree(store, other).get());
    return saved.bytes();
}

} // namespace kann
