// The drawn pictures: where they lie, what they look like, and that masks cover their glyphs.
#include "platform/sys.h"
#include "resources/tools/glyphs.h"
#include "resources/tools/stamps.h"
#include "tests/render/golden.h"
#include "tests/resources/support.h"

#include <algorithm>
#include <cstring>
#include <map>

using namespace kbann::pictures;
using namespace kbann::test;

namespace {

constexpr COLORREF white = 0xFFFFFF;

TEST(Stamps, LieInVariousPlaces) {
    const auto stamps = stampPictures();
    ASSERT_EQ(stamps.size(), 26u);
    const RECT& first = stamps[0].box;
    EXPECT_EQ(first.left, -2104);
    EXPECT_EQ(first.top, 1397);
    EXPECT_EQ(first.right, 1580);
    EXPECT_EQ(first.bottom, 2114);
    std::map<std::pair<LONG, LONG>, int> places;
    for (const Picture& stamp : stamps) {
        SCOPED_TRACE(stamp.name);
        const RECT drawn = wholeBox(boundsOf(stamp.layers)); // nothing sticks out, no room is wasted
        EXPECT_EQ(0, std::memcmp(&drawn, &stamp.box, sizeof drawn));
        EXPECT_EQ(++places[std::pair(stamp.box.left, stamp.box.top)], 1);
    }
}

// At a tenth of an inch a letter the words still have to be read: their strokes leave both ink and paper, and no two
// stamps look alike.
TEST(Stamps, DifferAtHundredPixels) {
    const auto stamps = stampPictures();
    std::vector<std::vector<bool>> inked;
    for (const Picture& stamp : stamps) {
        SCOPED_TRACE(stamp.name);
        Sheet sheet(100, 40);
        sheet.draw(stamp, 0, 0, 100, 40);
        std::vector<bool> ink;
        for (int y = 0; y < 40; ++y)
            for (int x = 0; x < 100; ++x) ink.push_back(sheet.at(x, y) != white);
        const auto count = std::ranges::count(ink, true);
        EXPECT_GT(count, 800);
        EXPECT_LT(count, 3200);
        for (const auto& other : inked) {
            int differing = 0;
            for (size_t i = 0; i < ink.size(); ++i) differing += ink[i] != other[i];
            EXPECT_GT(differing, 400);
        }
        inked.push_back(std::move(ink));
    }
}

TEST(Glyphs, InactiveAudioIsTheLeftPartOfTheActiveOne) {
    const auto glyphs = glyphPictures();
    const RECT &active = glyphs[0].box, &inactive = glyphs[1].box;
    EXPECT_EQ(active.right - active.left, 14982);
    EXPECT_EQ(inactive.right - inactive.left, 7813);
    EXPECT_EQ(active.bottom - active.top, inactive.bottom - inactive.top);
    Sheet on(1498, 960), off(1498, 960);
    on.draw(glyphs[0], 0, 0, 1498, 960);
    off.draw(glyphs[1], 0, 0, 781, 960);
    int left = 0, right = 0, differing = 0;
    for (int y = 0; y < 960; y += 3) {
        for (int x = 0; x < 1498; x += 3) {
            (x < 781 ? left : right) += on.at(x, y) != white;
            if (x < 781) differing += on.at(x, y) != off.at(x, y);
        }
    }
    EXPECT_GT(left, 10000);
    EXPECT_GT(right, 5000);
    EXPECT_LT(differing, 400); // edges fall on other pixels
}

TEST(Glyphs, MasksCoverThem) {
    const auto glyphs = glyphPictures();
    const struct {
        size_t mask;
        std::vector<size_t> covered;
    } rows[] = {{2, {1}}, {5, {3, 4}}};
    for (const auto& row : rows) {
        const Picture& picture = glyphs[row.mask];
        SCOPED_TRACE(picture.name);
        const int width = picture.box.right, height = picture.box.bottom;
        Sheet mask(width, height);
        mask.draw(picture, 0, 0, width, height);
        int hits = 0;
        for (const size_t covered : row.covered) {
            Sheet glyph(width, height);
            glyph.draw(glyphs[covered], 0, 0, width, height);
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    const COLORREF color = mask.at(x, y);
                    ASSERT_TRUE(color == 0 || color == white);
                    hits += color == 0;
                    if (glyph.at(x, y) != white) {
                        ASSERT_EQ(color, 0u) << x << ' ' << y;
                    }
                }
            }
        }
        EXPECT_LT(hits, width * height * static_cast<int>(row.covered.size()) * 8 / 10); // corners are free
    }
}

void compareSheet(const std::vector<Picture>& all, int columns, int cellWidth, int cellHeight, const char* name) {
    constexpr int gap = 10;
    const int rows = (static_cast<int>(all.size()) + columns - 1) / columns;
    Sheet sheet(columns * (cellWidth + gap) + gap, rows * (cellHeight + gap) + gap);
    for (int i = 0; i < static_cast<int>(all.size()); ++i) {
        const RECT& box = all[static_cast<size_t>(i)].box;
        const int high = MulDiv(cellWidth, box.bottom - box.top, box.right - box.left);
        const int width = high > cellHeight ? MulDiv(cellHeight, box.right - box.left, box.bottom - box.top) : cellWidth;
        const int height = std::min(high, cellHeight);
        sheet.draw(all[static_cast<size_t>(i)], gap + i % columns * (cellWidth + gap) + (cellWidth - width) / 2,
                   gap + i / columns * (cellHeight + gap) + (cellHeight - height) / 2, width, height);
    }
    expectGolden(sheet.bitmap, name);
}

TEST(Pictures, LookAsTheyDid) {
    compareSheet(stampPictures(), 5, 200, 110, "stamps");
    compareSheet(stampPictures(), 9, 100, 56, "stamps_small");
    compareSheet(glyphPictures(), 4, 200, 200, "glyphs");
}

} // namespace
