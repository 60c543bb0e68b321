// Coded data put together by hand, without the writer.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace kbann::test {

struct CodedBytes {
    std::string bytes;

    template <class Value> CodedBytes& raw(Value value) {
        char stored[sizeof value];
        std::memcpy(stored, &value, sizeof value);
        bytes.append(stored, sizeof value);
        return *this;
    }
    CodedBytes& u32(uint32_t value) { return raw(value); }
    CodedBytes& flag(bool value) { return raw(static_cast<uint8_t>(value)); }
    CodedBytes& f64(double value) { return raw(value); }
    CodedBytes& text(std::string_view value) {
        bytes += value;
        return *this;
    }
    CodedBytes& token(uint16_t tag, uint32_t length) { return raw(tag).raw(length); }
    // Tokens with one value.
    CodedBytes& u32(uint16_t tag, uint32_t value) { return token(tag, 4).u32(value); }
    CodedBytes& flag(uint16_t tag, bool value) { return token(tag, 1).flag(value); }
    CodedBytes& f64(uint16_t tag, double value) { return token(tag, 8).f64(value); }
    CodedBytes& text(uint16_t tag, std::string_view value) {
        return token(tag, static_cast<uint32_t>(value.size())).text(value);
    }
};

inline CodedBytes codedHeaderBytes() { return CodedBytes{"KBANNBEGINCODED\r\n"}; }

// The tokens of a page as data without links.
inline std::string onePageData(std::string_view tokens) { return codedHeaderBytes().text(tokens).bytes; }

// The same as the only page of paged data.
inline std::string pagedData(std::string_view tokens) {
    const auto end = static_cast<uint32_t>(29 + tokens.size());
    return codedHeaderBytes().token(52, 23).token(52, end).text(tokens).token(52, 0).bytes;
}

// A page with one object of a type in the root's block.
inline std::string codedPage(uint32_t nType, std::string_view fields) {
    return CodedBytes{}
        .u32(0, 0)
        .token(37, 0)
        .token(38, 0)
        .u32(0, nType)
        .text(fields)
        .token(37, 0)
        .token(39, 0)
        .token(40, 0)
        .bytes;
}

} // namespace kbann::test
