// Trees as placeable metafiles: the header by its table, the picture against drawing, writes that fail.
#include "persist/metafile_form.h"
#include "tests/persist/support.h"
#include "tests/render/canvas.h"

#include <cstring>

using namespace kbann;
using namespace kbann::test;

namespace {

constexpr size_t headerBytes = 22;

uint16_t wordAt(std::string_view data, size_t at) {
    return static_cast<uint16_t>(static_cast<uint8_t>(data[at]) | static_cast<uint8_t>(data[at + 1]) << 8);
}

std::string picture(HANNOBJECT object, bool bSelected = false) {
    HGLOBAL block = nullptr;
    uint32_t size = 0;
    EXPECT_EQ(K_AnnSaveMemory(object, ANN_FMT_WMF, bSelected, &block, &size, nullptr), SUCCESS);
    return block ? takeBlock(block, size) : std::string();
}

// Plays the bits as they stand, without the frame of the header.
void play(std::string_view data, const Canvas& canvas) {
    const HMETAFILE metafile = SetMetaFileBitsEx(static_cast<UINT>(data.size() - headerBytes),
                                                 reinterpret_cast<const BYTE*>(data.data()) + headerBytes);
    ASSERT_TRUE(metafile);
    EXPECT_TRUE(PlayMetaFile(canvas.dc, metafile));
    DeleteMetaFile(metafile);
}

struct Scene {
    HANNOBJECT root = makeRoot({10, 20, 210, 140});
    HANNOBJECT rect, ellipse;
    Scene() {
        rect = makeItem(root, ANN_OBJECT_RECT, {30, 40, 90, 100});
        K_AnnSetFillMode(rect, ANN_FILLMODE_OPAQUE, 0);
        K_AnnSetBackColor(rect, 0x3060F0, 0);
        K_AnnSetLineWidth(rect, 5, 0);
        ellipse = makeItem(root, ANN_OBJECT_ELLIPSE, {80, 60, 180, 120});
        K_AnnSetFillMode(ellipse, ANN_FILLMODE_TRANSLUCENT, 0);
        withPoints(root, ANN_OBJECT_FREEHAND, {{20, 130}, {60, 60}, {190, 110}});
    }
    ~Scene() { K_AnnDestroy(root, 0); }
};

TEST(MetafileForm, HeaderTellsTheWholeTree) {
    const Scene s;
    for (const HANNOBJECT object : {s.root, s.rect}) {
        const std::string data = picture(object);
        ASSERT_GT(data.size(), headerBytes);
        const uint16_t expected[] = {0xCDD7, 0x9AC6, 0, 10, 20, 210, 140, 96, 0, 0};
        uint16_t sum = 0;
        for (size_t i = 0; i < std::size(expected); ++i) {
            EXPECT_EQ(wordAt(data, 2 * i), expected[i]) << i;
            sum ^= expected[i];
        }
        EXPECT_EQ(wordAt(data, 20), sum);
        EXPECT_EQ(wordAt(data, headerBytes + 6) | wordAt(data, headerBytes + 8) << 16,
                  static_cast<int>(data.size() - headerBytes) / 2)
            << "the bits run to the end";
        KernelMetafile loaded{};
        EXPECT_EQ(K_LoadMetafileMemory(data.data(), &loaded, data.size(), 0), SUCCESS);
        K_FreeMetafile(&loaded);
    }
}

// What is played is what is drawn, each object where it stands in the tree.
TEST(MetafileForm, ShowsWhatDrawingShows) {
    const Scene s;
    const RECT target{0, 0, 200, 120};
    for (const HANNOBJECT object : {s.root, s.rect}) {
        Canvas played(200, 120), drawn(200, 120);
        play(picture(object), played);
        RECT place = target;
        if (object != s.root) {
            const RECT& bounds = record(object).rcBounds;
            place = {bounds.left - 10, bounds.top - 20, bounds.right - 10, bounds.bottom - 20};
        }
        EXPECT_EQ(K_AnnPrint(drawn.dc, &place, object), SUCCESS);
        EXPECT_GT(drawn.countOther(0xFFFFFF), 1000);
        int differences = 0;
        for (int y = 0; y < 120; ++y)
            for (int x = 0; x < 200; ++x) differences += played.at(x, y) != drawn.at(x, y);
        EXPECT_EQ(differences, 0);
    }
}

TEST(MetafileForm, SelectionMayBeEmpty) {
    const Scene s;
    Canvas none(200, 120), one(200, 120);
    const std::string empty = picture(s.root, true);
    EXPECT_EQ(wordAt(empty, 10), 210);
    play(empty, none);
    EXPECT_EQ(none.countOther(0xFFFFFF), 0);
    K_AnnSetSelected(s.rect, TRUE, 0);
    play(picture(s.root, true), one);
    EXPECT_NE(one.at(40, 40), 0xFFFFFFu);
    EXPECT_EQ(one.at(130, 70), 0xFFFFFFu) << "the ellipse isn't selected";
}

TEST(MetafileForm, SidesKeepTheirLowBits) {
    const HANNOBJECT root = makeRoot({-70'000, 5, 70'000, 100'000});
    const std::string data = picture(root);
    const RECT& bounds = record(root).rcBounds;
    EXPECT_EQ(bounds.right, 70'000);
    EXPECT_EQ(wordAt(data, 6), static_cast<uint16_t>(-70'000));
    EXPECT_EQ(wordAt(data, 10), 70'000 - 65'536);
    EXPECT_EQ(wordAt(data, 12), 100'000 - 65'536);
    K_AnnDestroy(root, 0);
}

TEST(MetafileForm, IsCutAndFailsWhereWritesFail) {
    const Scene s;
    const std::string data = picture(s.root);
    TextStream longer(std::string(data.size() + 500, 'x'));
    EXPECT_EQ(annSaveWmf(longer.stream, record(s.root), {}), SUCCESS);
    EXPECT_EQ(longer.text(), data) << "nothing of what was there is left";
    for (const int writes : {0, 1}) {
        TextStream target;
        FailingStream failing(target.stream, writes);
        EXPECT_EQ(annSaveWmf(failing, record(s.root), {}), ERROR_FILE_WRITE) << writes;
        target.stream.pBlock = failing.pBlock; // its block may have grown
    }
    HANNOBJECT loaded = s.root;
    EXPECT_NE(K_AnnLoadMemory(data.data(), static_cast<uint32_t>(data.size()), &loaded, nullptr), SUCCESS);
    EXPECT_EQ(loaded, s.root) << "pictures aren't read back";
}

} // namespace
