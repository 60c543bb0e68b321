// Numbers of the text form against the C library's, in the "C" locale.
#include "persist/text_numbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

using namespace kbann;

namespace {

std::string put(double value) {
    char text[numberRoom];
    return {text, annPutReal(text, value)};
}

std::string expected(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.9G", value);
    return text;
}

TEST(TextNumbers, RealsAreWrittenLikeNineDigitFormat) {
    const double rows[] = {0.0,
                           -0.0,
                           1.0,
                           -1.0,
                           0.1,
                           1.0 / 3,
                           2.0 / 3,
                           1e-4,
                           9.9999999996e-5,
                           0.00012345678949,
                           123456789.0,
                           999999999.4,
                           999999999.5,
                           99999999.95,
                           0.9999999996,
                           1e9,
                           1e10,
                           1.5e300,
                           5e-324,
                           HUGE_VAL,
                           -HUGE_VAL,
                           1234.5678,
                           0.5,
                           12345678.25,
                           1.00000000499,
                           1.000000005,
                           -31999.75};
    for (const double value : rows) EXPECT_EQ(put(value), expected(value));
    EXPECT_EQ(put(std::nan("")), "NAN");
}

TEST(TextNumbers, RandomRealsAgreeBothWays) {
    const auto seed = static_cast<uint64_t>(GTEST_FLAG_GET(random_seed)) + 1;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    for (int i = 0; i < 100'000; ++i) {
        const uint64_t bits = random();
        double any;
        std::memcpy(&any, &bits, sizeof any);
        const double values[] = {any, static_cast<double>(bits >> 40) / 1000,
                                 std::ldexp(static_cast<double>(bits >> 11), -40 - static_cast<int>(bits & 31))};
        for (const double value : values) {
            if (std::isnan(value)) continue;
            const std::string text = expected(value);
            ASSERT_EQ(put(value), text);
            double back = 0;
            ASSERT_TRUE(annParseReal(text, back)) << text;
            ASSERT_EQ(back, std::strtod(text.c_str(), nullptr)) << text;
        }
    }
}

TEST(TextNumbers, RealsAreReadLikeTheLibraryDoes) {
    const char* rows[] = {
        "1",       " 1",    "+1",     "-1",       "--1",      "+-1",    "1e5",   "1E+5",     "1e",
        "1e+",     "1e400", "-1e400", "1e-400",   "4.9e-324", "2e-324", "inf",   "-INF",     "infinity",
        "infinit", "nan",   "0x1p3",  "0X1.8P-1", "0x",       "0x.8",   "0xg",   "0x1p5000", "0x1p-5000",
        "0x-1",    "",      " ",      "abc",      "1.",       ".5",     "-.5e1", "1 ",       "0000.00001e-330"};
    for (const char* text : rows) {
        char* end = nullptr;
        const double value = std::strtod(text, &end);
        const bool whole = *text && !*end && end != text;
        double read = 0;
        EXPECT_EQ(annParseReal(text, read), whole) << text;
        if (whole) {
            EXPECT_TRUE(read == value || (std::isnan(read) && std::isnan(value))) << text << " read as " << read;
        }
    }
}

TEST(TextNumbers, PointAndCommaAreSwappedOnce) {
    const struct {
        const char* text;
        bool read;
        double value;
    } rows[] = {{"1,5", true, 1.5},   {"-0,25", true, -0.25}, {",5", true, 0.5},   {"1,5E3", true, 1500},
                {"0x1,8p1", true, 3}, {"1,5,3", false, 0},    {"1.5.3", false, 0}, {"1.5,3", false, 0},
                {",", false, 0},      {".", false, 0},        {"1;5", false, 0}};
    for (const auto& row : rows) {
        double value = 0;
        EXPECT_EQ(annParseReal(row.text, value), row.read) << row.text;
        if (row.read) {
            EXPECT_EQ(value, row.value) << row.text;
        }
    }
}

TEST(TextNumbers, WholeNumbersSaturateAndTakeSigns) {
    const struct {
        const char* text;
        bool read;
        uint32_t value;
    } rows[] = {{"0", true, 0},
                {"4294967295", true, 4294967295u},
                {"4294967296", true, 4294967295u},
                {"99999999999999999999999999", true, 4294967295u},
                {"-1", true, 4294967295u},
                {"-4294967295", true, 1},
                {"-4294967296", true, 4294967295u},
                {"  +7", true, 7},
                {"007", true, 7},
                {"", false, 0},
                {"-", false, 0},
                {" ", false, 0},
                {"1 ", false, 0},
                {"1.0", false, 0},
                {"0x10", false, 0},
                {"--1", false, 0}};
    for (const auto& row : rows) {
        uint32_t value = 0;
        EXPECT_EQ(annParseU32(row.text, value), row.read) << '"' << row.text << '"';
        if (row.read) {
            EXPECT_EQ(value, row.value) << row.text;
        }
    }
}

} // namespace
