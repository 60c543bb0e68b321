// kann measure: lengths, angles and areas of a tree, and the resolution that they rest on. Angles are those that the image
// shows, so the tree is fitted to the image; without one it is taken at its own size.
#include "apps/kann/batch.h"
#include "apps/kann/commands.h"
#include "apps/kann/failure.h"
#include "apps/kann/fit.h"
#include "apps/kann/info.h"
#include "apps/kann/measures.h"
#include "apps/kann/object_facts.h"
#include "apps/kann/stored_forms.h"
#include "apps/kann/tree_source.h"
#include "apps/kann/vector_image.h"

#include <optional>

namespace kann {

namespace {

using Json = nlohmann::ordered_json;

struct Basis {
    Resolution resolution;
    bool assumed = false;
    std::string source; // a file, "--dpi", or empty
};

std::optional<Resolution> readResolution(const Arguments& arguments) {
    if (!arguments.has("dpi")) return {};
    const std::vector<double> dpi = parseReals(arguments.text("dpi"), "--dpi", 2);
    if (dpi[0] < 1 || dpi[1] < 1) throw UsageError{"--dpi takes two numbers from 1 up, X,Y"};
    return Resolution{dpi[0], dpi[1]};
}

// A file that doesn't tell both has no resolution worth measuring by: the library's own is assumed then.
Basis chooseBasis(const std::optional<Resolution>& given, const InputFile* image, int page) {
    if (given) return {*given, false, "--dpi"};
    Basis basis;
    if (image) basis = {fileResolution(*image, page), false, image->name};
    if (basis.resolution.x >= 1 && basis.resolution.y >= 1) return basis;
    return {{assumedDpi, assumedDpi}, true, {}};
}

// Null for objects that have no region.
Json areaOf(HANNOBJECT object, const std::string& file) {
    std::uint32_t pixels = 0;
    const int code = K_AnnGetArea(object, &pixels);
    if (code == ERROR_NO_MEMORY) throw failure(file, code);
    return code == SUCCESS ? Json(pixels) : Json();
}

Json measureTree(const Tree& tree, const std::string& file) {
    Json objects = Json::array();
    for (const HANNOBJECT object : objectsOf(tree.get(), ANN_FLAG_RECURSE | ANN_FLAG_NOTCONTAINER, file)) {
        const Json measures = measuresOf(object, file);
        const Json area = measures.is_null() ? areaOf(object, file) : Json();
        if (measures.is_null() && area.is_null()) continue;
        Json record = objectRecord(object, file);
        if (measures.is_null()) {
            record["area"] = area;
        } else {
            record["measures"] = measures;
        }
        objects.push_back(std::move(record));
    }
    return objects;
}

std::string describe(const Json& document) {
    const Json& resolution = document["resolution"];
    std::string out = document["file"].get<std::string>() + ": ";
    out += numberText(resolution["x"].get<double>()) + " x " + numberText(resolution["y"].get<double>()) + " dots an inch ";
    out += resolution["assumed"].get<bool>() ? "are assumed" : "by " + resolution["source"].get<std::string>();
    out += "\n";
    for (const Json& object : document["objects"]) {
        out += "  " + objectWords(object) + ": ";
        out += object.contains("area") ? "area " + std::to_string(object["area"].get<std::uint32_t>()) + " pixels"
                                       : measuresText(object["measures"]);
        out += "\n";
    }
    return out;
}

} // namespace

int runMeasure(const Arguments& arguments) {
    PageChoice choice = readPageChoice(arguments);
    const std::optional<Resolution> given = readResolution(arguments);
    const std::vector<std::string>& operands = arguments.operands;
    const bool hasImage = operands.size() > 1;
    if (hasImage && operands[0] == "-" && operands[1] == "-")
        throw UsageError{"standard input can't be both image and store"};

    // A TIFF that carries its annotations is their image too.
    InputFile store = openInput(operands[0]);
    const InputFile file = hasImage ? openInput(operands[1]) : store;
    const InputFile* const image = hasImage || isTiff(file) ? &file : nullptr;
    TreeSource source(hasImage || !image ? std::optional(std::move(store)) : std::nullopt, file, choice);
    if (!image && choice.storePage != 0) choice.page = choice.storePage;
    std::string whyNone;
    const Tree tree = source.load(choice.page, whyNone);
    const std::string& name = source.name();
    if (!tree) throw failure(name, tagNotFound, "the page carries no annotation data");

    const Basis basis = chooseBasis(given, image, choice.page);
    measureBy(tree, basis.resolution, name);
    placeRootFor(tree, image, choice.page, 0, 0, name);

    Json document;
    document["schema"] = 1;
    document["file"] = name;
    document["page"] = choice.page;
    document["resolution"] = {{"x", basis.resolution.x},
                              {"y", basis.resolution.y},
                              {"assumed", basis.assumed},
                              {"source", basis.source.empty() ? Json() : Json(basis.source)}};
    document["objects"] = measureTree(tree, name);
    printOut(arguments.has("json") ? dumpDocument(document, 2) : describe(document));
    return exitDone;
}

} // namespace kann
