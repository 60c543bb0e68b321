// Noise, words and pieces of files.
#include "tests/apps/redact_fixture.h"

#include <algorithm>
#include <cstring>

int RedactTest::formatOf(const std::string& name) const {
    return name.ends_with(".tif")   ? KB_FORMAT_TIFF
           : name.ends_with(".bmp") ? KB_FORMAT_BMP
           : name.ends_with(".jpg") ? KB_FORMAT_JPEG
                                    : KB_FORMAT_PNG;
}

namespace {

void savePage(const std::string& path, KernelBitmap& bitmap, int format, int compression, bool appends) {
    KernelSaveOptions options{};
    K_DefaultSaveOptions(&options, sizeof options);
    options.nCompression = compression;
    if (appends) {
        options.uFlags = SAVE_INSERTPAGE;
        options.nPageNumber = -1;
    }
    EXPECT_EQ(K_SaveFile(path.c_str(), &bitmap, format, &options), SUCCESS) << path;
    K_FreeBitmap(&bitmap);
}

} // namespace

void RedactTest::makePage(const std::string& name, const PageKind& kind, std::uint32_t seed, bool appends) const {
    std::uint32_t state = seed * 2654435761u + 1;
    const auto random = [&state] {
        state = state * 1664525u + 1013904223u;
        return state >> 24;
    };
    RGBQUAD palette[256] = {};
    const std::uint32_t colors = 1u << std::min(kind.bits, 8);
    for (std::uint32_t i = 0; i < colors; ++i)
        palette[i] = {static_cast<BYTE>(random()), static_cast<BYTE>(random()), static_cast<BYTE>(random() | 1), 0};
    palette[colors / 3] = {};
    KernelBitmap bitmap{};
    ASSERT_EQ(K_CreateBitmap(&bitmap, 1, width, height, kind.bits, kind.grey ? KB_ORDER_GREY : KB_ORDER_BGR,
                             kind.palette ? palette : nullptr, kind.perspective, 0, 0),
              SUCCESS);
    bitmap.XResolution = 300;
    bitmap.YResolution = 200;
    bitmap.Alpha = kind.alpha;
    for (int y = 0; y < bitmap.Height; ++y) {
        std::uint8_t* row = K_WritableBitmapRow(&bitmap, y);
        for (int i = 0; i < (bitmap.Width * bitmap.BitsPerPixel + 7) / 8; ++i) row[i] = static_cast<std::uint8_t>(random());
    }
    savePage(path(name), bitmap, formatOf(name), kind.compression, appends);
}

void RedactTest::makeText(const std::string& name, std::uint32_t seed, bool appends, int scale) const {
    std::uint32_t state = seed * 2654435761u + 1;
    const auto random = [&state](std::uint32_t below) {
        state = state * 1664525u + 1013904223u;
        return static_cast<int>((state >> 16) % below);
    };
    constexpr int wide = 200, tall = 160;
    std::vector<std::uint8_t> ink(wide * tall);
    for (int line = 8; line + 8 < tall; line += 12) {
        for (int x = 10; x < wide - 20; x += 3 + random(5)) {
            const int strokes = 1 + random(3), top = line + random(3);
            for (int y = top; y < line + 7; ++y) {
                for (int i = 0; i < strokes; ++i) ink[static_cast<std::size_t>(y * wide + x + i)] = 1;
            }
            if (random(6) == 0) x += 8;
        }
    }
    KernelBitmap bitmap{};
    ASSERT_EQ(K_CreateBitmap(&bitmap, 1, wide / scale, tall / scale, 8, KB_ORDER_GREY, nullptr, KB_VIEW_TOP_LEFT, 0, 0),
              SUCCESS);
    for (int y = 0; y < bitmap.Height; ++y) {
        std::uint8_t* row = K_WritableBitmapRow(&bitmap, y);
        for (int x = 0; x < bitmap.Width; ++x) {
            int sum = 0;
            for (int i = 0; i < scale * scale; ++i)
                sum += ink[static_cast<std::size_t>((y * scale + i / scale) * wide + x * scale + i % scale)];
            row[x] = static_cast<std::uint8_t>(250 - 220 * sum / (scale * scale));
        }
    }
    savePage(path(name), bitmap, formatOf(name), KB_COMPRESS_LZW, appends);
}

void RedactTest::writeRegions(const std::string& name, const std::vector<std::array<int, 4>>& areas, int page) const {
    std::string list;
    for (const auto& a : areas) {
        list += list.empty() ? "[" : ",[";
        for (std::size_t i = 0; i < 4; ++i) list.append(i ? "," : "").append(std::to_string(a[i]));
        list += "]";
    }
    write(name, R"({"schema":1,"pages":[{"page":)" + std::to_string(page) + R"(,"regions":[)" + list + "]}]}");
}

std::vector<std::string> RedactTest::rows(const std::string& name, int page) const {
    KernelLoadOptions options{};
    K_DefaultLoadOptions(&options, sizeof options);
    options.nPageNumber = page;
    KernelBitmap bitmap{};
    std::vector<std::string> rows;
    EXPECT_EQ(K_LoadFile(path(name).c_str(), &bitmap, 0, 0, &options, nullptr), SUCCESS) << name;
    for (int y = 0; y < bitmap.Height; ++y) {
        rows.emplace_back(reinterpret_cast<const char*>(K_BitmapRowPointer(&bitmap, y)),
                          static_cast<std::size_t>((bitmap.Width * bitmap.BitsPerPixel + 7) / 8));
    }
    K_FreeBitmap(&bitmap);
    return rows;
}

bool RedactTest::holdsCovered(const std::string& in, const std::string& file) const {
    const std::vector<std::uint8_t> picture = pixels(in);
    std::string blueFirst(picture.begin() + (10 * width + 12) * 3, picture.begin() + (10 * width + 30) * 3);
    std::string redFirst = blueFirst;
    for (std::size_t i = 0; i < redFirst.size(); i += 3) std::swap(redFirst[i], redFirst[i + 2]);
    const std::string bytes = read(file);
    return bytes.find(blueFirst) != std::string::npos || bytes.find(redFirst) != std::string::npos;
}

std::uint32_t numberAt(const std::string& bytes, std::size_t at) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + at, 4);
    return value;
}

void putNumber(std::string& bytes, std::size_t at, std::uint32_t value) { std::memcpy(bytes.data() + at, &value, 4); }

namespace {

int wordAt(const std::string& bytes, std::size_t at) {
    return static_cast<std::uint8_t>(bytes[at]) | static_cast<std::uint8_t>(bytes[at + 1]) << 8;
}

} // namespace

std::size_t entryOf(const std::string& bytes, int tag) {
    const std::size_t directory = numberAt(bytes, 4);
    for (std::size_t at = directory + 2; at + 12 <= bytes.size(); at += 12) {
        if (wordAt(bytes, at) == tag) return at;
    }
    ADD_FAILURE() << "no tag " << tag;
    return 0;
}

void addEntry(std::string& bytes, int tag, int type, std::uint32_t count, std::string_view value) {
    const std::size_t directory = numberAt(bytes, 4), entries = static_cast<std::size_t>(wordAt(bytes, directory));
    std::size_t at = directory + 2; // of the entry that comes behind
    while (at < directory + 2 + 12 * entries && wordAt(bytes, at) <= tag) at += 12;
    std::string fresh = bytes.substr(directory, 2 + 12 * entries + 4), entry(12, '\0');
    bytes.replace(directory, fresh.size(), fresh.size(), '\0');
    bytes += std::string(bytes.size() % 2, '\0');
    putNumber(entry, 0, static_cast<std::uint32_t>(tag | type << 16));
    putNumber(entry, 4, count);
    putNumber(entry, 8, static_cast<std::uint32_t>(bytes.size()));
    bytes.append(value).append(value.size() % 2, '\0');
    fresh.insert(at - directory, entry);
    fresh[0] = static_cast<char>(entries + 1);
    putNumber(bytes, 4, static_cast<std::uint32_t>(bytes.size()));
    bytes += fresh;
}

std::string pngChunk(std::string_view type, std::string_view data) {
    const auto number = [](std::uint32_t value) {
        std::string text;
        for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(value >> shift);
        return text;
    };
    const std::string body = std::string(type).append(data);
    std::uint32_t crc = ~0u;
    for (const char byte : body) {
        crc ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit) crc = crc & 1 ? crc >> 1 ^ 0xEDB88320u : crc >> 1;
    }
    return number(static_cast<std::uint32_t>(data.size())).append(body).append(number(~crc));
}

std::string withPngChunk(const std::string& png, std::string_view before, const std::string& part) {
    const std::size_t at = png.find(before) - 4;
    return std::string(png, 0, at).append(part).append(png, at);
}

std::string jpegMarker(int marker, std::string_view data) {
    const std::size_t length = data.size() + 2;
    std::string text{static_cast<char>(0xFF), static_cast<char>(marker), static_cast<char>(length >> 8),
                     static_cast<char>(length)};
    return text.append(data);
}
