// Vector loops against plain ones, and ternary operations against their truth table. The loops aren't exported, so they are
// compiled into this file.
#include "platform/gdi/raster_ops.cpp"
#include "platform/gdi/span_writer.cpp"
#include "platform/gdi/surface.cpp"
#include "tests/oracle/pixel_model.h"

#include <gtest/gtest.h>
#include <random>

namespace {

using namespace kb::gdi;

TEST(GdiSpan, VectorsWriteWhatThePlainLoopWrites) {
    if (!haveVectors()) GTEST_SKIP() << "no 256-bit vectors here";
    std::mt19937 random(7);
    for (int round = 0; round < 20000; ++round) {
        constexpr int depths[] = {8, 24, 32};
        const int bits = depths[random() % 3], bytes = bits / 8;
        const auto x0 = static_cast<int>(random() % 70), x1 = x0 + 1 + static_cast<int>(random() % (round % 50 ? 60 : 400));
        const auto pixel = static_cast<uint32_t>(random() & (bits == 8 ? 0xFFu : 0xFFFFFFu));
        const auto mode = static_cast<int>(1 + random() % 16);
        Paint paint;
        paint.setSolid(pixel, tableOfRop2(mode), bits);
        std::vector<uint8_t> plain(static_cast<size_t>((x1 + 40) * bytes));
        for (auto& b : plain) b = static_cast<uint8_t>(random());
        std::vector<uint8_t> vectors = plain;
        spanFunction(paint, bits, false)(paint, plain.data(), 0, x0, x1);
        spanFunction(paint, bits, true)(paint, vectors.data(), 0, x0, x1);
        ASSERT_EQ(plain, vectors) << "round " << round << " bits " << bits << " mode " << mode << " span " << x0 << ".."
                                  << x1;
    }
}

TEST(GdiSpan, TernaryOperationsFollowTheirTruthTable) {
    std::mt19937 random(11);
    for (unsigned code = 0; code < 256; ++code) {
        uint8_t p[21], s[21], d[21], before[21];
        for (int i = 0; i < 21; ++i) {
            p[i] = static_cast<uint8_t>(random());
            s[i] = static_cast<uint8_t>(random());
            before[i] = d[i] = static_cast<uint8_t>(random());
        }
        applyRop3(static_cast<uint8_t>(code), p, s, d, 21);
        for (int i = 0; i < 21; ++i)
            ASSERT_EQ(d[i], oracle::rop3(code, p[i], s[i], before[i], 0xFF)) << "code " << code << " byte " << i;
    }
}

} // namespace
