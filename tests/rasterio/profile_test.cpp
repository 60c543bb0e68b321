// Colour profiles that go along: their colours stay, and nothing else does.
#include "file_fixture.h"
#include "profile_fixture.h"

#include <gtest/gtest.h>

#include <png.h>

namespace {

using namespace test;

// What comes out of a PNG that holds the profile; empty when it is refused.
std::string taken(const std::string& profile, bool isGrey) {
    Image image;
    EXPECT_EQ(K_CreateBitmap(&image.b, 1, 4, 4, isGrey ? 8 : 24, isGrey ? KB_ORDER_GREY : KB_ORDER_BGR, nullptr, 1, 0, 0),
              SUCCESS);
    // A TIFF takes a profile as it is.
    EXPECT_EQ(K_SetFileTag(34675, 7, static_cast<uint32_t>(profile.size()), profile.data()), SUCCESS);
    const Bytes file = save(image.b, KB_FORMAT_TIFF);
    HGLOBAL block = nullptr;
    size_t size = 0;
    const int result = K_LoadColorProfile(file.data(), file.size(), 1, &block, &size);
    if (result != SUCCESS) {
        EXPECT_EQ(result, ERROR_FILE_FORMAT);
        return {};
    }
    std::string bytes(static_cast<const char*>(GlobalLock(block)), size);
    GlobalFree(block);
    return bytes;
}

// The profile that another reader finds in a PNG; it leaves out what doesn't stand up to its checks.
std::string foundByPeer(const Bytes& file) {
    std::FILE* stream = fmemopen(const_cast<uint8_t*>(file.data()), file.size(), "rb");
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_charp name = nullptr;
    png_bytep data = nullptr;
    png_uint_32 size = 0;
    int packing = 0;
    if (setjmp(png_jmpbuf(png)) == 0) {
        png_init_io(png, stream);
        png_read_info(png, info);
        png_get_iCCP(png, info, &name, &packing, &data, &size);
    }
    std::string profile(reinterpret_cast<const char*>(data), data ? size : 0);
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(stream);
    return profile;
}

bool holds(const std::string& text, std::string_view part) { return text.find(part) != std::string::npos; }

} // namespace

TEST(ColorProfile, ColoursStayAndNothingElseDoes) {
    const std::string text = "text" + bigEndian(0) + "SECRET";
    for (const bool isGrey : {false, true}) {
        const std::string loud = usualProfile(isGrey, {{"vued", text}, {"desc", text}, {"cprt", text}, {"B2A0", text}});
        const std::string plain = taken(loud, isGrey);
        ASSERT_GT(plain.size(), 132u);
        EXPECT_FALSE(holds(plain, "SECRET") || holds(plain, "mine") || holds(plain, "mmmm") || holds(plain, "\7\7"));
        EXPECT_TRUE(holds(plain, curveTag({0, 9000, 30000, 65535})) && holds(plain, pointTag(0xF6D6, 0x10000, 0xD32D)));
        EXPECT_EQ(holds(plain, pointTag(0x6FA2, 0x38F5, 0x390)), !isGrey);
        EXPECT_EQ(taken(plain, isGrey), plain); // and stays so
        EXPECT_EQ(taken(usualProfile(isGrey), isGrey), plain);
    }
}

TEST(ColorProfile, WhatNeedsMoreThanCurvesIsRefused) {
    const auto without = [](const char* name) {
        std::string profile = usualProfile(false);
        profile.replace(profile.find(name), 4, "tech");
        return profile;
    };
    const auto withCurve = [](const std::string& curve) {
        return profileOf({{"wtpt", pointTag(1, 2, 3)}, {"kTRC", curve}}, "GRAY");
    };
    const auto parametric = [](std::size_t kind, std::size_t numbers) {
        return "para" + bigEndian(0) + bigEndian(kind, 2) + bigEndian(0, 2) + std::string(4 * numbers, '\1');
    };
    const struct {
        const char* name;
        std::string profile;
        bool isTaken;
    } rows[] = {
        {"no primary", without("gXYZ"), false},
        {"no curve", without("bTRC"), false},
        {"tables", usualProfile(false, {{"A2B0", "mft2" + std::string(60, '\0')}}), false},
        {"a bad adaption", usualProfile(false, {{"chad", pointTag(1, 2, 3)}}), false},
        {"a gamma", withCurve(curveTag({0x180})), true},
        {"no numbers", withCurve(curveTag({})), true},
        {"words in a curve", withCurve("curv" + bigEndian(0) + bigEndian(6) + "SECRET WORDS"), false},
        {"a curve cut short", withCurve(curveTag({1, 2, 3}).substr(0, 14)), false},
        {"too long a curve", withCurve(curveTag(std::vector<int>(4097, 1))), false},
        {"by formula", withCurve(parametric(3, 5)), true},
        {"by an unknown one", withCurve(parametric(5, 7)), false},
        {"by one cut short", withCurve(parametric(4, 6)), false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(!taken(row.profile, row.profile.substr(16, 4) == "GRAY").empty(), row.isTaken);
    }
}

TEST(ColorProfile, OtherReadersTakeThePlainOne) {
    for (const bool isGrey : {false, true}) {
        const std::string plain = taken(usualProfile(isGrey, {{"vued", "text" + bigEndian(0) + "SECRET"}}), isGrey);
        ASSERT_FALSE(plain.empty());
        Image image;
        ASSERT_EQ(
            K_CreateBitmap(&image.b, 1, 4, 4, isGrey ? 8 : 24, isGrey ? KB_ORDER_GREY : KB_ORDER_BGR, nullptr, 1, 0, 0),
            SUCCESS);
        ASSERT_EQ(K_SetFileTag(34675, 7, static_cast<uint32_t>(plain.size()), plain.data()), SUCCESS);
        EXPECT_EQ(foundByPeer(save(image.b, KB_FORMAT_PNG)), plain);
    }
}
