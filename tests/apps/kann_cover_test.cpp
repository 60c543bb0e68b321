// What `redact` takes for covered is never less than what drawing touches: random redactions, drawn by render and by mask.
#include "tests/apps/redact_fixture.h"

#include "kbann/kbann.h"

#include <cstdio>
#include <random>

namespace {

struct Placed {
    AnnRect rect;
    double turn = 0, scaleX = 1, scaleY = 1, offsetX = 0, offsetY = 0;
    double groupScale = 0; // above 0: it lies in a group of that scale
};

class KannCoverTest : public RedactTest {
protected:
    static constexpr int across = 97, down = 61;

    void makeTree(const std::string& name, double wide, double tall, const Placed& placed) const {
        HANNOBJECT root = nullptr, parent = nullptr, object = nullptr;
        const AnnRect whole{0, 0, wide, tall};
        ASSERT_EQ(K_AnnCreateContainer(nullptr, &whole, TRUE, &root), SUCCESS);
        parent = root;
        if (placed.groupScale > 0) {
            const AnnRect group{wide / 7, tall / 9, wide / 2, tall / 2};
            ASSERT_EQ(K_AnnCreateItem(root, ANN_OBJECT_CONTAINER, TRUE, &parent), SUCCESS);
            ASSERT_EQ(K_AnnSetRect(parent, &group), SUCCESS);
            ASSERT_EQ(K_AnnSetScalarX(parent, placed.groupScale, 0), SUCCESS);
        }
        ASSERT_EQ(K_AnnCreateItem(parent, ANN_OBJECT_REDACT, TRUE, &object), SUCCESS);
        ASSERT_EQ(K_AnnSetRect(object, &placed.rect), SUCCESS);
        ASSERT_EQ(K_AnnSetName(object, FALSE, nullptr, nullptr, FALSE, 0), SUCCESS);
        ASSERT_EQ(K_AnnRotate(object, placed.turn, nullptr, 0), SUCCESS);
        ASSERT_EQ(K_AnnSetScalarX(object, placed.scaleX, 0), SUCCESS);
        ASSERT_EQ(K_AnnSetScalarY(object, placed.scaleY, 0), SUCCESS);
        ASSERT_EQ(K_AnnSetOffsetX(object, placed.offsetX, 0), SUCCESS);
        ASSERT_EQ(K_AnnSetOffsetY(object, placed.offsetY, 0), SUCCESS);
        ASSERT_EQ(K_AnnSave(path(name).c_str(), root, ANN_FMT_NATIVE, FALSE, nullptr), SUCCESS);
        K_AnnDestroy(root, 0);
    }

    // The one area of a report; false when nothing is covered.
    bool coveredArea(const std::string& store, RECT* area) const {
        const KannResult result = kann({"redact", "white.png", store, "--dry-run"});
        if (result.status == 1) return false;
        const std::size_t at = result.out.find("\"regions\":[[");
        return at != std::string::npos && std::sscanf(result.out.c_str() + at, "\"regions\":[[%d,%d,%d,%d]", &area->left,
                                                      &area->top, &area->right, &area->bottom) == 4;
    }

    // Pixels of the picture that aren't white, and how many of them lie outside of the area.
    struct Drawn {
        int inside = 0, outside = 0;
    };
    Drawn countDrawn(const std::string& name, const RECT& area) const {
        const std::vector<std::uint8_t> picture = pixels(name);
        Drawn drawn;
        EXPECT_EQ(picture.size(), static_cast<std::size_t>(across * down * 3)) << name;
        for (std::size_t i = 0; i + 2 < picture.size(); i += 3) {
            if ((picture[i] & picture[i + 1] & picture[i + 2]) == 255) continue;
            const int x = static_cast<int>(i) / 3 % across, y = static_cast<int>(i) / 3 / across;
            const bool holds = x >= area.left && x < area.right && y >= area.top && y < area.bottom;
            ++(holds ? drawn.inside : drawn.outside);
        }
        return drawn;
    }

    void expectCovered(const std::string& what) const {
        SCOPED_TRACE(what);
        RECT area{};
        const bool covers = coveredArea("one.kba", &area);
        done({"render", "white.png", "one.kba", "-o", "drawn.png"});
        Drawn drawn = countDrawn("drawn.png", area);
        EXPECT_EQ(drawn.outside, 0);
        EXPECT_TRUE(covers || drawn.inside == 0);
        if (kann({"mask", "white.png", "one.kba", "-o", "masked.png", "--store", "keep.kba"}).status != 0) return;
        drawn = countDrawn("masked.png", area);
        EXPECT_EQ(drawn.outside, 0);
        EXPECT_TRUE(covers);
    }
};

} // namespace

TEST_F(KannCoverTest, NeverLessThanWhatIsDrawn) {
    saveBitmap(path("white.png"), across, down, 24, KB_FORMAT_PNG, [](KernelBitmap& bitmap) {
        for (int y = 0; y < bitmap.Height; ++y) std::fill_n(K_WritableBitmapRow(&bitmap, y), bitmap.BytesPerLine, 255);
    });
    // Its left side lies less than a five-hundredth of a pixel before pixel 76.
    makeTree("one.kba", 1000, 777, {.rect = {783.492, 100, 1182.396, 300}});
    expectCovered("just before a pixel's edge");
    constexpr unsigned seed = 20;
    std::mt19937 generator(seed);
    const auto random = [&generator](double from, double to) {
        return from + (to - from) * static_cast<double>(generator()) / 4294967296.0;
    };
    constexpr double sizes[][2] = {{97, 61}, {200, 100}, {50, 31}, {1000, 777}};
    for (int i = 0; i < 60; ++i) {
        const double *size = sizes[generator() % 4], left = random(-0.1, 0.9) * size[0], top = random(-0.1, 0.9) * size[1];
        Placed placed{.rect = {left, top, left + random(0, 0.4) * size[0], top + random(0, 0.4) * size[1]}};
        if (i % 3 == 1) placed.turn = random(0, 360);
        if (i % 4 == 2) {
            placed.scaleX = random(0.3, 2) * (generator() % 2 ? 1 : -1);
            placed.scaleY = random(0.3, 2);
            placed.offsetX = random(-9, 9);
            placed.offsetY = random(-9, 9);
        }
        if (i % 5 == 3) placed.groupScale = random(0.5, 2);
        makeTree("one.kba", size[0], size[1], placed);
        expectCovered("seed " + std::to_string(seed) + ", tree " + std::to_string(i));
    }
}
