// Metafiles built from records that are written down, and a page of pixels to play them on.
#pragma once

#include "platform/gdi.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <vector>

namespace metafile_test {

struct Bytes : std::vector<uint8_t> {
    Bytes& u8(uint32_t v) { return push_back(static_cast<uint8_t>(v)), *this; }
    Bytes& u16(int64_t v) { return u8(static_cast<uint32_t>(v) & 0xFF).u8(static_cast<uint32_t>(v) >> 8 & 0xFF); }
    Bytes& u32(int64_t v) { return u16(v).u16(v >> 16); }
    Bytes& real(float v) { return u32(std::bit_cast<int32_t>(v)); }
    Bytes& add(const Bytes& other) { return insert(end(), other.begin(), other.end()), *this; }
    Bytes& text(const std::string& s, size_t granularity) {
        for (const char c : s) u8(static_cast<uint8_t>(c));
        while (size() % granularity) u8(0);
        return *this;
    }
};

// Parameters in the order of the file, which is last one first.
struct Classic {
    Bytes body;
    Classic& record(int function, std::initializer_list<int> words, const Bytes& tail = {}) {
        Bytes b;
        for (const int w : words) b.u16(w);
        b.add(tail);
        body.u32(static_cast<int64_t>(3 + (b.size() + 1) / 2)).u16(function).add(b);
        if (b.size() % 2) body.u8(0);
        return *this;
    }
    Classic& rectangle(int left, int top, int right, int bottom) { return record(0x041B, {bottom, right, top, left}); }
    Classic& windowOrigin(int x, int y) { return record(0x020B, {y, x}); }
    Classic& windowExtent(int x, int y) { return record(0x020C, {y, x}); }
    Classic& brush(COLORREF c) {
        return record(0x02FC, {BS_SOLID, static_cast<int>(c & 0xFFFF), static_cast<int>(c >> 16), 0});
    }
    Classic& pen(int style, int width, COLORREF c) {
        return record(0x02FA, {style, width, 0, static_cast<int>(c & 0xFFFF), static_cast<int>(c >> 16)});
    }
    Classic& select(int slot) { return record(0x012D, {slot}); }
    Bytes file() const {
        Bytes all, ended = body;
        ended.u32(3).u16(0);
        all.u16(1).u16(9).u16(0x300).u32(static_cast<int64_t>(ended.size() + 18) / 2).u16(8).u32(64).u16(0);
        return all.add(ended), all;
    }
};

// A frame of 100 by 100 pixels; a pixel is a millimetre.
struct Enhanced {
    Bytes body;
    uint32_t records = 2;
    Enhanced& record(int type, const Bytes& content = {}) {
        ++records;
        body.u32(type).u32(static_cast<int64_t>(8 + (content.size() + 3) / 4 * 4)).add(content);
        while (body.size() % 4) body.u8(0);
        return *this;
    }
    Enhanced& record(int type, std::initializer_list<int64_t> numbers) {
        Bytes b;
        for (const int64_t n : numbers) b.u32(n);
        return record(type, b);
    }
    Enhanced& rectangle(int l, int t, int r, int b) { return record(43, {l, t, r, b}); }
    Enhanced& brush(int slot, COLORREF c) { return record(39, {slot, BS_SOLID, c, 0}).record(37, {slot}); }
    Enhanced& pen(int slot, int style, int width, COLORREF c) {
        return record(38, {slot, style, width, 0, c}).record(37, {slot});
    }
    Enhanced& stock(int index) { return record(37, {static_cast<int64_t>(0x80000000u | static_cast<unsigned>(index))}); }
    Enhanced& transform(float a, float b, float c, float d, float e, float f) {
        return record(35, Bytes().real(a).real(b).real(c).real(d).real(e).real(f));
    }
    // Points of 16 bits behind bounds that nobody reads.
    Enhanced& poly16(int type, std::initializer_list<POINT> points) {
        Bytes b;
        for (int i = 0; i < 4; ++i) b.u32(0);
        b.u32(static_cast<int64_t>(points.size()));
        for (const POINT& p : points) b.u16(p.x).u16(p.y);
        return record(type, b);
    }
    Bytes file() const {
        Bytes all, ended = body;
        ended.u32(14).u32(20).u32(0).u32(16).u32(20);
        all.u32(1).u32(88);
        for (const int v : {0, 0, 99, 99, 0, 0, 10000, 10000}) all.u32(v);
        all.u32(0x464D4520).u32(0x10000).u32(static_cast<int64_t>(ended.size() + 88)).u32(records).u16(9).u16(0);
        for (const int v : {0, 0, 0, 100, 100, 100, 100}) all.u32(v);
        return all.add(ended), all;
    }
};

struct Page {
    static constexpr int side = 100;
    std::vector<uint32_t> pixels = std::vector<uint32_t>(side * side, 0xFFFFFF);
    HDC dc = KbCreateSurfaceDC(pixels.data(), side, side, side * 4, 32, nullptr, 0);
    Page() = default;
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;
    ~Page() { DeleteDC(dc); }

    BOOL play(const Classic& file, const RECT* box = nullptr, RECT target = {0, 0, side, side}) {
        const Bytes bytes = file.file();
        const HMETAFILE h = SetMetaFileBitsEx(static_cast<UINT>(bytes.size()), bytes.data());
        EXPECT_TRUE(h);
        const BOOL result = KbPlayMetaFile(dc, h, box, &target);
        EXPECT_TRUE(DeleteMetaFile(h));
        return result;
    }
    BOOL play(const Enhanced& file, RECT target = {0, 0, side, side}) {
        const Bytes bytes = file.file();
        const HENHMETAFILE h = SetEnhMetaFileBits(static_cast<UINT>(bytes.size()), bytes.data());
        EXPECT_TRUE(h);
        const BOOL result = PlayEnhMetaFile(dc, h, &target);
        EXPECT_TRUE(DeleteEnhMetaFile(h));
        return result;
    }
    uint32_t at(int x, int y) const { return pixels[static_cast<size_t>(y * side + x)]; }
    RECT ink() const {
        RECT r{side, side, 0, 0};
        for (int i = 0; i < side * side; ++i)
            if (pixels[static_cast<size_t>(i)] != 0xFFFFFF)
                r = {std::min(r.left, i % side), std::min(r.top, i / side), std::max(r.right, i % side + 1),
                     std::max(r.bottom, i / side + 1)};
        return r;
    }
    bool blank() const { return ink().right == 0; }
};

inline std::string show(const RECT& r) {
    return std::to_string(r.left) + "," + std::to_string(r.top) + " - " + std::to_string(r.right) + "," +
           std::to_string(r.bottom);
}

} // namespace metafile_test
