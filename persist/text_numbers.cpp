// Numbers of the text form. Most values of an annotation are short: whole numbers and a few decimals take a path of
// their own, everything else the standard conversions.
#include "persist/text_numbers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace kbann {
namespace {

constexpr int significantDigits = 9;
constexpr size_t longestLine = 80;
constexpr std::array<double, 13> tens{1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12};

bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHexDigit(char c) { return isDigit(c) || ((c | 32) >= 'a' && (c | 32) <= 'f'); }

// Whether digits that don't fit a double are too many rather than too few.
bool isTooLarge(const char* p, const char* end, bool hex) {
    constexpr int64_t most = 1'000'000;
    const char mark = hex ? 'p' : 'e';
    int64_t digits = 0;
    bool point = false, significant = false;
    for (; p < end && (*p | 32) != mark; ++p) {
        if (*p == '.') {
            point = true;
            continue;
        }
        significant |= *p != '0';
        if (!point && significant) ++digits;
        if (point && !significant) --digits;
    }
    int64_t exponent = 0;
    if (p < end) ++p;
    const bool negative = p < end && *p == '-';
    if (p < end && (*p == '-' || *p == '+')) ++p;
    for (; p < end && isDigit(*p); ++p) exponent = std::min(most, exponent * 10 + (*p - '0'));
    return digits * (hex ? 4 : 1) + (negative ? -exponent : exponent) > 0;
}

// Takes the longest number at the start of the text; gives its length, 0 for none.
size_t parsePrefix(std::string_view text, double& value) {
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    const char* p = begin;
    while (p < end && isBlank(*p)) ++p;
    const bool negative = p < end && *p == '-';
    if (p < end && (*p == '-' || *p == '+')) ++p;
    if (p == end || *p == '-') return 0;

    double size = 0;
    std::from_chars_result result{};
    const bool hex = end - p > 2 && p[0] == '0' && (p[1] | 32) == 'x' &&
                     (isHexDigit(p[2]) || (end - p > 3 && p[2] == '.' && isHexDigit(p[3])));
    if (hex) p += 2;
    result = std::from_chars(p, end, size, hex ? std::chars_format::hex : std::chars_format::general);
    if (result.ec == std::errc::invalid_argument) return 0;
    if (result.ec == std::errc::result_out_of_range)
        size = isTooLarge(p, result.ptr, hex) ? std::numeric_limits<double>::infinity() : 0.0;
    value = negative ? -size : size;
    return static_cast<size_t>(result.ptr - begin);
}

// Nine digits of a value from 0.0001 to below 1e9 that isn't whole; null where rounding is too close to call here.
char* putFraction(char* out, double size) {
    int exponent = 0;
    if (size >= 1) {
        while (size >= tens[static_cast<size_t>(exponent) + 1]) ++exponent;
    } else {
        exponent = size >= 1e-1 ? -1 : size >= 1e-2 ? -2 : size >= 1e-3 ? -3 : -4;
    }
    // The product is off by less than 2e-7; a digit that close to a tie is left to the exact conversion.
    const double scaled = size * tens[static_cast<size_t>(significantDigits - 1 - exponent)];
    const double whole = std::floor(scaled);
    const double rest = scaled - whole;
    if (std::fabs(rest - 0.5) < 1e-5) return nullptr;
    const double rounded = rest > 0.5 ? whole + 1 : whole;
    if (rounded < 1e8 || rounded >= 1e9) return nullptr;

    char digits[significantDigits];
    std::to_chars(digits, digits + significantDigits, static_cast<uint32_t>(rounded));
    int count = significantDigits;
    while (count > 1 && digits[count - 1] == '0') --count;
    if (exponent < 0) {
        *out++ = '0';
        *out++ = '.';
        out = std::fill_n(out, -exponent - 1, '0');
        return std::copy_n(digits, count, out);
    }
    const int before = exponent + 1;
    out = std::copy_n(digits, before, out);
    if (count <= before) return out;
    *out++ = '.';
    return std::copy_n(digits + before, count - before, out);
}

} // namespace

bool annParseU32(std::string_view line, uint32_t& value) noexcept {
    size_t i = 0;
    while (i < line.size() && isBlank(line[i])) ++i;
    const bool negative = i < line.size() && line[i] == '-';
    if (i < line.size() && (line[i] == '-' || line[i] == '+')) ++i;
    if (i == line.size()) return false;
    uint64_t sum = 0;
    for (; i < line.size(); ++i) {
        if (!isDigit(line[i])) return false;
        sum = std::min<uint64_t>(sum * 10 + static_cast<uint64_t>(line[i] - '0'), uint64_t{UINT32_MAX} + 1);
    }
    if (sum > UINT32_MAX) {
        value = UINT32_MAX;
    } else {
        value = negative ? 0u - static_cast<uint32_t>(sum) : static_cast<uint32_t>(sum);
    }
    return true;
}

bool annParseReal(std::string_view line, double& value) noexcept {
    if (line.empty() || line.size() > longestLine) return false;
    if (line.size() == 1 && isDigit(line[0])) {
        value = line[0] - '0';
        return true;
    }
    const size_t stop = parsePrefix(line, value);
    if (stop == line.size()) return true;
    if (line[stop] != '.' && line[stop] != ',') return false;
    char other[longestLine];
    std::copy(line.begin(), line.end(), other);
    other[stop] = line[stop] == '.' ? ',' : '.';
    return parsePrefix({other, line.size()}, value) == line.size();
}

char* annPutU32(char* out, uint32_t value) noexcept { return std::to_chars(out, out + numberRoom, value).ptr; }

char* annPutReal(char* out, double value) noexcept {
    const double size = std::fabs(value);
    if (size < 1e9) {
        char* p = out;
        if (std::signbit(value)) *p++ = '-';
        const auto whole = static_cast<uint32_t>(size);
        if (size == whole) return annPutU32(p, whole);
        char* end = size >= 1e-4 ? putFraction(p, size) : nullptr;
        if (end) return end;
    }
    char* end = std::to_chars(out, out + numberRoom, value, std::chars_format::general, significantDigits).ptr;
    std::transform(out, end, out, [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    return end;
}

} // namespace kbann
