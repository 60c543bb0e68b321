// Colour profiles (ICC.1) written anew with nothing but what makes colours: curves, primaries and white. A maker's names,
// dates, notes and descriptions go along with no picture that must carry nothing else. Profiles that work by tables have
// room for anything at all between their colours, so they aren't taken.
#include "rasterio/color_profile.h"
#include "rasterio/png_chunks.h"

#include <string_view>

namespace kb {
namespace {

using namespace std::string_view_literals;

constexpr size_t headerBytes = 128, tableAt = headerBytes + 4, rowBytes = 12, typeBytes = 8;
constexpr size_t longestCurve = 4096;

enum class Content { curve, point, matrix };
struct ColorTag {
    std::string_view tag;
    Content content;
    bool grey, rgb; // kinds of samples whose profile has it
    bool needed = true;
};
constexpr auto colorTags = std::to_array<ColorTag>({
    {.tag = "wtpt", .content = Content::point, .grey = true, .rgb = true},
    {.tag = "chad", .content = Content::matrix, .grey = true, .rgb = true, .needed = false},
    {.tag = "kTRC", .content = Content::curve, .grey = true, .rgb = false},
    {.tag = "rXYZ", .content = Content::point, .grey = false, .rgb = true},
    {.tag = "gXYZ", .content = Content::point, .grey = false, .rgb = true},
    {.tag = "bXYZ", .content = Content::point, .grey = false, .rgb = true},
    {.tag = "rTRC", .content = Content::curve, .grey = false, .rgb = true},
    {.tag = "gTRC", .content = Content::curve, .grey = false, .rgb = true},
    {.tag = "bTRC", .content = Content::curve, .grey = false, .rgb = true},
});
// Tables that readers prefer to the above.
constexpr auto tableTags =
    std::to_array<std::string_view>({"A2B0", "A2B1", "A2B2", "A2M0", "D2B0", "D2B1", "D2B2", "D2B3", "cicp"});
constexpr auto classes = std::to_array<std::string_view>({"mntr", "scnr", "prtr", "spac"});

uint32_t number(ByteView data, size_t at) { return png::number(data.data() + at); }
uint32_t word(ByteView data, size_t at) { return uint32_t{data[at]} << 8 | data[at + 1]; }
std::string_view textAt(ByteView data, size_t at) { return {reinterpret_cast<const char*>(data.data()) + at, 4}; }

void putNumber(Bytes& out, size_t at, size_t value) {
    for (size_t i = 0; i < 4; ++i) out[at + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}
void putText(Bytes& out, size_t at, std::string_view text) {
    std::copy(text.begin(), text.end(), out.begin() + static_cast<std::ptrdiff_t>(at));
}

ByteView findTag(ByteView profile, std::string_view tag) {
    const size_t tags = number(profile, headerBytes);
    for (size_t i = 0; i < tags; ++i) {
        const size_t row = tableAt + i * rowBytes;
        if (textAt(profile, row) == tag) return profile.subspan(number(profile, row + 4), number(profile, row + 8));
    }
    return {};
}

// Bytes of numbers behind the type's letters and its four reserved bytes; 0 for what isn't a curve. A text hardly climbs.
size_t curveBytes(ByteView tag) {
    if (tag.size() < typeBytes + 4) return 0;
    if (textAt(tag, 0) == "para"sv) {
        constexpr auto numbers = std::to_array<size_t>({1, 3, 4, 5, 7});
        const size_t kind = word(tag, typeBytes);
        return kind < numbers.size() && word(tag, typeBytes + 2) == 0 ? 4 + numbers[kind] * 4 : 0;
    }
    const size_t count = number(tag, typeBytes);
    if (textAt(tag, 0) != "curv"sv || count > longestCurve || (tag.size() - typeBytes - 4) / 2 < count) return 0;
    for (size_t i = 1; i < count; ++i) {
        const size_t at = typeBytes + 4 + i * 2;
        if (word(tag, at) < word(tag, at - 2)) return 0;
    }
    return 4 + count * 2;
}

size_t contentBytes(Content content, ByteView tag) {
    if (tag.size() < typeBytes) return 0;
    switch (content) {
    case Content::curve: return curveBytes(tag);
    case Content::point: return textAt(tag, 0) == "XYZ "sv ? 12 : 0;
    case Content::matrix: return textAt(tag, 0) == "sf32"sv ? 36 : 0;
    }
    return 0;
}

// The tag's data and nothing behind it; empty when it isn't sound.
Bytes plainTag(const ColorTag& row, ByteView tag) {
    const size_t bytes = contentBytes(row.content, tag);
    if (!bytes || tag.size() - typeBytes < bytes) return {};
    Bytes data(tag.begin(), tag.begin() + static_cast<std::ptrdiff_t>(typeBytes + bytes));
    std::fill_n(data.begin() + 4, 4, uint8_t{0});
    return data;
}

struct Part {
    std::string_view tag;
    Bytes data;
    size_t at = 0;
};

// Names that a profile must have: they say nothing here.
Part emptyText(std::string_view tag, bool isNew) {
    const bool describes = tag == "desc"sv;
    constexpr size_t longRecord = 12, descriptionBytes = 91;
    Part part{tag, Bytes(isNew ? 16 : describes ? descriptionBytes : 9, 0)};
    putText(part.data, 0, isNew ? "mluc"sv : describes ? "desc"sv : "text"sv);
    if (isNew) putNumber(part.data, 12, longRecord);
    if (!isNew && describes) putNumber(part.data, 8, 1); // an end of text
    return part;
}

Bytes assemble(Bytes header, std::vector<Part> parts) {
    Bytes out = std::move(header);
    out.resize(tableAt + parts.size() * rowBytes);
    putNumber(out, headerBytes, parts.size());
    for (size_t i = 0; i < parts.size(); ++i) {
        const auto same = std::find_if(parts.begin(), parts.begin() + static_cast<std::ptrdiff_t>(i),
                                       [&](const Part& earlier) { return earlier.data == parts[i].data; });
        const bool isNew = same == parts.begin() + static_cast<std::ptrdiff_t>(i);
        parts[i].at = isNew ? out.size() : same->at;
        const size_t row = tableAt + i * rowBytes;
        putText(out, row, parts[i].tag);
        putNumber(out, row + 4, parts[i].at);
        putNumber(out, row + 8, parts[i].data.size());
        if (isNew) out.insert(out.end(), parts[i].data.begin(), parts[i].data.end());
        out.resize((out.size() + 3) / 4 * 4);
    }
    putNumber(out, 0, out.size());
    return out;
}

} // namespace

Bytes plainProfile(ByteView profile) {
    if (!isSoundProfile(profile)) return {};
    const bool isGrey = profileFits(profile, true), isNew = profile[8] == 4;
    if ((!isGrey && !profileFits(profile, false)) || (!isNew && profile[8] != 2)) return {};
    const std::string_view space = textAt(profile, 20), kind = textAt(profile, 12);
    if (space != "XYZ "sv && !(isGrey && space == "Lab "sv)) return {};
    if (std::find(classes.begin(), classes.end(), kind) == classes.end()) return {};
    if (std::any_of(tableTags.begin(), tableTags.end(), [&](auto tag) { return !findTag(profile, tag).empty(); })) return {};

    std::vector<Part> parts{emptyText("desc", isNew), emptyText("cprt", isNew)};
    for (const ColorTag& row : colorTags) {
        if (!(isGrey ? row.grey : row.rgb)) continue;
        const ByteView tag = findTag(profile, row.tag);
        Bytes data = plainTag(row, tag);
        if (data.empty() && (row.needed || !tag.empty())) return {};
        if (!data.empty()) parts.push_back({row.tag, std::move(data)});
    }
    Bytes header(headerBytes, 0);
    header[8] = profile[8];
    header[9] = isNew ? 0x20 : 0x10;
    putText(header, 12, kind);
    putText(header, 16, textAt(profile, 16));
    putText(header, 20, space);
    putText(header, 36, "acsp");
    if (const uint32_t intent = number(profile, 64); intent < 4) putNumber(header, 64, intent);
    constexpr auto daylight = std::to_array<uint32_t>({0xF6D6, 0x10000, 0xD32D}); // D50, which all profiles name
    for (size_t i = 0; i < daylight.size(); ++i) putNumber(header, 68 + i * 4, daylight[i]);
    return assemble(std::move(header), std::move(parts));
}

bool isPlainProfile(ByteView profile) {
    const Bytes plain = plainProfile(profile);
    return !plain.empty() && std::equal(plain.begin(), plain.end(), profile.begin(), profile.end());
}

} // namespace kb
