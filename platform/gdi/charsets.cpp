// Charsets that aren't named here are windows-1252, and those of signs are bytes that stand for themselves.
#include "platform/gdi/charsets.h"

#include "platform/gdi.h"
#include "platform/gdi/font_cache.h"

#include <algorithm>
#include <array>
#include <iconv.h>
#include <utility>

namespace kb::gdi {

namespace {

struct CharsetRow {
    int charset;
    const char* encoding;
};
// Those of single bytes first: what is searched finds the narrowest.
constexpr auto charsets = std::to_array<CharsetRow>({{161, "CP1253"},
                                                     {162, "CP1254"},
                                                     {163, "CP1258"},
                                                     {177, "CP1255"},
                                                     {178, "CP1256"},
                                                     {186, "CP1257"},
                                                     {204, "CP1251"},
                                                     {222, "CP874"},
                                                     {238, "CP1250"},
                                                     {255, "CP850"},
                                                     {128, "CP932"},
                                                     {129, "CP949"},
                                                     {130, "JOHAB"},
                                                     {134, "GBK"},
                                                     {136, "BIG5"}});

// Converters that were opened, kept by the thread: files change their fonts often.
class Converters {
public:
    Converters() { open_.fill(none()); }
    Converters(const Converters&) = delete;
    Converters& operator=(const Converters&) = delete;
    ~Converters() {
        for (const iconv_t conversion : open_)
            if (conversion != none()) iconv_close(conversion);
    }
    // Null when the system has none.
    iconv_t find(size_t row, bool decodes) {
        iconv_t& conversion = open_[row * 2 + decodes];
        const char* encoding = charsets[row].encoding;
        if (conversion == none()) conversion = decodes ? iconv_open("UTF-16LE", encoding) : iconv_open(encoding, "UTF-32LE");
        return conversion == none() ? nullptr : conversion;
    }

private:
    static iconv_t none() { return reinterpret_cast<iconv_t>(intptr_t{-1}); }
    std::array<iconv_t, charsets.size() * 2> open_;
};

iconv_t converterOf(int charset, bool decodes) {
    static thread_local Converters converters;
    for (size_t i = 0; i < charsets.size(); ++i)
        if (charsets[i].charset == charset) return converters.find(i, decodes);
    return nullptr;
}

// The bytes of what `in` stands for, 0 when it isn't one whole character that is known.
size_t convert(iconv_t conversion, const void* in, size_t size, void* out, size_t room) {
    char* from = const_cast<char*>(static_cast<const char*>(in));
    char* to = static_cast<char*>(out);
    size_t left = room;
    iconv(conversion, nullptr, nullptr, nullptr, nullptr);
    if (iconv(conversion, &from, &size, &to, &left) == static_cast<size_t>(-1) || size) return 0;
    iconv(conversion, nullptr, nullptr, &to, &left); // what it has held back for a mark to come
    return room - left;
}

} // namespace

size_t decodeCharacter(const uint8_t* bytes, size_t count, int charset, uint16_t units[2], size_t& used) {
    used = 1;
    units[0] = bytes[0];
    const iconv_t conversion = converterOf(charset, true);
    if (!conversion) {
        if (charset != SYMBOL_CHARSET) units[0] = static_cast<uint16_t>(unicodeOf(bytes[0]));
        return 1;
    }
    if (bytes[0] < 0x80) return 1;
    for (used = 1; used <= std::min<size_t>(2, count); ++used)
        if (const size_t made = convert(conversion, bytes, used, units, 4)) return made / 2;
    used = 1;
    units[0] = '?';
    return 1;
}

size_t encodeCharacter(char32_t code, int charset, uint8_t bytes[2]) {
    if (code < 0x80) return bytes[0] = static_cast<uint8_t>(code), 1;
    if (const iconv_t conversion = converterOf(charset, false)) return convert(conversion, &code, sizeof code, bytes, 2);
    bytes[0] = byteOf(code);
    return unicodeOf(bytes[0]) == code ? 1 : 0;
}

size_t longestEncoded(const char32_t* text, size_t count, int preferred, int& charset) {
    size_t longest = 0;
    const auto consider = [&](int candidate) {
        uint8_t bytes[2];
        size_t n = 0;
        while (n < count && encodeCharacter(text[n], candidate, bytes)) ++n;
        if (n > longest) charset = candidate;
        longest = std::max(longest, n);
        return longest == count;
    };
    if (consider(preferred) || consider(ANSI_CHARSET)) return longest;
    for (const CharsetRow& row : charsets)
        if (consider(row.charset)) break;
    return longest;
}

} // namespace kb::gdi
