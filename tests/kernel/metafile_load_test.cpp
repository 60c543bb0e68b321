// Metafiles out of memory and files: what is taken, what is mended, what is refused, and what the holder tells afterwards.
#include "contracts/raster_kernel.h"
#include "platform/handle_table.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

void word(Bytes& out, int value) {
    out.push_back(static_cast<uint8_t>(value));
    out.push_back(static_cast<uint8_t>(value >> 8));
}
void dword(Bytes& out, uint32_t value) {
    word(out, static_cast<int>(value & 0xFFFF));
    word(out, static_cast<int>(value >> 16));
}

// A classic metafile of records {function, words...}, its header told true.
Bytes classic(const std::vector<std::vector<int>>& records, bool ended = true) {
    Bytes body;
    for (const auto& record : records) {
        dword(body, static_cast<uint32_t>(record.size() + 2));
        for (const int value : record) word(body, value);
    }
    if (ended) {
        dword(body, 3);
        word(body, 0);
    }
    Bytes out;
    word(out, 1);
    word(out, 9);
    word(out, 0x300);
    dword(out, static_cast<uint32_t>((18 + body.size()) / 2));
    word(out, 1);
    dword(out, 16);
    word(out, 0);
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

Bytes placeable(int left, int top, int right, int bottom, int unitsPerInch, const Bytes& metafile) {
    Bytes out;
    dword(out, 0x9AC6CDD7);
    for (const int value : {0, left, top, right, bottom, unitsPerInch}) word(out, value);
    dword(out, 0);
    word(out, 0); // readers don't look at the checksum
    out.insert(out.end(), metafile.begin(), metafile.end());
    return out;
}

Bytes enhanced(int left, int top, int right, int bottom, bool ended = true) {
    Bytes out;
    dword(out, 1);
    dword(out, 88);
    for (int i = 0; i < 4; ++i) dword(out, 0);
    for (const int value : {left, top, right, bottom}) dword(out, static_cast<uint32_t>(value));
    for (const uint32_t value : {0x464D4520u, 0x10000u, 108u, 2u, 1u, 0u, 0u, 0u, 1000u, 1000u, 250u, 250u})
        dword(out, value);
    if (ended)
        for (const uint32_t value : {14u, 20u, 0u, 16u, 20u}) dword(out, value);
    return out;
}

const std::vector<std::vector<int>> window = {{0x020B, 20, 10}, {0x020C, 300, 400}, {0x041B, 200, 100, 0, 0}};

struct Holder {
    KernelMetafile m{};
    ~Holder() { K_FreeMetafile(&m); }
};

TEST(MetafileLoad, HolderTellsBoxAndSize) {
    struct {
        const char* name;
        Bytes data;
        RECT box;
        int unitsPerInch, width, height;
    } const rows[] = {
        {"placeable", placeable(-100, 50, 900, 550, 1000, classic(window)), {-100, 50, 900, 550}, 1000, 2540, 1270},
        {"placeable upside down", placeable(0, 500, 1000, 0, 500, classic(window)), {0, 500, 1000, 0}, 500, 5080, 2540},
        {"placeable without units", placeable(0, 0, 900, 550, 0, classic(window)), {10, 20, 410, 320}, 0, 10583, 7938},
        {"placeable empty box", placeable(5, 5, 5, 90, 1000, classic(window)), {10, 20, 410, 320}, 0, 10583, 7938},
        {"plain with window", classic(window), {10, 20, 410, 320}, 0, 10583, 7938},
        {"plain, window after its drawing",
         classic({{0x041B, 9, 9, 0, 0}, {0x020C, -96, 96}}),
         {0, 0, 96, -96},
         0,
         2540,
         2540},
        {"plain without window", classic({{0x0214, -4, 5}, {0x0213, 92, 101}}), {0, 0, 0, 0}, 0, 2540, 2540},
        {"plain polygon", classic({{0x0324, 3, -10, 7, 86, 7, 86, 103}}), {0, 0, 0, 0}, 0, 2540, 2540},
        {"plain, a line across", classic({{0x0214, 8, 5}, {0x0213, 8, 101}}), {0, 0, 0, 0}, 0, 2540, 26},
        {"plain, two polygons",
         classic({{0x0538, 2, 3, 3, 0, 0, 96, 0, 0, 48, 0, 0, 9, 0, 0, 9}}),
         {0, 0, 0, 0},
         0,
         2540,
         1270},
        {"plain pattern", classic({{0x061D, 0x21, 0xF0, 48, 96, 5, 7}}), {0, 0, 0, 0}, 0, 2540, 1270},
        {"plain, y upwards", classic({{0x0103, 2}, {0x0418, 148, 101, 100, 5}}), {0, 0, 0, 0}, 0, 2540, 1270},
        {"plain, nothing to measure", classic({{0x0102, 1}}), {0, 0, 0, 0}, 0, 0, 0},
        {"enhanced", enhanced(100, 200, 2640, 1470), {0, 0, 0, 0}, 0, 2540, 1270},
        {"enhanced frame turned round", enhanced(2640, 1470, 100, 200), {0, 0, 0, 0}, 0, 2540, 1270},
        {"enhanced frame of all numbers", enhanced(INT32_MIN, 0, INT32_MAX, 9), {0, 0, 0, 0}, 0, INT32_MAX, 9},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Holder h;
        ASSERT_EQ(K_LoadMetafileMemory(row.data.data(), &h.m, row.data.size(), 1), SUCCESS);
        EXPECT_EQ(h.m.nLeft, row.box.left);
        EXPECT_EQ(h.m.nTop, row.box.top);
        EXPECT_EQ(h.m.nRight, row.box.right);
        EXPECT_EQ(h.m.nBottom, row.box.bottom);
        EXPECT_EQ(h.m.nUnitsPerInch, row.unitsPerInch);
        EXPECT_EQ(h.m.nWidth, row.width);
        EXPECT_EQ(h.m.nHeight, row.height);
        Holder copy, wrapped;
        ASSERT_EQ(K_CopyMetafile(&copy.m, &h.m), SUCCESS);
        EXPECT_NE(copy.m.nHandle, h.m.nHandle);
        EXPECT_EQ(copy.m.nWidth, h.m.nWidth);
        // The same picture by its handle alone: without what a placeable header had told.
        const bool enhancedOne = h.m.bEnhanced;
        const HANDLE handle = enhancedOne ? static_cast<HANDLE>(kb::toHandle<HENHMETAFILE>(copy.m.nHandle))
                                          : static_cast<HANDLE>(kb::toHandle<HMETAFILE>(copy.m.nHandle));
        ASSERT_EQ(K_WrapMetafile(handle, &wrapped.m), SUCCESS);
        copy.m = {}; // owned by the other now
        EXPECT_EQ(wrapped.m.bEnhanced, h.m.bEnhanced);
        EXPECT_EQ(wrapped.m.nUnitsPerInch, 0);
        if (row.unitsPerInch) {
            EXPECT_EQ(wrapped.m.nLeft, 10); // the window
            EXPECT_EQ(wrapped.m.nBottom, 320);
            EXPECT_EQ(wrapped.m.nWidth, 10583);
        } else {
            EXPECT_EQ(wrapped.m.nLeft, row.box.left);
            EXPECT_EQ(wrapped.m.nTop, row.box.top);
            EXPECT_EQ(wrapped.m.nRight, row.box.right);
            EXPECT_EQ(wrapped.m.nBottom, row.box.bottom);
            EXPECT_EQ(wrapped.m.nWidth, row.width);
            EXPECT_EQ(wrapped.m.nHeight, row.height);
        }
    }
}

// Words without a window: a metafile has a size when it has anything to show, and fills its place when it is played.
TEST(MetafileLoad, TextAloneHasASize) {
    const Bytes data = classic({{0x0521, 4, 0x6574, 0x7478, 30, 20}}); // "text" at 20, 30
    Holder h;
    ASSERT_EQ(K_LoadMetafileMemory(data.data(), &h.m, data.size(), 1), SUCCESS);
    EXPECT_GT(h.m.nWidth, 200);
    EXPECT_GT(h.m.nHeight, 200);
    std::vector<uint32_t> pixels(60 * 40, 0xFFFFFF);
    const HDC dc = KbCreateSurfaceDC(pixels.data(), 60, 40, 240, 32, nullptr, 0);
    const RECT r{0, 0, 60, 40};
    EXPECT_EQ(K_PlayMetafile(dc, &h.m, &r), SUCCESS);
    int left = 60, right = 0;
    for (int i = 0; i < 60 * 40; ++i) {
        if ((pixels[static_cast<size_t>(i)] & 0xFFFFFF) == 0xFFFFFF) continue;
        left = std::min(left, i % 60);
        right = std::max(right, i % 60);
    }
    EXPECT_LT(left, 10);
    EXPECT_GT(right, 40);
    DeleteDC(dc);
}

TEST(MetafileLoad, MendsHeadersAndEnds) {
    const Bytes good = classic(window);
    Bytes wrongSize = good, behind = good, unended = classic(window, false);
    wrongSize[6] = 0xFF;
    behind.insert(behind.end(), 1000, 0xAB);
    const Bytes cut(good.begin(), good.end() - 11); // into the last drawing record
    Bytes expectedCut = classic({window[0], window[1]});
    for (const auto& [name, data, expected] : {std::tuple{"wrong size", wrongSize, good},
                                               {"bytes behind", behind, good},
                                               {"no end", unended, good},
                                               {"cut", cut, expectedCut}}) {
        SCOPED_TRACE(name);
        Holder h;
        ASSERT_EQ(K_LoadMetafileMemory(data.data(), &h.m, data.size(), 1), SUCCESS);
        Bytes bits(expected.size());
        ASSERT_EQ(K_MetafileToMemory(&h.m, nullptr, 0), static_cast<int>(bits.size()));
        K_MetafileToMemory(&h.m, bits.data(), static_cast<uint32_t>(bits.size()));
        EXPECT_EQ(Bytes(bits.begin() + 18, bits.end()), Bytes(expected.begin() + 18, expected.end()));
    }
    const Bytes open = enhanced(0, 0, 100, 100, false);
    Holder h;
    ASSERT_EQ(K_LoadMetafileMemory(open.data(), &h.m, open.size(), 1), SUCCESS);
    EXPECT_EQ(K_MetafileToMemory(&h.m, nullptr, 0), static_cast<int>(open.size() + 20));
}

TEST(MetafileLoad, RefusesWhatIsNone) {
    Bytes huge = classic(window);
    huge[20] = huge[21] = 0xFF; // the first record claims nearly 8 GiB
    Bytes zero = classic(window);
    zero[18] = 0;
    const Bytes frame = enhanced(0, 0, 9, 9);
    struct {
        const char* name;
        Bytes data;
        int code;
    } const rows[] = {
        {"nothing", {}, ERROR_FILE_FORMAT},
        {"text", Bytes(200, 'a'), ERROR_FILE_FORMAT},
        {"header alone", Bytes(huge.begin(), huge.begin() + 18), ERROR_FILE_READ},
        {"placeable header alone", placeable(0, 0, 9, 9, 96, {}), ERROR_FILE_READ},
        {"record beyond all data", huge, ERROR_FILE_READ},
        {"record of no length", zero, ERROR_FILE_READ},
        {"enhanced header cut", Bytes(frame.begin(), frame.begin() + 60), ERROR_FILE_READ},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        KernelMetafile m;
        m.nHandle = 77;
        EXPECT_EQ(K_LoadMetafileMemory(row.data.data() ? row.data.data() : huge.data(), &m, row.data.size(), 1), row.code);
        EXPECT_EQ(m.nHandle, 0u);
    }
    KernelMetafile m{};
    EXPECT_EQ(K_LoadMetafileMemory(nullptr, &m, 10, 1), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_LoadMetafileMemory(huge.data(), nullptr, 10, 1), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_LoadMetafileFile("no such file.wmf", &m), ERROR_FILE_OPEN);
    EXPECT_EQ(K_LoadMetafileFile(nullptr, &m), ERROR_INV_PARAMETER);
}

TEST(MetafileLoad, ReadsFiles) {
    const Bytes data = placeable(0, 0, 400, 300, 100, classic(window));
    const std::string path = testing::TempDir() + "kb_picture.wmf";
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    std::fwrite(data.data(), 1, data.size(), file);
    std::fclose(file);
    Holder h;
    EXPECT_EQ(K_LoadMetafileFile(path.c_str(), &h.m), SUCCESS);
    EXPECT_EQ(h.m.nRight, 400);
    std::remove(path.c_str());
}

TEST(MetafilePlay, RefusesWhatCannotPlay) {
    const Bytes data = classic(window);
    Holder h;
    ASSERT_EQ(K_LoadMetafileMemory(data.data(), &h.m, data.size(), 1), SUCCESS);
    uint32_t pixels[16];
    const HDC dc = KbCreateSurfaceDC(pixels, 4, 4, 16, 32, nullptr, 0);
    const RECT r{0, 0, 4, 4};
    KernelMetafile empty{};
    EXPECT_EQ(K_PlayMetafile(dc, &empty, &r), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_PlayMetafile(dc, nullptr, &r), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_PlayMetafile(dc, &h.m, nullptr), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_PlayMetafile(nullptr, &h.m, &r), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_PlayMetafile(dc, &h.m, &r), SUCCESS);
    DeleteDC(dc);
}

} // namespace
