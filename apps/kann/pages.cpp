// kann pages: the pages of a store. Insert and replace are the library's own paged saves on a copy in memory; a page is
// deleted by writing the others anew, since the library's interface has no call that takes one out.
#include "apps/kann/batch.h"
#include "apps/kann/commands.h"
#include "apps/kann/failure.h"
#include "apps/kann/image_load.h"
#include "apps/kann/object_facts.h"
#include "apps/kann/output_file.h"
#include "apps/kann/stored_forms.h"

#include <algorithm>
#include <array>

namespace kann {

namespace {

constexpr int lastPage = -1;

enum class PageAction : std::uint8_t { list, insert, replace, remove };

struct ActionRow {
    std::string_view name;
    PageAction action;
    std::size_t operands; // behind the name
};
constexpr auto actions = std::to_array<ActionRow>({
    {"list", PageAction::list, 0},
    {"insert", PageAction::insert, 2},
    {"replace", PageAction::replace, 2},
    {"delete", PageAction::remove, 1},
});

int readPage(const std::string& text) {
    return text == "last" ? lastPage : static_cast<int>(parseNumber(text, "the page", 1, 1 << 24));
}

int countItem(HANNOBJECT, void* user) {
    ++*static_cast<std::uint64_t*>(user);
    return SUCCESS;
}

// A line a page: number, objects below the root, the root's rectangle.
std::string listPages(const Store& store) {
    std::string out;
    const int pages = countPagesOrImages(store);
    for (int page = 1; page <= pages; ++page) {
        const Tree tree = loadPageOrImage(store, page);
        std::uint64_t objects = 0;
        AnnRect rect{};
        check(K_AnnEnumerate(tree.get(), countItem, &objects, ANN_FLAG_RECURSE, nullptr), store.file.name);
        check(K_AnnGetRect(tree.get(), &rect, nullptr), store.file.name);
        out += std::to_string(page) + "\t" + std::to_string(objects - 1) + "\t" + numberText(rect.left) + "," +
               numberText(rect.top) + "," + numberText(rect.right) + "," + numberText(rect.bottom) + "\n";
    }
    return out;
}

Bytes withoutPage(const Store& store, int page) {
    const std::string& file = store.file.name;
    const int pages = countPages(store);
    if (pages == 1) throw failure(file, ERROR_DELETE_LAST_PAGE);
    if (page == lastPage) page = pages;
    if (page > pages) throw failure(file, ERROR_PAGE_NOT_FOUND, "page " + std::to_string(page));
    SavedPages saved(storedFormNumber(store.form), file);
    for (int kept = 1; kept <= pages; ++kept)
        if (kept != page) saved.append(loadTree(store, kept).get());
    return saved.bytes();
}

Bytes withPage(const Store& store, PageAction action, int page, const std::string& source, int sourcePage) {
    const Store added = openStore(openInput(source), sourcePage);
    const Tree tree = loadTree(added, added.inTag ? 1 : sourcePage);
    if (!tree) throw failure(source, tagNotFound, "the page carries no annotation data");
    checkPages(store);
    const std::uint32_t flags = action == PageAction::insert ? SAVE_INSERTPAGE : SAVE_REPLACEPAGE;
    return saveTree(tree.get(), storedFormNumber(store.form), store.data, flags, page, store.file.name);
}

} // namespace

int runPages(const Arguments& arguments) {
    const std::vector<std::string>& operands = arguments.operands;
    const auto row = std::ranges::find(actions, operands[1], &ActionRow::name);
    if (row == actions.end() || operands.size() != 2 + row->operands ||
        (row->action == PageAction::list && arguments.has("output"))) {
        throw UsageError{"usage: kann pages " + std::string(arguments.command->synopsis)};
    }
    if (row->operands < 2 && arguments.has("store-page")) throw UsageError{"--store-page is the page of STORE2"};
    const int page = row->operands > 0 ? readPage(operands[2]) : 0;
    const auto sourcePage = static_cast<int>(arguments.number("store-page", 1, 1, 1 << 24));
    if (operands[0] == "-" && !arguments.has("output") && row->action != PageAction::list) throw UsageError{"-o OUT is due"};

    const Store store = openStore(openInput(operands[0]), 1);
    if (row->action == PageAction::list) {
        printOut(listPages(store));
        return exitDone;
    }
    if (store.inTag || store.form == StoreForm::wang) {
        throw failure(store.file.name, ERROR_FEATURE_NOT_SUPPORTED, "data in this form has no pages");
    }
    const std::string target = arguments.text("output", operands[0]);
    refuseForeignFile(target);
    OutputFile output(target);
    output.write(row->action == PageAction::remove ? withoutPage(store, page)
                                                   : withPage(store, row->action, page, operands[3], sourcePage));
    output.commit();
    return exitDone;
}

} // namespace kann
