// kann add: one more object in a tree. Everything on the command line is read and checked against the type before the tree
// is touched; the store's other pages stay as they are.
#include "apps/kann/add_properties.h"
#include "apps/kann/batch.h"
#include "apps/kann/commands.h"
#include "apps/kann/failure.h"
#include "apps/kann/image_load.h"
#include "apps/kann/output_file.h"
#include "apps/kann/store_edit.h"
#include "apps/kann/stored_forms.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

namespace kann {

namespace {

struct NewObject {
    std::uint32_t type = 0;
    bool visible = true;
    std::optional<AnnRect> rect;
    std::vector<AnnPoint> points;
    double rotation = 0;
    std::vector<std::pair<const PropertyRow*, PropertyValue>> properties;
};

std::uint32_t readType(std::string name) {
    std::ranges::transform(name, name.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    const auto found = std::ranges::find(kbann::annObjectTypeNames, name);
    if (found != kbann::annObjectTypeNames.end())
        return static_cast<std::uint32_t>(found - kbann::annObjectTypeNames.begin());
    std::string all;
    for (const std::string_view one : kbann::annObjectTypeNames) all.append(" ").append(one);
    std::ranges::transform(all, all.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    throw UsageError{"no object type \"" + name + "\", only:" + all};
}

// Points that a type has; 0 for any number.
std::size_t pointsDue(std::uint32_t type) {
    switch (type) {
    case ANN_OBJECT_POINT: return 1;
    case ANN_OBJECT_POINTER:
    case ANN_OBJECT_LINE:
    case ANN_OBJECT_RULER: return 2;
    case ANN_OBJECT_PROTRACTOR: return 3;
    case ANN_OBJECT_CROSSPRODUCT: return 5;
    default: return 0;
    }
}

void readGeometry(NewObject& object, const Arguments& arguments, const std::string& typeName) {
    if (arguments.has("rect") && arguments.has("points")) throw UsageError{"--rect and --points don't go together"};
    const bool takesPoints = kbann::hasType(kbann::typesPoints | kbann::typesPointer, object.type);
    if (arguments.has("rect")) {
        const std::vector<double> sides = parseReals(arguments.text("rect"), "--rect", 4);
        object.rect = AnnRect{sides[0], sides[1], sides[2], sides[3]};
        if (takesPoints && object.type != ANN_OBJECT_LINE && object.type != ANN_OBJECT_POINTER) {
            throw UsageError{"a " + typeName + " takes --points"};
        }
    } else if (arguments.has("points")) {
        if (!takesPoints) throw UsageError{"a " + typeName + " takes --rect"};
        for (const std::string& text : arguments.list("points")) {
            const std::vector<double> point = parseReals(text, "--points", 2);
            object.points.push_back({point[0], point[1]});
        }
        const std::size_t due = pointsDue(object.type);
        if (due != 0 && object.points.size() != due)
            throw UsageError{"a " + typeName + " has " + std::to_string(due) + " points"};
    } else if (object.type != ANN_OBJECT_AUTOMATION) {
        throw UsageError{"a " + typeName + " takes " + (takesPoints ? "--points" : "--rect")};
    }
    if (object.type == ANN_OBJECT_AUTOMATION && (object.rect || !object.points.empty()))
        throw UsageError{"an automation has no place"};
}

// Pictures and texts of these types drive each other out, so that two of them would lose one.
void refuseSecondPicture(const Arguments& arguments, std::uint32_t type, const std::string& typeName) {
    if (!kbann::hasType(kbann::typesMetafile, type)) return;
    const auto pictures = std::to_array<std::string_view>({"stamp", "metafile", "image", "text"});
    if (std::ranges::count_if(pictures, [&](std::string_view name) { return arguments.has(name); }) > 1) {
        throw UsageError{"a " + typeName + " shows one thing: --stamp, --metafile, --image or --text"};
    }
}

NewObject readObject(const Arguments& arguments) {
    NewObject object;
    const std::string& typeName = arguments.operands[1];
    object.type = readType(typeName);
    readGeometry(object, arguments, typeName);
    if (arguments.has("rotate")) object.rotation = parseReal(arguments.text("rotate"), "--rotate");
    for (const PropertyRow& row : propertyRows()) {
        if (!arguments.has(row.option.name)) continue;
        if (!kbann::hasType(row.types, object.type)) {
            throw UsageError{"a " + typeName + " has no --" + std::string(row.option.name)};
        }
        object.properties.emplace_back(&row, readProperty(row, arguments.text(row.option.name)));
        if (row.option.name == "visible") object.visible = object.properties.back().second.word != 0;
    }
    refuseSecondPicture(arguments, object.type, typeName);
    return object;
}

void insert(HANNOBJECT container, const NewObject& object, const std::string& name) {
    HANNOBJECT item = nullptr;
    check(K_AnnCreateItem(container, object.type, object.visible ? TRUE : FALSE, &item), name);
    if (object.rect) check(K_AnnSetRect(item, &*object.rect), name, "--rect");
    if (!object.points.empty()) {
        check(K_AnnSetPoints(item, object.points.data(), static_cast<std::uint32_t>(object.points.size())), name,
              "--points");
    }
    for (const auto& [row, value] : object.properties)
        check(row->apply(item, value), name, "--" + std::string(row->option.name));
    if (object.rotation != 0) check(K_AnnRotate(item, object.rotation, nullptr, 0), name, "--rotate");
}

HANNOBJECT findContainer(const Tree& tree, const Arguments& arguments, const std::string& name) {
    if (!arguments.has("parent")) return tree.get();
    const auto tag = static_cast<std::uint32_t>(arguments.number("parent", 0, 0, 0xFFFFFFFFll));
    HANNOBJECT found = nullptr;
    const int code = K_AnnGetObjectFromTag(tree.get(), ANN_FLAG_RECURSE, tag, &found);
    std::uint32_t type = ANN_OBJECT_LAST;
    if (code == SUCCESS) K_AnnGetType(found, &type);
    if (type == ANN_OBJECT_CONTAINER) return found;
    throw failure(name, ERROR_INV_PARAMETER, "no container has the tag " + std::to_string(tag));
}

Tree newTree(const std::string& size) {
    const std::size_t cross = size.find('x');
    if (cross == std::string::npos) throw UsageError{"a new store is new:WxH"};
    const AnnRect rect{0, 0, static_cast<double>(parseNumber(size.substr(0, cross), "the width", 1, 1 << 24)),
                       static_cast<double>(parseNumber(size.substr(cross + 1), "the height", 1, 1 << 24))};
    HANNOBJECT root = nullptr;
    check(K_AnnCreateContainer(nullptr, &rect, TRUE, &root), "new:" + size);
    return Tree(root);
}

} // namespace

int runAdd(const Arguments& arguments) {
    constexpr std::string_view newPrefix = "new:";
    const std::string& target = arguments.operands[0];
    const bool isNew = target.starts_with(newPrefix);
    if (!arguments.has("output")) throw UsageError{"-o OUT is due"};
    const NewObject object = readObject(arguments);
    const auto givenPage = static_cast<int>(arguments.number("store-page", 1, 1, 1 << 24));

    Tree tree;
    Store store;
    if (isNew) {
        tree = newTree(target.substr(newPrefix.size()));
    } else {
        store = openStore(openInput(target), givenPage);
        tree = loadTree(store, store.inTag ? 1 : givenPage);
        if (!tree) throw failure(target, tagNotFound, "the page carries no annotation data");
    }
    const std::uint32_t form = formToWrite(arguments, store);
    const std::string output = arguments.text("output");
    refuseForeignFile(output);
    OutputFile out(output);
    insert(findContainer(tree, arguments, target), object, target);
    out.write(withPage(store, tree.get(), form, givenPage, out.name()));
    out.commit();
    return exitDone;
}

} // namespace kann
