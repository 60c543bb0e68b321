// Metafiles of objects and the predefined ones: who owns what, what is shared, and which code comes when.
#include "platform/gdi.h"
#include "store/library.h"
#include "store/shared_pictures.h"
#include "tests/store/support.h"

#include <cstring>

using namespace kbann;
using namespace kbann::test;

namespace {

// A classic metafile that sets a window of that size and draws a rectangle; `padding` bytes of comment make it larger.
HANDLE makeMetafile(int16_t size, size_t padding = 0) {
    std::vector<uint16_t> words = {1, 9, 0x0300, 0, 0, 0, 0, 0, 0};
    const auto addRecord = [&words](uint16_t function, const std::vector<uint16_t>& values) {
        const auto length = static_cast<uint32_t>(values.size() + 3);
        words.push_back(static_cast<uint16_t>(length));
        words.push_back(static_cast<uint16_t>(length >> 16));
        words.push_back(function);
        words.insert(words.end(), values.begin(), values.end());
    };
    const auto side = static_cast<uint16_t>(size);
    addRecord(0x020C, {side, side});       // window extent
    addRecord(0x041B, {side, side, 0, 0}); // rectangle
    if (padding) {
        std::vector<uint16_t> comment(padding / 2);
        comment[0] = 15;
        comment[1] = static_cast<uint16_t>(padding - 4);
        addRecord(0x0626, comment);
    }
    words.insert(words.end(), {3, 0, 0});
    words[3] = static_cast<uint16_t>(words.size());
    words[4] = static_cast<uint16_t>(words.size() >> 16);
    const auto bytes = static_cast<UINT>(words.size() * 2);
    return SetMetaFileBitsEx(bytes, reinterpret_cast<const BYTE*>(words.data()));
}

std::vector<uint8_t> bitsOf(HANDLE handle) {
    std::vector<uint8_t> bytes(GetMetaFileBitsEx(static_cast<HMETAFILE>(handle), 0, nullptr));
    GetMetaFileBitsEx(static_cast<HMETAFILE>(handle), static_cast<UINT>(bytes.size()), bytes.data());
    return bytes;
}
bool isLive(HANDLE handle) { return !bitsOf(handle).empty(); }
void drop(HANDLE handle) { DeleteMetaFile(static_cast<HMETAFILE>(handle)); }

HANDLE metafileOf(HANNOBJECT object) {
    HANDLE handle = nullptr;
    EXPECT_EQ(K_AnnGetMetafile(object, &handle), SUCCESS);
    return handle;
}

struct Pictures : ::testing::Test {
    Tree tree;
    HANNOBJECT stamp = makeItem(tree.root, ANN_OBJECT_STAMP), hotspot = makeItem(tree.root, ANN_OBJECT_HOTSPOT),
               rect = makeItem(tree.root, ANN_OBJECT_RECT);
    ~Pictures() override {
        K_AnnSetPredefinedMetafile(0, nullptr);
        K_AnnSetPredefinedMetafile(ANN_METAFILE_HOTSPOT, nullptr);
    }
};

TEST_F(Pictures, AHandleIsCopiedAndStaysTheCallers) {
    const HANDLE given = makeMetafile(50);
    ASSERT_EQ(K_AnnSetText(stamp, "away with it", 0), SUCCESS);
    EXPECT_EQ(K_AnnSetMetafile(stamp, given, ANN_METAFILE_USER, 0), SUCCESS);
    EXPECT_FALSE(record(stamp).pszText);
    const HANDLE held = metafileOf(stamp);
    EXPECT_NE(held, given);
    EXPECT_EQ(bitsOf(held), bitsOf(given));
    EXPECT_EQ(K_AnnSetMetafile(stamp, held, 27, 0), SUCCESS); // its own
    EXPECT_EQ(bitsOf(metafileOf(stamp)), bitsOf(given));
    HANNOBJECT copy = nullptr;
    ASSERT_EQ(K_AnnCopy(stamp, &copy), SUCCESS);
    const HANDLE ofCopy = metafileOf(copy);
    drop(given);
    EXPECT_TRUE(isLive(metafileOf(stamp)));
    K_AnnSetText(stamp, "text", 0);
    HANDLE none = given;
    EXPECT_EQ(K_AnnGetMetafile(stamp, &none), ERROR_INV_BITMAP);
    EXPECT_TRUE(isLive(ofCopy));
    K_AnnDestroy(copy, 0);
    EXPECT_FALSE(isLive(ofCopy));
}

TEST_F(Pictures, CodesOfMissingAndUnfitThings) {
    const HANDLE dead = makeMetafile(50);
    drop(dead);
    const HANDLE live = makeMetafile(50);
    ASSERT_EQ(K_AnnSetText(stamp, "stays", 0), SUCCESS);
    HANDLE out = nullptr;
    uint32_t kind = 0;
    struct {
        const char* name;
        int code, expected;
    } rows[] = {
        {"no handle", K_AnnSetMetafile(stamp, nullptr, ANN_METAFILE_USER, 0), ERROR_INV_PARAMETER},
        {"dead handle", K_AnnSetMetafile(stamp, dead, ANN_METAFILE_USER, 0), ERROR_INV_PARAMETER},
        {"not a metafile", K_AnnSetMetafile(stamp, GetStockObject(BLACK_PEN), ANN_METAFILE_USER, 0), ERROR_INV_PARAMETER},
        {"a rectangle", K_AnnSetMetafile(rect, live, ANN_METAFILE_USER, 0), ERROR_FEATURE_NOT_SUPPORTED},
        {"a rectangle's", K_AnnGetMetafile(rect, &out), ERROR_FEATURE_NOT_SUPPORTED},
        {"a container", K_AnnSetMetafile(tree.root, live, ANN_METAFILE_USER, 0), ERROR_FEATURE_NOT_SUPPORTED},
        {"slot of the user", K_AnnSetPredefinedMetafile(ANN_METAFILE_USER, live), ERROR_INV_PARAMETER},
        {"slot behind the last", K_AnnSetPredefinedMetafile(ANN_METAFILE_LAST, live), ERROR_INV_PARAMETER},
        {"dead into a slot", K_AnnSetPredefinedMetafile(3, dead), ERROR_INV_PARAMETER},
        {"out of no slot", K_AnnGetPredefinedMetafile(ANN_METAFILE_LAST, &out, &kind), ERROR_INV_PARAMETER},
        {"without handle", K_AnnGetPredefinedMetafile(0, nullptr, &kind), ERROR_INV_PARAMETER},
        {"without kind", K_AnnGetPredefinedMetafile(0, &out, nullptr), ERROR_INV_PARAMETER},
    };
    for (const auto& row : rows) EXPECT_EQ(row.code, row.expected) << row.name;
    EXPECT_STREQ(record(stamp).pszText.c_str(), "stays");
    EXPECT_TRUE(isLive(live)); // what is refused stays the caller's
    drop(live);
}

TEST_F(Pictures, SlotsAreTheirOwnersAndStampsKeepWhatTheyHave) {
    const HANDLE first = makeMetafile(50), second = makeMetafile(60);
    const auto firstBits = bitsOf(first), secondBits = bitsOf(second);
    ASSERT_EQ(K_AnnSetPredefinedMetafile(ANN_METAFILE_PAID, first), SUCCESS);
    ASSERT_EQ(K_AnnSetMetafile(stamp, nullptr, ANN_METAFILE_PAID, 0), SUCCESS);
    ASSERT_EQ(K_AnnSetPredefinedMetafile(ANN_METAFILE_PAID, first), SUCCESS); // once more the same
    EXPECT_TRUE(isLive(first));
    ASSERT_EQ(K_AnnSetPredefinedMetafile(ANN_METAFILE_PAID, second), SUCCESS);
    EXPECT_FALSE(isLive(first));
    EXPECT_EQ(bitsOf(metafileOf(stamp)), firstBits);
    HANDLE copy = nullptr;
    uint32_t kind = 7;
    ASSERT_EQ(K_AnnGetPredefinedMetafile(ANN_METAFILE_PAID, &copy, &kind), SUCCESS);
    EXPECT_EQ(kind, 0u);
    EXPECT_EQ(bitsOf(copy), secondBits);
    drop(copy);
    EXPECT_TRUE(isLive(second));
    EXPECT_EQ(K_AnnSetPredefinedMetafile(0, nullptr), SUCCESS); // all of them
    EXPECT_FALSE(isLive(second));
    if (K_AnnGetPredefinedMetafile(ANN_METAFILE_PAID, &copy, &kind) == SUCCESS) {
        EXPECT_NE(bitsOf(copy), secondBits);
        drop(copy);
    }
}

TEST_F(Pictures, HotspotsFollowTheDefault) {
    // Also with a library that has no picture of its own: then there is nothing to follow.
    HANDLE standard = nullptr;
    if (K_AnnGetMetafile(hotspot, &standard) == SUCCESS) {
        EXPECT_EQ(K_AnnSetMetafile(hotspot, nullptr, ANN_METAFILE_HOTSPOT, 0), SUCCESS);
        EXPECT_EQ(record(hotspot).metafile.nHandle, 0u);
        EXPECT_EQ(K_AnnSetMetafile(hotspot, standard, ANN_METAFILE_USER, 0), SUCCESS);
        EXPECT_EQ(record(hotspot).metafile.nHandle, 0u);
        EXPECT_EQ(metafileOf(hotspot), standard);
        EXPECT_EQ(K_AnnSetMetafile(stamp, nullptr, ANN_METAFILE_HOTSPOT, 0), SUCCESS); // a stamp has a copy
        EXPECT_NE(metafileOf(stamp), standard);
    }
    const HANDLE mine = makeMetafile(70);
    const auto myBits = bitsOf(mine);
    ASSERT_EQ(K_AnnSetPredefinedMetafile(ANN_METAFILE_HOTSPOT, mine), SUCCESS);
    ASSERT_EQ(K_AnnSetMetafile(hotspot, nullptr, ANN_METAFILE_HOTSPOT, 0), SUCCESS);
    EXPECT_EQ(bitsOf(metafileOf(hotspot)), myBits);
    const HANNOBJECT fresh = makeItem(tree.root, ANN_OBJECT_FREEHANDHOTSPOT);
    EXPECT_EQ(record(fresh).metafile.nHandle, 0u);
    HANDLE shown = nullptr;
    K_AnnGetMetafile(fresh, &shown); // the default, not the user's
    EXPECT_EQ(shown, standard);
    ASSERT_EQ(K_AnnSetPredefinedMetafile(ANN_METAFILE_HOTSPOT, nullptr), SUCCESS);
    EXPECT_FALSE(isLive(mine));
    EXPECT_EQ(bitsOf(metafileOf(hotspot)), myBits);
    if (standard) {
        HANDLE copy = nullptr;
        uint32_t kind = 0;
        ASSERT_EQ(K_AnnGetPredefinedMetafile(ANN_METAFILE_HOTSPOT, &copy, &kind), SUCCESS);
        EXPECT_EQ(bitsOf(copy), bitsOf(standard));
        drop(copy);
    }
}

TEST_F(Pictures, WalksReachTheObjectsBelow) {
    const HANDLE given = makeMetafile(50);
    EXPECT_EQ(K_AnnSetMetafile(tree.root, given, ANN_METAFILE_USER, ANN_FLAG_RECURSE), SUCCESS);
    EXPECT_EQ(bitsOf(metafileOf(stamp)), bitsOf(given));
    EXPECT_EQ(bitsOf(metafileOf(hotspot)), bitsOf(given));
    EXPECT_NE(metafileOf(stamp), metafileOf(hotspot));
    drop(given);
}

// Copies share the bits: a thousand stamps of a large picture cost their records, and no more than 2 KiB each beyond.
TEST_F(Pictures, CopiesShareTheBits) {
    struct Counter {
        size_t bytes = 0;
        static BOOL add(SIZE_T size, void* user) {
            static_cast<Counter*>(user)->bytes += size;
            return TRUE;
        }
    } counter;
    ASSERT_EQ(K_AnnSetPredefinedMetafile(ANN_METAFILE_VOID, makeMetafile(50, 60'000)), SUCCESS);
    KbSetAllocationHook(Counter::add, &counter);
    std::vector<HANDLE> handles;
    for (int i = 0; i < 100; ++i) {
        const HANNOBJECT made = makeItem(tree.root, ANN_OBJECT_STAMP);
        ASSERT_EQ(K_AnnSetMetafile(made, nullptr, ANN_METAFILE_VOID, 0), SUCCESS);
        handles.push_back(metafileOf(made));
    }
    KbSetAllocationHook(nullptr, nullptr);
    EXPECT_LT(counter.bytes, 100u * 4096);
    // The engine's own memory isn't all the graphics layer's: the bits are told to be the same by their owners' ends.
    K_AnnSetPredefinedMetafile(ANN_METAFILE_VOID, nullptr);
    std::ranges::sort(handles);
    EXPECT_EQ(std::ranges::adjacent_find(handles), handles.end());
    for (const HANDLE handle : handles) EXPECT_GT(bitsOf(handle).size(), 60'000u);
}

// Every slot that has a resource plays, and no two look alike.
TEST_F(Pictures, PredefinedOnesAreThere) {
    std::vector<std::vector<uint8_t>> seen;
    for (uint32_t slot = 0; slot < ANN_METAFILE_LAST; ++slot) {
        SCOPED_TRACE(slot);
        HANDLE copy = nullptr;
        uint32_t kind = 7;
        ASSERT_EQ(K_AnnGetPredefinedMetafile(slot, &copy, &kind), SUCCESS);
        EXPECT_EQ(kind, 0u);
        seen.push_back(bitsOf(copy));
        drop(copy);
        EXPECT_EQ(K_AnnSetMetafile(stamp, nullptr, slot, 0), SUCCESS);
        EXPECT_GT(record(stamp).metafile.nUnitsPerInch, 0);
    }
    std::ranges::sort(seen);
    EXPECT_EQ(std::ranges::adjacent_find(seen), seen.end());
    for (const Glyph glyph : {Glyph::audioInactive, Glyph::audioActive, Glyph::videoInactive, Glyph::videoActive})
        EXPECT_NE(annGlyph(glyph).nHandle, 0u);
    annOpenSharedPictures(); // so that the masks are loaded anew
    K_SetVectorResolution(120);
    for (const HitMask which : {HitMask::audio, HitMask::video}) {
        const KernelBitmap& mask = annGlyphMask(which);
        ASSERT_TRUE(mask.Allocated);
        EXPECT_EQ(mask.BitsPerPixel, 1);
        EXPECT_NEAR(mask.Width, 150, 40);
        int black = 0;
        for (int y = 0; y < mask.Height; ++y)
            for (int x = 0; x < mask.Width; ++x) black += (K_GetBitmapPixel(&mask, y, x) & 0xFFFFFF) == 0;
        EXPECT_GT(black, mask.Width * mask.Height / 20);
        EXPECT_LT(black, mask.Width * mask.Height);
    }
    int resolution = -1;
    K_GetVectorResolution(&resolution);
    EXPECT_EQ(resolution, 120); // the host's own, whatever is loaded
    K_SetVectorResolution(0);
    annOpenSharedPictures();
}

} // namespace
