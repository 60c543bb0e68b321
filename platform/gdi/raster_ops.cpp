// Ternary operations eight bytes at a time: those of everyday use by their own expression, all others by choosing between
// the code's eight bits with the three inputs, which costs a dozen more operations a word and no table.
#include "platform/gdi/raster_ops.h"

#include <cstring>

namespace kb::gdi {

namespace {

template <class Operation> void each(const uint8_t* p, const uint8_t* s, uint8_t* d, size_t n, Operation&& operation) {
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t pw = 0, sw, dw;
        if (p) std::memcpy(&pw, p + i, 8);
        std::memcpy(&sw, s + i, 8);
        std::memcpy(&dw, d + i, 8);
        dw = operation(pw, sw, dw);
        std::memcpy(d + i, &dw, 8);
    }
    for (; i < n; ++i) d[i] = static_cast<uint8_t>(operation(p ? p[i] : 0, s[i], d[i]));
}

} // namespace

void applyRop3(uint8_t code, const uint8_t* p, const uint8_t* s, uint8_t* d, size_t n) {
    using W = uint64_t;
    switch (code) {
    case 0xCC: std::memmove(d, s, n); return;
    case 0x88: return each(nullptr, s, d, n, [](W, W a, W b) { return a & b; });
    case 0x66: return each(nullptr, s, d, n, [](W, W a, W b) { return a ^ b; });
    case 0xEE: return each(nullptr, s, d, n, [](W, W a, W b) { return a | b; });
    case 0x99: return each(nullptr, s, d, n, [](W, W a, W b) { return ~(a ^ b); });
    case 0x33: return each(nullptr, s, d, n, [](W, W a, W) { return ~a; });
    case 0x44: return each(nullptr, s, d, n, [](W, W a, W b) { return a & ~b; });
    case 0x22: return each(nullptr, s, d, n, [](W, W a, W b) { return ~a & b; });
    case 0xBB: return each(nullptr, s, d, n, [](W, W a, W b) { return ~a | b; });
    case 0x11: return each(nullptr, s, d, n, [](W, W a, W b) { return ~(a | b); });
    default: break;
    }
    W bit[8];
    for (int i = 0; i < 8; ++i) bit[i] = code >> i & 1 ? ~W{0} : 0;
    const auto choose = [](W one, W zero, W by) { return zero ^ ((one ^ zero) & by); };
    each(p, s, d, n, [&](W pw, W sw, W dw) {
        const W high = choose(choose(bit[7], bit[6], dw), choose(bit[5], bit[4], dw), sw);
        const W low = choose(choose(bit[3], bit[2], dw), choose(bit[1], bit[0], dw), sw);
        return choose(high, low, pw);
    });
}

} // namespace kb::gdi
