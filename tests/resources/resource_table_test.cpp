// What is linked in: every number there, in the form that its readers expect, and made of what is drawn now.
#include "kbann/constants.h"
#include "platform/user.h"
#include "resources/resource_table.h"
#include "resources/tools/glyphs.h"
#include "resources/tools/pixel_picture.h"
#include "resources/tools/placeable.h"
#include "resources/tools/stamps.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <sstream>
#include <stdexcept>

using namespace kbann;
using namespace kbann::pictures;

namespace {

template <class T> T read(const KbResourceEntry& entry, size_t at) {
    T value{};
    if (at + sizeof value <= entry.uSize) std::memcpy(&value, static_cast<const uint8_t*>(entry.pData) + at, sizeof value);
    return value;
}

std::map<unsigned, const KbResourceEntry*> entriesOf(unsigned type) {
    std::map<unsigned, const KbResourceEntry*> found;
    for (unsigned i = 0; i < annResourceCount; ++i) {
        const auto& entry = annResourceTable[i];
        if (entry.uType != type) continue;
        EXPECT_TRUE(found.emplace(entry.uId, &entry).second) << entry.uId;
    }
    return found;
}

TEST(ResourceTable, HoldsEveryNumber) {
    std::vector<unsigned> bitmaps, pictures;
    for (const auto& [id, entry] : entriesOf(RT_BITMAP)) bitmaps.push_back(id);
    for (const auto& [id, entry] : entriesOf(RT_RCDATA)) pictures.push_back(id);
    EXPECT_EQ(bitmaps, (std::vector<unsigned>{26101, 26102, 26104, 26105, 26106}));
    std::vector<unsigned> expected;
    for (unsigned id = 26170; id <= 26203; ++id)
        if (id != 26199) expected.push_back(id);
    EXPECT_EQ(pictures, expected);
}

TEST(ResourceTable, MetafilesArePlaceable) {
    auto entries = entriesOf(RT_RCDATA);
    size_t total = 0;
    for (const auto& drawn : {stampPictures(), glyphPictures()}) {
        for (const Picture& picture : drawn) {
            SCOPED_TRACE(picture.name);
            ASSERT_TRUE(entries.contains(picture.id));
            const KbResourceEntry& entry = *entries[picture.id];
            EXPECT_EQ(read<uint32_t>(entry, 0), 0x9AC6CDD7u);
            EXPECT_EQ(read<int16_t>(entry, 6), picture.box.left);
            EXPECT_EQ(read<int16_t>(entry, 8), picture.box.top);
            EXPECT_EQ(read<int16_t>(entry, 10), picture.box.right);
            EXPECT_EQ(read<int16_t>(entry, 12), picture.box.bottom);
            EXPECT_EQ(read<uint16_t>(entry, 14), 1000);
            uint16_t checksum = 0;
            for (size_t at = 0; at <= 20; at += 2) checksum = static_cast<uint16_t>(checksum ^ read<uint16_t>(entry, at));
            EXPECT_EQ(checksum, 0);
            const auto* bits = static_cast<const BYTE*>(entry.pData) + 22;
            const HMETAFILE metafile = SetMetaFileBitsEx(entry.uSize - 22, bits);
            EXPECT_NE(metafile, nullptr);
            EXPECT_EQ(GetMetaFileBitsEx(metafile, 0, nullptr), entry.uSize - 22); // nothing behind its end
            DeleteMetaFile(metafile);
            EXPECT_LT(entry.uSize, 6000u);
            total += entry.uSize;
            const auto again = placeableMetafile(picture); // a second run gives the same bytes
            EXPECT_TRUE(again.size() == entry.uSize && !std::memcmp(again.data(), entry.pData, again.size()));
        }
    }
    EXPECT_LT(total, 80000u);
}

TEST(ResourceTable, RefusesPicturesOutsideTheirBox) {
    Picture picture{1, "square", {0, 0, 100, 100}, {{0, {rectangle(0, 0, 100, 100)}}}};
    EXPECT_NO_THROW(placeableMetafile(picture));
    for (const RECT box :
         {RECT{0, 0, 99, 100}, RECT{1, 0, 100, 100}, RECT{-20000, 0, 20000, 100}, RECT{0, -40000, 100, 100}}) {
        picture.box = box;
        EXPECT_THROW(placeableMetafile(picture), std::runtime_error) << box.left << ' ' << box.top;
    }
}

TEST(ResourceTable, ToolStripHasACellForEachButton) {
    const KbResourceEntry& strip = *entriesOf(RT_BITMAP)[26104];
    const auto header = read<BITMAPINFOHEADER>(strip, 0);
    EXPECT_EQ(header.biWidth, 24 * 16);
    EXPECT_EQ(header.biHeight, 15);
    EXPECT_EQ(header.biBitCount, 4);
    EXPECT_EQ(strip.uSize, 40u + 16 * 4 + 15 * 192);
    RGBQUAD face = read<RGBQUAD>(strip, 40); // the first colour is the ground: it has to be the buttons' own
    EXPECT_EQ(RGB(face.rgbRed, face.rgbGreen, face.rgbBlue), GetSysColor(COLOR_BTNFACE));
    for (size_t cell = 0; cell < 24; ++cell) {
        int drawn = 0;
        for (size_t row = 0; row < 15; ++row)
            for (size_t byte = 0; byte < 8; ++byte)
                drawn += read<uint8_t>(strip, 40 + 64 + row * 192 + cell * 8 + byte) != 0;
        EXPECT_GT(drawn, 10) << cell;
    }
}

TEST(PixelPictures, CellsStandSideBySide) {
    std::istringstream text("# two cells\nbitmap 7\n. FFFFFF\nx 102030\n\ncell one\n..x\n.x.\n\ncell two\nxxx\n...\n");
    const PixelPicture picture = readPixelPicture(text);
    EXPECT_EQ(picture.id, 7u);
    EXPECT_EQ(picture.rows, (std::vector<std::string>{"..xxxx", ".x...."}));
    const auto dib = deviceIndependentBitmap(picture);
    ASSERT_EQ(dib.size(), 40u + 64 + 2 * 4);
    EXPECT_EQ(dib[44], 0x30); // blue first
    const std::vector<uint8_t> rows(dib.begin() + 104, dib.end());
    EXPECT_EQ(rows, (std::vector<uint8_t>{0x01, 0, 0, 0, 0x00, 0x11, 0x11, 0})); // the last row first
}

TEST(PixelPictures, SayWhatIsWrong) {
    const struct {
        const char* name;
        const char* text;
    } rows[] = {
        {"empty", ""},
        {"no number", ". FFFFFF\nrows\n..\n"},
        {"no rows", "bitmap 7\n. FFFFFF\n"},
        {"rows of two lengths", "bitmap 7\n. FFFFFF\nrows\n..\n...\n"},
        {"cells of two heights", "bitmap 7\n. FFFFFF\ncell a\n..\ncell b\n..\n..\n"},
        {"no such colour", "bitmap 7\n. FFFFFF\nrows\n.x\n"},
        {"not understood", "bitmap 7\nsomething else here\nrows\n.\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::istringstream text(row.text);
        EXPECT_THROW(readPixelPicture(text), std::runtime_error);
    }
}

} // namespace
