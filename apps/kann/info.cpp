// kann info: what a store holds. The fields come from the tree's own stored text, the rectangles from the loaded objects;
// both are walked side by side. The writer leaves out nested containers without any item in them, and so does this walk.
#include "apps/kann/info.h"

#include "apps/kann/batch.h"
#include "apps/kann/commands.h"
#include "apps/kann/failure.h"
#include "apps/kann/fit.h"
#include "apps/kann/measures.h"
#include "apps/kann/object_facts.h"
#include "apps/kann/stored_text.h"
#include "kbann/object_types.h"

#include <unordered_set>

namespace kann {

namespace {

using Json = nlohmann::ordered_json;

using Handles = std::unordered_set<HANNOBJECT>;

std::vector<HANNOBJECT> childrenOf(HANNOBJECT object, const std::string& file) {
    HANNOBJECT first = nullptr;
    check(K_AnnGetItem(object, &first), file);
    if (!first) return {};
    return objectsOf(object, ANN_FLAG_NOTTHIS, file);
}

// Items and the containers that they lie in. A container that has been met had its own containers met with it.
Handles storedObjects(const Tree& tree, const std::string& file) {
    Handles stored;
    for (HANNOBJECT object : objectsOf(tree.get(), ANN_FLAG_RECURSE | ANN_FLAG_NOTCONTAINER, file)) {
        while (object && stored.insert(object).second) check(K_AnnGetContainer(object, &object), file);
    }
    return stored;
}

// The node's record; `restorable` turns true when a redaction at or below it holds pixels.
Json nodeRecord(StoredNode& node, HANNOBJECT object, const Handles& stored, const std::string& file, bool& restorable) {
    if (typeOf(object) != node.type) throw failure(file, ERROR_FAILURE, "the stored tree isn't the loaded one");
    AnnRect bounds{};
    RECT client{};
    check(K_AnnGetRect(object, &bounds, nullptr), file);
    check(K_AnnGetBoundingRect(object, &client, nullptr), file);
    restorable = restorable || node.holdsPixels;
    Json record;
    record["type"] = kbann::annObjectTypeNames[node.type];
    record["fields"] = std::move(node.fields);
    record["bounds"] = {bounds.left, bounds.top, bounds.right, bounds.bottom};
    record["client"] = {client.left, client.top, client.right, client.bottom};
    if (const Json measures = measuresOf(object, file); !measures.is_null()) record["measures"] = measures;
    Json children = Json::array();
    std::size_t next = 0;
    for (const HANNOBJECT child : childrenOf(object, file)) {
        if (!stored.contains(child)) continue;
        if (next == node.children.size()) throw failure(file, ERROR_FAILURE, "the stored tree isn't the loaded one");
        children.push_back(nodeRecord(node.children[next++], child, stored, file, restorable));
    }
    record["children"] = std::move(children);
    return record;
}

std::string valueText(const Json& number) {
    if (number.is_number_integer()) return std::to_string(number.get<std::int64_t>());
    return number.is_number() ? numberText(number.get<double>()) : "?";
}

std::string listText(const Json& numbers) {
    std::string text;
    for (const Json& one : numbers) text.append(text.empty() ? "" : ",").append(valueText(one));
    return text;
}

void describeNode(const Json& node, std::size_t depth, std::string& out) {
    const Json& fields = node["fields"];
    out.append(2 * depth, ' ').append(node["type"].get<std::string>());
    out += " " + listText(node["bounds"]);
    if (fields.contains("pPoints") && fields["pPoints"].size() > 3)
        out += " (" + std::to_string(fields["pPoints"].size()) + " points)";
    if (fields.value("uTag", 0u) != 0) out += " tag " + valueText(fields["uTag"]);
    if (fields.contains("pszName")) out += " name " + quotedText(fields["pszName"].get<std::string>());
    if (fields.contains("pszText")) out += " text " + quotedText(fields["pszText"].get<std::string>());
    if (node.contains("measures")) out += ": " + measuresText(node["measures"]);
    if (!fields.value("bVisible", true)) out += " hidden";
    if (fields.contains("bLocked")) out += " locked";
    if (fields.contains("pszUser")) out += " user " + quotedText(fields["pszUser"].get<std::string>());
    if (fields.contains("bitmap")) {
        out += " image " + valueText(fields["bitmap"]["width"]) + "x" + valueText(fields["bitmap"]["height"]);
        if (node["type"] == "REDACT") out += " (restorable)";
    }
    out += "\n";
    for (const Json& child : node["children"]) describeNode(child, depth + 1, out);
}

std::string describe(const Json& document) {
    std::string out = document["file"].get<std::string>() + ": ";
    if (document["root"].is_null()) return out + "no annotation data\n";
    out += document["form"].get<std::string>() + " form, version " + valueText(document["version"]) + ", page " +
           valueText(document["page"]) + " of " + valueText(document["pages"]);
    if (document["restorable"].get<bool>()) out += ", holds pixels that can be restored";
    out += "\n";
    describeNode(document["root"], 1, out);
    return out;
}

} // namespace

std::string dumpDocument(const Json& document, int indent) {
    // File names are bytes of any kind, so what isn't UTF-8 is replaced, not refused.
    return document.dump(indent, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json infoDocument(const Store& store, int page) {
    const std::string& file = store.file.name;
    const Tree tree = loadTree(store, store.inTag ? 1 : page);
    if (tree && store.inTag) measureBy(tree, fileResolution(store.file, page), file);
    bool restorable = false;
    Json root;
    if (tree) {
        const Bytes saved = saveTree(tree.get(), ANN_FMT_NATIVE, {}, 0, 1, file);
        StoredNode node;
        try {
            node = readStoredTree(std::string_view(reinterpret_cast<const char*>(saved.data()), saved.size()));
        } catch (const std::runtime_error& error) {
            throw failure(file, ERROR_FAILURE, error.what());
        }
        root = nodeRecord(node, tree.get(), storedObjects(tree, file), file, restorable);
    }
    Json document;
    document["schema"] = 1;
    document["file"] = file;
    document["form"] = tree ? Json(formName(store.form)) : Json();
    document["version"] = tree ? Json(store.version) : Json();
    document["pages"] = countPagesOrImages(store); // what --page picks from
    document["page"] = page;
    document["restorable"] = restorable;
    document["root"] = std::move(root);
    return document;
}

int runInfo(const Arguments& arguments) {
    const auto page = static_cast<int>(arguments.number("page", 1, 1, 1 << 24));
    const std::vector<Job> jobs = makeJobs(arguments, {false, false, false, {}});
    const bool json = arguments.has("json");
    return runJobs(arguments, jobs, [page, json](const Job& job, JobLog& log) {
        const Json document = infoDocument(openStore(openInput(job.input), page), page);
        log.out = json ? dumpDocument(document, job.several ? -1 : 2) : describe(document);
    });
}

} // namespace kann
