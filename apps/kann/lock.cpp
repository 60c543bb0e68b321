// kann lock and unlock. Both go object by object, so that it can be told how many another key holds: an object that is locked
// already keeps its key, and one that has another key stays locked.
#include "apps/kann/batch.h"
#include "apps/kann/commands.h"
#include "apps/kann/failure.h"
#include "apps/kann/object_facts.h"
#include "apps/kann/output_file.h"
#include "apps/kann/store_edit.h"
#include "apps/kann/stored_forms.h"
#include "apps/kann/text_encoding.h"

#include <algorithm>
#include <optional>

namespace kann {

namespace {

struct LockRequest {
    bool lock;
    std::string key;                  // in the library's code page
    std::optional<std::uint32_t> tag; // empty: all items
};

// Gives whether another key holds the object.
bool apply(HANNOBJECT object, const LockRequest& request, const std::string& file) {
    const int opened = K_AnnUnlock(object, request.key.c_str(), ANN_FLAG_NOINVALIDATE);
    if (opened == ERROR_ANN_LOCKED) return true;
    check(opened, file);
    if (!request.lock) return false;
    check(K_AnnLock(object, request.key.c_str(), ANN_FLAG_NOINVALIDATE), file);
    BOOL locked = FALSE;
    check(K_AnnGetLocked(object, &locked), file);
    if (!locked) throw failure(file, ERROR_NO_MEMORY); // a key that couldn't be copied isn't reported
    return false;
}

// A lock of all items leaves containers out, since they would lock what comes into them later; unlocking opens them too.
std::vector<HANNOBJECT> objectsFor(const Tree& tree, const LockRequest& request, const std::string& file) {
    if (request.tag) return objectsWithTag(tree, *request.tag, file);
    return objectsOf(tree.get(), ANN_FLAG_RECURSE | (request.lock ? ANN_FLAG_NOTCONTAINER : 0), file);
}

int changeLocks(const Arguments& arguments, bool lock) {
    if (!arguments.has("output") || !arguments.has("key")) {
        throw UsageError{"usage: kann " + std::string(arguments.command->name) + " " +
                         std::string(arguments.command->synopsis)};
    }
    LockRequest request{lock, toCodePage(arguments.text("key"), "--key"), {}};
    if (request.key.empty()) throw UsageError{"--key can't be empty"};
    if (arguments.has("tag")) request.tag = static_cast<std::uint32_t>(arguments.number("tag", 0, 0, 0xFFFFFFFFll));
    const auto chosenPage = static_cast<int>(arguments.number("store-page", 0, 1, 1 << 24));
    const Store store = openStore(openInput(arguments.operands[0]), chosenPage > 0 ? chosenPage : 1);
    const std::string& name = store.file.name;
    if (store.data.empty()) throw failure(name, tagNotFound, "the page carries no annotation data");

    const std::string output = arguments.text("output");
    refuseForeignFile(output);
    OutputFile out(output);
    const std::uint32_t form = formToWrite(arguments, store);
    SavedPages saved(form, out.name());
    std::size_t held = 0;
    bool found = !request.tag;
    const auto change = [&](int page) {
        Tree tree = loadTree(store, page);
        const std::vector<HANNOBJECT> objects = objectsFor(tree, request, name);
        for (const HANNOBJECT object : objects) held += apply(object, request, name) ? 1u : 0u;
        found = found || !objects.empty();
        return tree;
    };
    Bytes data;
    if (chosenPage > 0 && !store.inTag) {
        data = withPage(store, change(chosenPage).get(), form, chosenPage, out.name());
    } else {
        for (int page = 1, last = countPages(store); page <= last; ++page) saved.append(change(page).get());
        data = saved.bytes();
    }
    if (!found) throw failure(name, ERROR_INV_PARAMETER, "no object has the tag " + std::to_string(*request.tag));
    out.write(data);
    out.commit();
    JobLog log;
    log.quiet = arguments.has("quiet");
    if (held > 0) {
        log.warnings.push_back(name + ": " + std::to_string(held) + (held == 1 ? " object stays" : " objects stay") +
                               " locked with another key");
    }
    return finish(log);
}

} // namespace

int runLock(const Arguments& arguments) { return changeLocks(arguments, true); }

int runUnlock(const Arguments& arguments) { return changeLocks(arguments, false); }

} // namespace kann
