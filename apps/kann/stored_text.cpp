// The text form is a sequence of lines: a keyword, then its values, each on lines of its own. Which values follow stands in
// the public table of stored fields, which this reader walks. Bytes are six bits to a character, from the blank up. User
// names and the pixels of locked redactions are scrambled by a chain that starts from a byte of the library's own choice;
// one object with a known user, saved once, tells it.
#include "apps/kann/stored_text.h"

#include "apps/kann/image_load.h"
#include "apps/kann/text_encoding.h"
#include "kbann/stored_fields.h"

#include <nettle/sha2.h>

#include <array>
#include <charconv>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace kann {

namespace {

using kbann::FieldContent;
using kbann::StoredField;
using Json = nlohmann::ordered_json;

[[noreturn]] void refuse(const char* why) { throw std::runtime_error(std::string("stored text: ") + why); }

class Lines {
public:
    explicit Lines(std::string_view text) : rest_(text) {}

    std::string_view next() {
        if (rest_.empty()) refuse("it ends too early");
        const std::size_t end = std::min(rest_.find('\n'), rest_.size());
        std::string_view line = rest_.substr(0, end);
        rest_.remove_prefix(std::min(end + 1, rest_.size()));
        if (line.ends_with('\r')) line.remove_suffix(1);
        return line;
    }

    std::uint32_t number() {
        const std::string_view line = next();
        std::uint32_t value = 0;
        const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), value);
        if (error != std::errc{} || end != line.data() + line.size()) refuse("a number is due");
        return value;
    }

    double real() {
        const std::string_view line = next();
        double value = 0;
        const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), value);
        if (end != line.data() + line.size() || error == std::errc::invalid_argument) refuse("a number is due");
        return value;
    }

    std::string bytes(std::size_t count) {
        std::string result;
        std::string_view line;
        std::uint32_t bits = 0;
        int have = 0;
        while (result.size() < count) {
            if (line.empty() && (line = next()).empty()) refuse("bytes are due");
            bits = bits << 6 | ((static_cast<std::uint32_t>(line[0]) - 32) & 0x3F);
            line.remove_prefix(1);
            have += 6;
            if (have < 8) continue;
            have -= 8;
            result += static_cast<char>(bits >> have & 0xFF);
        }
        return result;
    }

    std::string text() { return bytes(number()); }

private:
    std::string_view rest_;
};

void unscramble(std::string& bytes, std::uint8_t seed) {
    auto before = static_cast<char>(seed);
    for (char& one : bytes) {
        const char stored = one;
        one = static_cast<char>(one ^ before);
        before = stored;
    }
}

// First stored byte of the user of an object, by the text form.
std::uint8_t findSeed() {
    constexpr char user = 'A';
    HANNOBJECT root = nullptr;
    if (K_AnnCreateContainer(nullptr, nullptr, TRUE, &root) != SUCCESS) throw std::bad_alloc();
    const Tree tree(root);
    const char name[] = {user, '\0'};
    if (K_AnnSetUser(root, nullptr, name, 0) != SUCCESS) throw std::bad_alloc();
    const Bytes saved = saveTree(root, ANN_FMT_NATIVE, {}, 0, 1, "memory");
    Lines lines(std::string_view(reinterpret_cast<const char*>(saved.data()), saved.size()));
    while (lines.next() != "USER") {}
    const std::string stored = lines.text();
    if (stored.size() != 1) refuse("a user of one character is due");
    return static_cast<std::uint8_t>(stored[0] ^ user);
}

std::uint8_t scrambleSeed() {
    static const std::uint8_t seed = findSeed();
    return seed;
}

class Digest {
public:
    Digest() { nettle_sha256_init(&context_); }
    void add(std::string_view bytes) {
        nettle_sha256_update(&context_, bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
    }
    std::string hex() {
        std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest{};
        nettle_sha256_digest(&context_, digest.size(), digest.data());
        std::string result;
        constexpr std::string_view digits = "0123456789abcdef";
        for (const std::uint8_t byte : digest) {
            result += digits[byte >> 4];
            result += digits[byte & 15];
        }
        return result;
    }

private:
    sha256_ctx context_{};
};

std::string colorText(std::uint32_t color) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string result = "#";
    for (const unsigned value : {color & 0xFF, color >> 8 & 0xFF, color >> 16 & 0xFF}) {
        result += digits[value >> 4];
        result += digits[value & 15];
    }
    return result;
}

// Width, height, depth and a digest of the rows. The palette stands before them and isn't part of it.
Json readBitmap(Lines& lines, std::optional<std::uint8_t> seed) {
    const std::uint32_t bits = lines.number(), width = lines.number(), height = lines.number();
    lines.number(); // colour order
    lines.number(); // perspective
    if (bits == 0 || bits > 32) refuse("an image has 1 to 32 bits a pixel");
    const std::uint64_t bytesPerLine = (std::uint64_t{width} * bits + 31) / 32 * 4;
    if (bits <= 8) lines.bytes(std::size_t{4} << bits);
    Digest digest;
    for (std::uint32_t row = 0; row < height; ++row) {
        std::string bytes = lines.bytes(bytesPerLine);
        if (seed) unscramble(bytes, *seed);
        digest.add(bytes);
    }
    return {{"width", width}, {"height", height}, {"bits", bits}, {"sha256", digest.hex()}};
}

Json readMetafile(Lines& lines) {
    const bool enhanced = lines.number() != 0;
    for (int word = enhanced ? 6 : 0; word < 8; ++word) lines.next(); // sizes, of which some may be below 0
    const std::uint32_t size = lines.number();
    Digest digest;
    digest.add(lines.bytes(size));
    return {{"enhanced", enhanced}, {"size", size}, {"sha256", digest.hex()}};
}

// Numbers of the bits that are set; bit i lies in byte i / 8 at bit 7 - i % 8.
Json bitNumbers(const std::string& bytes, std::uint32_t count) {
    Json numbers = Json::array();
    for (std::uint32_t i = 0; i < count; ++i) {
        if (static_cast<std::uint8_t>(bytes[i / 8]) >> (7 - i % 8) & 1) numbers.push_back(i);
    }
    return numbers;
}

// The names of a field, one after the other.
class Names {
public:
    explicit Names(std::string_view names) : rest_(names) {}
    std::string next() {
        const std::size_t end = std::min(rest_.find(','), rest_.size());
        const std::string name(rest_.substr(0, end));
        rest_.remove_prefix(std::min(end + 1, rest_.size()));
        return name;
    }

private:
    std::string_view rest_;
};

Json readPoints(Lines& lines) {
    Json points = Json::array();
    for (std::uint32_t left = lines.number(); left > 0; --left) {
        const double x = lines.real(), y = lines.real();
        points.push_back({x, y});
    }
    return points;
}

void readField(const StoredField& field, Lines& lines, StoredNode& node) {
    Json& fields = node.fields;
    Names names(field.names);
    switch (field.content) {
    case FieldContent::u32:
    case FieldContent::tag:
    case FieldContent::father: fields[names.next()] = lines.number(); return;
    case FieldContent::color: fields[names.next()] = colorText(lines.number()); return;
    case FieldContent::boolean: fields[names.next()] = lines.number() != 0; return;
    case FieldContent::showRuler: fields[names.next()] = lines.number() != 0 ? 3 : 0; return;
    case FieldContent::real: fields[names.next()] = lines.real(); return;
    case FieldContent::text: fields[names.next()] = toUtf8(lines.text()); return;
    case FieldContent::scrambledText: {
        std::string text = lines.text();
        if (field.keyword == "LOCK") { // a key isn't shown
            fields["bLocked"] = true;
            return;
        }
        unscramble(text, scrambleSeed());
        fields[names.next()] = toUtf8(text);
        return;
    }
    case FieldContent::hyperlink:
        for (int i = 0; i < 3; ++i) fields[names.next()] = lines.number();
        return;
    case FieldContent::nodes:
        fields[names.next()] = lines.number() != 0;
        fields[names.next()] = lines.number();
        return;
    case FieldContent::angle:
        fields[names.next()] = lines.number() != 0;
        fields[names.next()] = lines.number();
        fields[names.next()] = lines.number();
        fields[names.next()] = lines.real();
        return;
    case FieldContent::nameOffset: {
        const double x = lines.real(), y = lines.real();
        fields[names.next()] = {x, y};
        return;
    }
    case FieldContent::bitmap: {
        const bool scrambled = node.type == ANN_OBJECT_REDACT && fields.contains("bLocked");
        node.holdsPixels = node.holdsPixels || node.type == ANN_OBJECT_REDACT;
        fields[names.next()] = readBitmap(lines, scrambled ? std::optional(scrambleSeed()) : std::nullopt);
        return;
    }
    case FieldContent::metafile: fields[names.next()] = readMetafile(lines); return;
    case FieldContent::menuState: {
        const std::uint32_t count = lines.number();
        for (int i = 0; i < 2; ++i) fields[names.next()] = bitNumbers(lines.bytes((std::size_t{count} + 7) / 8), count);
        return;
    }
    case FieldContent::points: fields[names.next()] = readPoints(lines); return;
    }
}

StoredNode readObject(Lines& lines) {
    StoredNode node;
    node.type = lines.number();
    if (node.type >= ANN_OBJECT_LAST) refuse("no such object type");
    for (std::string_view keyword = lines.next(); keyword != kbann::tokenEndObject.keyword; keyword = lines.next()) {
        const StoredField* field = kbann::findStoredField(keyword);
        if (!field) refuse("no such field");
        readField(*field, lines, node);
    }
    return node;
}

} // namespace

StoredNode readStoredTree(std::string_view text) {
    Lines lines(text);
    if (lines.next() != "KBANNBEGIN") refuse("its first line is missing");
    if (lines.next() != kbann::tokenBeginObject.keyword) refuse("an object is due");
    StoredNode root = readObject(lines);
    std::vector<StoredNode*> open; // containers whose blocks are being read
    StoredNode* last = &root;
    for (;;) {
        const std::string_view keyword = lines.next();
        if (keyword == kbann::tokenBlockBegin.keyword && last && last->children.empty()) {
            open.push_back(last);
            last = nullptr;
        } else if (keyword == kbann::tokenBlockEnd.keyword && !open.empty()) {
            last = open.back();
            open.pop_back();
        } else if (keyword == kbann::tokenBeginObject.keyword && !open.empty()) {
            open.back()->children.push_back(readObject(lines));
            last = &open.back()->children.back();
        } else if (keyword == kbann::tokenPageEnd.keyword && open.empty()) {
            return root;
        } else {
            refuse("its structure is broken");
        }
    }
}

} // namespace kann
