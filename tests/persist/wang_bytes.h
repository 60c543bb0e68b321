// Marks put together byte by byte from the layout's tables, with nothing of the writer.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kbann::test {

struct MarkFields {
    int32_t uType = 5;
    int32_t left = 10, top = 20, right = 110, bottom = 70;
    uint32_t color1 = 0x00112233, color2 = 0x00445566; // as a number: blue lowest
    int32_t highlighting = 0, transparent = 0, lineSize = 0;
    int32_t height = 0, weight = 0;
    uint8_t italic = 0, underline = 0, strikeOut = 0;
    std::string face{};
    int32_t visible = 1;
    uint32_t reserved = 0x0FF83F;
};

class MarkBytes {
public:
    explicit MarkBytes(bool wide) : wide_(wide) {
        u32(0x00030004); // what real files have there
        u32(wide ? 1 : 0);
    }

    MarkBytes& mark(const MarkFields& f) {
        u32(5);
        u32(wide_ ? 164 : 138);
        const size_t start = data.size();
        word(f.uType);
        for (const int32_t side : {f.left, f.top, f.right, f.bottom}) u32(static_cast<uint32_t>(side));
        u32(f.color1);
        u32(f.color2);
        word(f.highlighting);
        word(f.transparent);
        u32(static_cast<uint32_t>(f.lineSize));
        fill(start + (wide_ ? 48 : 36));
        word(f.height);
        for (int i = 0; i < 3; ++i) word(0); // width, escapement, orientation
        word(f.weight);
        for (const uint8_t byte : {f.italic, f.underline, f.strikeOut}) data += static_cast<char>(byte);
        data += std::string("\1\0\0\0\0", 5); // character set, precisions, quality, pitch
        data += f.face;
        fill(start + (wide_ ? 116 : 92));
        word(f.visible);
        u32(f.reserved);
        fill(start + (wide_ ? 164 : 138));
        return *this;
    }

    MarkBytes& block(std::string_view name, std::string_view bytes, uint32_t type = 6) {
        return claim(name, static_cast<uint32_t>(bytes.size()), bytes, type);
    }
    // A block that says another size than it has.
    MarkBytes& claim(std::string_view name, uint32_t size, std::string_view bytes, uint32_t type = 6) {
        u32(type);
        u32(12);
        data += name;
        data.append(8 - name.size(), '\0');
        u32(size);
        if (!wide_) data += "skip";
        data += bytes;
        return *this;
    }

    // Largest and used count, then points, in fields of the layout.
    std::string points(uint32_t most, uint32_t used, std::initializer_list<int> values) const {
        MarkBytes run(wide_);
        run.data.clear();
        run.word(static_cast<int32_t>(most));
        run.word(static_cast<int32_t>(used));
        for (const int value : values) run.word(value);
        return run.data;
    }
    std::string number(int32_t value) const { return points(static_cast<uint32_t>(value), 0, {}).substr(0, wide_ ? 4 : 2); }
    // The content of a text block.
    std::string text(int32_t tenths, std::string_view text) const {
        return number(tenths) + std::string(wide_ ? 12 : 6, '\1') + std::string(text);
    }

    std::string data;

private:
    void u32(uint32_t value) {
        for (int i = 0; i < 4; ++i) data += static_cast<char>(value >> 8 * i);
    }
    void word(int32_t value) {
        if (wide_) return u32(static_cast<uint32_t>(value));
        data += static_cast<char>(value);
        data += static_cast<char>(value >> 8);
    }
    void fill(size_t size) { data.resize(size, '\0'); }

    bool wide_;
};

// A packed image of 2 by 1 pixels at 24 bits, blue and red.
inline std::string smallDib() {
    std::string dib("\x28\0\0\0\2\0\0\0\1\0\0\0\1\0\x18\0", 16);
    dib.resize(40, '\0');
    return dib + std::string("\xFF\0\0\0\0\xFF\0\0", 8);
}

} // namespace kbann::test
