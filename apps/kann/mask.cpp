// kann mask and unmask: redactions that can be taken back. The covered pixels go from the image into the redactions of a
// second store and nowhere else; with that store they come back bit for bit. The tree is saved and loaded once in the second
// store's form before it is drawn, so that both ways count with the same numbers.
#include "apps/kann/batch.h"
#include "apps/kann/commands.h"
#include "apps/kann/cover.h"
#include "apps/kann/failure.h"
#include "apps/kann/masking.h"
#include "apps/kann/output_file.h"
#include "apps/kann/stored_forms.h"
#include "apps/kann/stored_text.h"
#include "apps/kann/text_encoding.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>

namespace kann {

namespace {

SIZE viewedSizeOf(const KernelBitmap& b) {
    SIZE size{};
    K_GetBitmapViewSize(&b, &size.cx, &size.cy);
    return size;
}

bool isEmpty(const RECT& r) { return r.left >= r.right || r.top >= r.bottom; }
bool meet(const RECT& a, const RECT& b) {
    return std::max(a.left, b.left) < std::min(a.right, b.right) && std::max(a.top, b.top) < std::min(a.bottom, b.bottom);
}

// Which redactions stand upright, in the order of a walk: only of those every pixel inside is covered. Their corners are told
// by the stored form alone.
void collectUpright(const StoredNode& node, std::vector<bool>& upright) {
    constexpr double straight = 1e-6;
    if (node.type == ANN_OBJECT_REDACT) {
        const auto points = node.fields.find("pPoints");
        bool stands = points != node.fields.end() && points->size() >= 3;
        if (stands) {
            const auto same = [&](std::size_t a, std::size_t b, std::size_t axis) {
                return std::fabs((*points)[a][axis].get<double>() - (*points)[b][axis].get<double>()) < straight;
            };
            stands = (same(0, 1, 0) && same(1, 2, 1)) || (same(0, 1, 1) && same(1, 2, 0));
        }
        upright.push_back(stands);
    }
    for (const StoredNode& child : node.children) collectUpright(child, upright);
}

std::vector<bool> uprightRedactions(const Tree& tree, const std::string& name) {
    const Bytes text = saveTree(tree.get(), ANN_FMT_NATIVE, {}, 0, 1, name);
    std::vector<bool> upright;
    try {
        collectUpright(readStoredTree({reinterpret_cast<const char*>(text.data()), text.size()}), upright);
    } catch (const std::runtime_error& error) {
        throw failure(name, ERROR_FAILURE, error.what());
    }
    return upright;
}

Tree reloaded(const Tree& tree, std::uint32_t form, const std::string& name) {
    const Bytes data = saveTree(tree.get(), form, {}, 0, 1, name);
    HANNOBJECT root = nullptr;
    check(K_AnnLoadMemory(data.data(), static_cast<std::uint32_t>(data.size()), &root, nullptr), name);
    return Tree(root);
}

struct MaskCounts {
    std::size_t masked = 0, hidden = 0, beside = 0, overlaps = 0;
};

void count(const std::vector<Redaction>& redactions, const std::string& name, MaskCounts& counts) {
    for (const Redaction& one : redactions) {
        if (!isEmpty(one.kept))
            throw failure(name, ERROR_INV_PARAMETER, "the store holds covered pixels already; unmask the image first");
        if (isEmpty(one.box)) {
            ++counts.beside;
        } else if (!one.shown) {
            ++counts.hidden;
        } else {
            ++counts.masked;
        }
        // An unlocked one gives back what lies under a locked one too.
        counts.overlaps += one.shown && !one.locked && std::ranges::any_of(redactions, [&](const Redaction& other) {
                               return other.shown && other.locked && meet(one.box, other.box);
                           });
    }
}

void drawMask(Bitmap& bitmap, const Tree& tree, const std::string& name, MaskCounts& counts) {
    const LaidTree laid(tree, viewedSizeOf(bitmap.record), name);
    const std::vector<Redaction> redactions = laid.redactions();
    count(redactions, name, counts);
    const RECT view = laid.view();
    const int code = K_AnnRealize(&bitmap.record, &view, tree.get(), TRUE);
    check(code, name, code == ERROR_INV_PARAMETER ? "grey of 12 and 16 bits takes no redactions" : "");
    // A stored redaction may claim a fill that covers nothing. One that others reach into, or that stands askew, covers what its
    // neighbours and corners leave.
    const std::vector<bool> upright = uprightRedactions(tree, name);
    std::size_t number = 0;
    for (const Redaction& one : laid.redactions()) {
        const bool stands = number < upright.size() && upright[number];
        ++number;
        if (!one.shown || isEmpty(one.box)) continue;
        if (isEmpty(one.kept)) throw failure(name, ERROR_FAILURE, "a redaction didn't take the pixels under it");
        const bool alone = std::ranges::none_of(redactions, [&](const Redaction& other) {
            return other.object != one.object && other.shown && meet(one.box, other.box);
        });
        if (!alone || !stands) continue;
        for (const RECT& area : storedAreas(bitmap.record, {&one.box, 1})) {
            // Partly covered pixels at the right and bottom stay as they are.
            const RECT sure{area.left + 1, area.top + 1, area.right - 1, area.bottom - 1};
            if (!isEmpty(sure) && findUnlike(bitmap.record, sure))
                throw failure(name, ERROR_FAILURE, "a redaction doesn't cover what lies under it");
        }
    }
}

void warn(const MaskCounts& counts, const std::string& store, JobLog& log) {
    const auto add = [&](std::size_t number, const char* text) {
        if (number > 0) log.warnings.push_back(store + ": " + text + ": " + std::to_string(number));
    };
    add(counts.hidden, "hidden redactions, which cover nothing");
    add(counts.beside, "redactions beside the image, which cover nothing");
    add(counts.overlaps, "redactions without a lock that give back pixels of locked ones over which they lie");
}

Store openMaskStore(const Arguments& arguments) {
    Store store = openStore(openInput(arguments.operands[1]), static_cast<int>(arguments.number("page", 1, 1, 1 << 24)));
    if (store.data.empty()) throw failure(store.file.name, tagNotFound, "the page carries no annotation data");
    return store;
}

Tree treeOf(const Store& store, int page) { return loadTree(store, store.inTag ? 1 : page); }

// Before anything is drawn: does what a redaction holds fit its place on this page?
void checkKept(const std::vector<Redaction>& redactions, const std::string& name) {
    for (const Redaction& one : redactions) {
        if (isEmpty(one.kept) || !one.shown) continue;
        const int width = std::max<int>(0, one.box.right - one.box.left),
                  height = std::max<int>(0, one.box.bottom - one.box.top);
        if (std::abs(one.kept.right - width) > 1 || std::abs(one.kept.bottom - height) > 1)
            throw failure(name, ERROR_INV_PARAMETER, "the store belongs to another image");
    }
}

struct UnmaskCounts {
    std::size_t restored = 0, locked = 0, hidden = 0;
};

void drawUnmasked(Bitmap& bitmap, const Tree& tree, const std::string& name, UnmaskCounts& counts) {
    const LaidTree laid(tree, viewedSizeOf(bitmap.record), name);
    const std::vector<Redaction> before = laid.redactions();
    checkKept(before, name);
    const RECT view = laid.view();
    const int code = K_AnnUnrealize(&bitmap.record, &view, tree.get(), FALSE);
    if (code != ERROR_ANN_LOCKED) check(code, name);
    std::size_t held = 0;
    const std::vector<Redaction> after = laid.redactions();
    for (std::size_t i = 0; i < after.size(); ++i) {
        if (isEmpty(before[i].kept)) {
            check(K_AnnSetVisible(after[i].object, FALSE, ANN_FLAG_NOINVALIDATE, nullptr), name);
        } else if (isEmpty(after[i].kept)) {
            ++counts.restored;
            check(K_AnnSetVisible(after[i].object, FALSE, ANN_FLAG_NOINVALIDATE, nullptr), name);
        } else {
            ++(after[i].shown ? counts.locked : counts.hidden);
            held += after[i].shown;
        }
    }
    // What was given back may have lain over what is still held: that is covered once more.
    if (held > 0) check(K_AnnRealize(&bitmap.record, &view, tree.get(), TRUE), name);
}

} // namespace

int runMask(const Arguments& arguments) {
    const std::string target = arguments.text("store");
    if (target.empty() || !arguments.has("output"))
        throw UsageError{"usage: kann mask " + std::string(arguments.command->synopsis)};
    const std::string to = arguments.text("to", "native");
    if (to != "native" && to != "coded") throw UsageError{"--to can't be \"" + to + "\" here, only: native coded"};
    const std::uint32_t form = storedFormNumber(to);
    const std::string out = arguments.text("output"), &in = arguments.operands[0];
    if (leadToOneFile(target, out) || (in != "-" && leadToOneFile(target, in)))
        throw UsageError{"--store is the same file as OUT or IMAGE: the pixels would be lost"};
    refuseForeignFile(target);
    OutputFile keeper(target), output(out);
    JobLog log;
    const WholeImage image = readWholeImage(arguments.operands[0]);
    const Store store = openMaskStore(arguments);
    const std::string& name = store.file.name;
    std::map<int, Tree> trees; // by page of the image
    std::vector<Tree> others;  // that belong to no page
    std::vector<HANNOBJECT> roots;
    const std::vector<int> pages = documentPages(image, log);
    for (const StorePage& pair : pairPages(store, arguments, image.pages)) {
        // OUT counts without previews, and the second store's pages by OUT's.
        if (pair.page && std::ranges::find(pages, pair.page) == pages.end()) continue;
        Tree tree = reloaded(treeOf(store, pair.storePage), form, name);
        roots.push_back(tree.get());
        if (pair.page)
            trees.emplace(pair.page, std::move(tree));
        else
            others.push_back(std::move(tree));
    }
    MaskCounts counts;
    writeChanged(image, pages, arguments, output, log, [&](Bitmap& bitmap, int page) {
        if (trees.contains(page)) drawMask(bitmap, trees[page], name, counts);
    });
    warn(counts, name, log);
    if (counts.masked == 0) throw failure(name, ERROR_INV_PARAMETER, "there is nothing to cover");
    SavedPages saved(form, target);
    for (const HANNOBJECT root : roots) saved.append(root);
    // The pixels are safe in the store before the image without them appears.
    keeper.write(saved.bytes());
    keeper.commit();
    output.commit();
    if (!arguments.has("quiet"))
        printError(output.name() + ": this is no redaction; " + keeper.name() +
                   " holds the covered pixels and gives them back");
    else
        log.quiet = true;
    if (log.quiet) return log.warnings.empty() ? exitDone : exitWarnings;
    return finish(log);
}

int runUnmask(const Arguments& arguments) {
    if (!arguments.has("output")) throw UsageError{"usage: kann unmask " + std::string(arguments.command->synopsis)};
    OutputFile output(arguments.text("output"));
    JobLog log;
    const WholeImage image = readWholeImage(arguments.operands[0]);
    const Store store = openMaskStore(arguments);
    const std::string& name = store.file.name;
    std::map<int, Tree> trees;
    for (const StorePage& pair : pairPages(store, arguments, image.pages)) {
        if (pair.page) trees.emplace(pair.page, treeOf(store, pair.storePage));
    }
    if (arguments.has("key")) {
        const std::string key = toCodePage(arguments.text("key"), "--key");
        for (const auto& [page, tree] : trees) {
            const int code = K_AnnUnlock(tree.get(), key.c_str(), ANN_FLAG_RECURSE | ANN_FLAG_NOINVALIDATE);
            if (code != ERROR_ANN_LOCKED) check(code, name);
        }
    }
    UnmaskCounts counts;
    writeChanged(image, documentPages(image, log), arguments, output, log, [&](Bitmap& bitmap, int page) {
        if (trees.contains(page)) drawUnmasked(bitmap, trees[page], name, counts);
    });
    if (counts.restored + counts.locked + counts.hidden == 0)
        throw failure(name, ERROR_INV_PARAMETER, "the store holds no covered pixels");
    if (counts.locked > 0)
        log.warnings.push_back(name + ": locked redactions stay covered: " + std::to_string(counts.locked));
    if (counts.hidden > 0)
        log.warnings.push_back(name + ": hidden redactions stay covered: " + std::to_string(counts.hidden));
    output.commit();
    log.quiet = arguments.has("quiet");
    if (log.quiet) return log.warnings.empty() ? exitDone : exitWarnings;
    return finish(log);
}

} // namespace kann
