// kann hit: the front-most object at a pixel of the image. A TIFF that carries its annotations is the image; any other store
// counts in pixels of its own size.
#include "apps/kann/batch.h"
#include "apps/kann/commands.h"
#include "apps/kann/failure.h"
#include "apps/kann/fit.h"
#include "apps/kann/info.h"
#include "apps/kann/object_facts.h"
#include "apps/kann/stored_forms.h"
#include "apps/kann/tree_source.h"
#include "apps/kann/words.h"

#include <algorithm>

namespace kann {

namespace {

using Json = nlohmann::ordered_json;

// Hits are looked for up to 8,000 pixels from the origin, so the tree is shifted for pixels beyond.
constexpr int hitReach = 8000;

int shiftFor(int pixel) { return pixel < hitReach ? 0 : pixel - hitReach / 2; }

// Places of the object and of the containers that hold it among their siblings, from the back, the outermost first.
Json pathOf(HANNOBJECT object, const std::string& file) {
    std::vector<std::size_t> path;
    for (;;) {
        HANNOBJECT container = nullptr;
        check(K_AnnGetContainer(object, &container), file);
        if (!container) break;
        const std::vector<HANNOBJECT> siblings = objectsOf(container, ANN_FLAG_NOTTHIS, file);
        path.push_back(static_cast<std::size_t>(std::ranges::find(siblings, object) - siblings.begin()));
        object = container;
    }
    std::ranges::reverse(path);
    return path;
}

Json hitRecord(const Tree& tree, int x, int y, const InputFile* image, int page, const std::string& name) {
    const int shiftX = shiftFor(x), shiftY = shiftFor(y);
    placeRootFor(tree, image, page, shiftX, shiftY, name);
    POINT point{x - shiftX, y - shiftY};
    std::uint32_t result = ANN_HIT_NONE;
    HANNOBJECT object = nullptr;
    check(K_AnnHitTest(tree.get(), &point, &result, &object), name);
    if (object == tree.get()) result = ANN_HIT_NONE; // the root lies under everything
    Json record;
    record["hit"] = wordAt(hitWords, result);
    if (result == ANN_HIT_NONE) {
        record["object"] = nullptr;
        return record;
    }
    record["object"] = objectRecord(object, name);
    record["object"]["path"] = pathOf(object, name);
    return record;
}

} // namespace

int runHit(const Arguments& arguments) {
    constexpr std::int64_t farthest = 1 << 24;
    const auto coordinate = [&arguments](std::size_t operand, std::string_view what) {
        return static_cast<int>(parseNumber(arguments.operands[operand], what, -farthest, farthest));
    };
    PageChoice choice = readPageChoice(arguments);
    const int x = coordinate(1, "X"), y = coordinate(2, "Y");
    InputFile store = openInput(arguments.operands[0]);
    const InputFile file = store;
    const InputFile* const image = isTiff(file) ? &file : nullptr;
    TreeSource source(image ? std::nullopt : std::optional(std::move(store)), file, choice);
    if (!image && choice.storePage != 0) choice.page = choice.storePage;
    std::string whyNone;
    const Tree tree = source.load(choice.page, whyNone);
    if (!tree) throw failure(source.name(), tagNotFound, "the page carries no annotation data");

    Json document;
    document["schema"] = 1;
    document["file"] = source.name();
    document["page"] = choice.page;
    document["x"] = x;
    document["y"] = y;
    document.update(hitRecord(tree, x, y, image, choice.page, source.name()));
    if (arguments.has("json")) {
        printOut(dumpDocument(document, 2));
    } else if (document["object"].is_null()) {
        printOut("none\n");
    } else {
        printOut(document["hit"].get<std::string>() + ": " + objectWords(document["object"]) + "\n");
    }
    return exitDone;
}

} // namespace kann
