// Facts come from the exported getters; names are brought from the library's code page to UTF-8.
#include "apps/kann/object_facts.h"

#include "apps/kann/failure.h"
#include "apps/kann/text_encoding.h"
#include "kbann/object_types.h"

#include <array>
#include <charconv>
#include <cmath>

namespace kann {

namespace {

using Json = nlohmann::ordered_json;

int collect(HANNOBJECT object, void* user) {
    static_cast<std::vector<HANNOBJECT>*>(user)->push_back(object);
    return SUCCESS;
}

std::string nameOf(HANNOBJECT object, const std::string& file) {
    std::uint32_t length = 0;
    check(K_AnnGetName(object, nullptr, &length, nullptr, nullptr, nullptr), file);
    std::string name(std::size_t{length} + 1, '\0');
    check(K_AnnGetName(object, nullptr, nullptr, name.data(), nullptr, nullptr), file);
    name.resize(length);
    return toUtf8(name);
}

} // namespace

std::uint32_t typeOf(HANNOBJECT object) {
    std::uint32_t type = ANN_OBJECT_LAST;
    K_AnnGetType(object, &type);
    return type;
}

std::string_view typeName(HANNOBJECT object) {
    const std::uint32_t type = typeOf(object);
    return type < kbann::annObjectTypeNames.size() ? kbann::annObjectTypeNames[type] : std::string_view("?");
}

std::vector<HANNOBJECT> objectsOf(HANNOBJECT start, std::uint32_t flags, const std::string& file) {
    std::vector<HANNOBJECT> objects;
    check(K_AnnEnumerate(start, collect, &objects, flags, nullptr), file);
    return objects;
}

std::vector<HANNOBJECT> objectsWithTag(const Tree& tree, std::uint32_t tag, const std::string& file) {
    std::vector<HANNOBJECT> found = objectsOf(tree.get(), ANN_FLAG_RECURSE, file);
    std::erase_if(found, [tag](HANNOBJECT object) {
        std::uint32_t own = 0;
        return K_AnnGetTag(object, &own) != SUCCESS || own != tag;
    });
    return found;
}

Json objectRecord(HANNOBJECT object, const std::string& file) {
    AnnRect bounds{};
    std::uint32_t tag = 0;
    check(K_AnnGetRect(object, &bounds, nullptr), file);
    check(K_AnnGetTag(object, &tag), file);
    Json record;
    record["type"] = typeName(object);
    record["tag"] = tag;
    record["name"] = nameOf(object, file);
    record["bounds"] = {bounds.left, bounds.top, bounds.right, bounds.bottom};
    return record;
}

std::string objectWords(const Json& record) {
    std::string words = record["type"].get<std::string>();
    if (record["tag"].get<std::uint32_t>() != 0) words += " tag " + std::to_string(record["tag"].get<std::uint32_t>());
    const std::string name = record["name"].get<std::string>();
    if (!name.empty()) words += " name " + quotedText(name);
    return words;
}

std::string numberText(double value) {
    std::array<char, 32> digits{};
    const auto [end, error] =
        std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::general, 9);
    return std::isfinite(value) && error == std::errc{} ? std::string(digits.data(), end) : "?";
}

std::string quotedText(const std::string& text) {
    constexpr std::size_t longest = 60;
    std::string line = "\"";
    for (const char c : text) {
        if (line.size() > longest && (static_cast<unsigned char>(c) & 0xC0) != 0x80) return line + "...\"";
        if (c == '\n') {
            line += "\\n";
        } else if (c != '\r') {
            line += c;
        }
    }
    return line + "\"";
}

} // namespace kann
