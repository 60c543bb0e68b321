// Comparing with golden pictures.
#include "tests/render/golden.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace kbann::test {
namespace {

int at(const KernelBitmap& b, int x, int y) {
    return x < b.Width && y < b.Height ? static_cast<int>(K_GetBitmapPixel(&b, y, x)) : -1;
}

// Expected, difference, actual, side by side; what is the same shows faintly in the middle.
void writePanels(const KernelBitmap& expected, const KernelBitmap& actual, const std::string& path) {
    const int width = std::max(expected.Width, actual.Width), height = std::max(expected.Height, actual.Height);
    KernelBitmap panels{};
    ASSERT_EQ(K_CreateBitmap(&panels, 1, 3 * width + 8, height, 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), SUCCESS);
    for (int y = 0; y < height; ++y) {
        uint8_t* row = K_WritableBitmapRow(&panels, y);
        const auto put = [row](int x, int color) {
            for (int i = 0; i < 3; ++i) row[3 * x + i] = static_cast<uint8_t>(color >> (16 - 8 * i));
        };
        for (int x = 0; x < width; ++x) {
            const int e = at(expected, x, y), a = at(actual, x, y);
            put(x, e);
            put(width + 4 + x, e == a ? 0xC0C0C0 | (a & 0x3F3F3F) : 0x0000FF);
            put(2 * width + 8 + x, a);
        }
    }
    K_SaveFile(path.c_str(), &panels, KB_FORMAT_PNG, nullptr);
    K_FreeBitmap(&panels);
}

int countDifferences(const KernelBitmap& expected, const KernelBitmap& actual) {
    if (expected.Width != actual.Width || expected.Height != actual.Height) return INT32_MAX;
    int count = 0;
    for (int y = 0; y < actual.Height; ++y)
        for (int x = 0; x < actual.Width; ++x) count += at(expected, x, y) != at(actual, x, y);
    return count;
}

} // namespace

void expectGolden(const KernelBitmap& actual, const std::string& name) {
    const std::string path = std::string(KB_SOURCE_DIR) + "/tests/golden/" + name + ".png";
    const std::string folder = std::string(KB_BINARY_DIR) + "/golden";
    std::filesystem::create_directories(folder);
    KernelBitmap expected{};
    const int loaded = K_LoadFile(path.c_str(), &expected, 0, 1, nullptr, nullptr);
    const int different = loaded == SUCCESS ? countDifferences(expected, actual) : INT32_MAX;
    if (different) {
        const char* rewrite = std::getenv("KB_WRITE_GOLDEN");
        if (rewrite && !std::strcmp(rewrite, "1")) {
            EXPECT_EQ(K_SaveFile(path.c_str(), &actual, KB_FORMAT_PNG, nullptr), SUCCESS);
            ADD_FAILURE() << name << ": golden picture rewritten; look at it before you commit it";
        } else if (loaded != SUCCESS) {
            K_SaveFile((folder + "/" + name + ".png").c_str(), &actual, KB_FORMAT_PNG, nullptr);
            ADD_FAILURE() << name << ": could not compare, code " << loaded << "; the drawing is in " << folder;
        } else {
            writePanels(expected, actual, folder + "/" + name + ".png");
            ADD_FAILURE() << name << ": " << different << " pixels differ; see " << folder << "/" << name << ".png";
        }
    }
    K_FreeBitmap(&expected);
}

} // namespace kbann::test
