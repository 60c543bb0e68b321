// Failing memory: each allocation of every exported function in turn. The code is the right one, nothing is lost but what is
// told to be, nothing leaks (the sanitizer build sees to that), and the next call works.
#include "tests/store/exported_calls.h"

#include "platform/gdi.h"
#include "store/geometry.h"

#include <cstdlib>
#include <new>

namespace {

thread_local int allocationsLeft = -1; // -1: never fails

bool mayAllocate() {
    if (allocationsLeft < 0) return true;
    if (allocationsLeft == 0) return false;
    --allocationsLeft;
    return true;
}

BOOL hook(SIZE_T, void*) { return mayAllocate(); }

} // namespace

// Both sides stand here, so the pairs do match; the compiler sees one of them inlined.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

// The engine's own use of operator new fails too; gtest allocates only outside the calls under test.
void* operator new(size_t size) {
    if (!mayAllocate()) throw std::bad_alloc();
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return mayAllocate() ? std::malloc(size ? size : 1) : nullptr;
}
void* operator new[](size_t size) { return operator new(size); }
void* operator new[](size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }

using namespace kbann;
using namespace kbann::test;

namespace {

struct Scene {
    Tree tree;
    HANNOBJECT note = makeItem(tree.root, ANN_OBJECT_NOTE), box = makeItem(tree.root, ANN_OBJECT_CONTAINER),
               stamp = makeItem(box, ANN_OBJECT_STAMP), polygon = makeItem(tree.root, ANN_OBJECT_POLYGON),
               loose = make(ANN_OBJECT_PUSHPIN), ruler = makeItem(tree.root, ANN_OBJECT_RULER),
               protractor = makeItem(tree.root, ANN_OBJECT_PROTRACTOR);
    KernelBitmap picture{};
    HGLOBAL saved = nullptr;
    uint32_t savedSize = 0;
    HANNOBJECT made = nullptr;
    std::vector<AnnPoint> points = std::vector<AnnPoint>(50, AnnPoint{3, 4});

    Scene() {
        K_AnnSetText(note, "a text of a note", 0);
        K_AnnSetName(note, TRUE, "name", nullptr, -1, 0);
        K_AnnSetPoints(polygon, points.data(), 50);
        constexpr AnnPoint arms[] = {{5, 5}, {15, 15}, {15, 5}};
        K_AnnSetPoints(ruler, arms, 2);
        K_AnnSetPoints(protractor, arms, 3);
        K_CreateBitmap(&picture, 1, 20, 20, 24, KB_ORDER_BGR, nullptr, 1, 0, 0);
        K_AnnSetBitmap(stamp, &picture, 0);
        K_AnnSaveMemory(tree.root, ANN_FMT_NATIVE, FALSE, &saved, &savedSize, nullptr);
    }
    ~Scene() {
        if (annFromHandle(loose))
            annFreeTree(annTop(annFromHandle(loose)) == annFromHandle(tree.root) ? annFromHandle(tree.root)
                                                                                 : annFromHandle(loose));
        if (annFromHandle(made)) annFreeTree(annTop(annFromHandle(made)));
        K_FreeBitmap(&picture);
        GlobalFree(saved);
    }
};

struct Call {
    const char* name;
    int (*run)(Scene&);
    bool drawsOnly = false; // reports nothing: what can't be drawn is absent
};

const Call calls[] = {
    {"create", [](Scene& s) { return K_AnnCreate(ANN_OBJECT_PUSHPIN, &s.made); }},
    {"create automation", [](Scene& s) { return K_AnnCreate(ANN_OBJECT_AUTOMATION, &s.made); }},
    {"create container",
     [](Scene& s) {
         const AnnRect r{0, 0, 9, 9};
         return K_AnnCreateContainer(nullptr, &r, TRUE, &s.made);
     }},
    {"create item",
     [](Scene& s) {
         HANNOBJECT item = nullptr;
         return K_AnnCreateItem(s.tree.root, ANN_OBJECT_RULER, TRUE, &item);
     }},
    {"copy", [](Scene& s) { return K_AnnCopy(s.tree.root, &s.made); }},
    {"insert", [](Scene& s) { return K_AnnInsert(s.box, s.note, FALSE); }},
    {"group", [](Scene& s) { return K_AnnGroup(s.tree.root, 0, nullptr); }},
    {"ungroup", [](Scene& s) { return K_AnnUngroup(s.tree.root, 0, nullptr); }},
    {"text", [](Scene& s) { return K_AnnSetText(s.note, "another text that is long enough", 0); }},
    {"font", [](Scene& s) { return K_AnnSetFontName(s.note, "DejaVu Sans", 0); }},
    {"name", [](Scene& s) { return K_AnnSetName(s.note, TRUE, "another name", nullptr, 1, 0); }},
    {"user", [](Scene& s) { return K_AnnSetUser(s.tree.root, nullptr, "ann", ANN_FLAG_RECURSE); }},
    {"bitmap", [](Scene& s) { return K_AnnSetBitmap(s.stamp, &s.picture, 0); }},
    {"transparent", [](Scene& s) { return K_AnnSetTransparentColor(s.stamp, 0, 0); }, true},
    {"points", [](Scene& s) { return K_AnnSetPoints(s.polygon, s.points.data(), 40); }},
    {"rect", [](Scene& s) { return K_AnnSetRect(s.note, &record(s.box).annBounds); }},
    {"rotate", [](Scene& s) { return K_AnnRotate(s.tree.root, 30, nullptr, ANN_FLAG_RECURSE); }},
    {"unit", [](Scene& s) { return K_AnnSetUnit(s.tree.root, ANN_UNIT_INCHES, "Zoll", 200, ANN_FLAG_RECURSE); }},
    {"protractor",
     [](Scene& s) {
         return K_AnnSetProtractorOptions(s.tree.root, FALSE, ANN_ANGLE_RADIANS, "r", 200, 10, ANN_FLAG_RECURSE);
     }},
    {"lock", [](Scene& s) { return K_AnnLock(s.tree.root, "a key", ANN_FLAG_RECURSE); }},
    {"save", [](Scene& s) { return K_AnnSaveMemory(s.tree.root, ANN_FMT_NATIVE, FALSE, &s.saved, &s.savedSize, nullptr); }},
    {"load",
     [](Scene& s) {
         const void* bytes = GlobalLock(s.saved);
         const int code = K_AnnLoadMemory(bytes, s.savedSize, &s.made, nullptr);
         GlobalUnlock(s.saved);
         return code;
     }},
    {"draw",
     [](Scene& s) {
         const HDC dc = K_BitmapDC(&s.picture);
         if (!dc) return int{ERROR_NO_MEMORY};
         const int code = K_AnnDraw(dc, nullptr, s.tree.root);
         K_ReleaseBitmapDC(dc);
         return code;
     },
     true},
};

TEST(FailingMemory, EachAllocationOfEachFunction) {
    KbSetAllocationHook(hook, nullptr);
    for (const Call& call : calls) {
        SCOPED_TRACE(call.name);
        bool done = false;
        for (int n = 0; n < 2000 && !done; ++n) {
            Scene s;
            allocationsLeft = n;
            const int code = call.run(s);
            done = allocationsLeft > 0; // some were left over: all have been tried
            allocationsLeft = -1;
            EXPECT_TRUE(code == SUCCESS || code == ERROR_NO_MEMORY) << "allocation " << n << " gave " << code;
            if (done) {
                EXPECT_EQ(code, SUCCESS);
            }
            // Whatever failed, the tree is sound and the next call works.
            HANNOBJECT copy = nullptr;
            EXPECT_EQ(K_AnnCopy(s.tree.root, &copy), SUCCESS);
            EXPECT_EQ(K_AnnDestroy(copy, 0), SUCCESS);
        }
        EXPECT_TRUE(done);
    }
    KbSetAllocationHook(nullptr, nullptr);
}

// An object of a type, in a tree and with a name and a text, that goes with the test.
struct Sample {
    explicit Sample(uint32_t type) {
        object = makeItem(tree.root, type);
        K_AnnSetName(object, TRUE, "a name that is shown", nullptr, -1, 0);
        K_AnnSetText(object, "a text", 0);
    }
    Tree tree;
    HANNOBJECT object = nullptr;
    ~Sample() {
        if (annFromHandle(object) && annTop(annFromHandle(object)) != annFromHandle(tree.root))
            annFreeTree(annFromHandle(object));
    }
};

// Runs a call with the first allocation refused, then the second, until none is: each time it has to give what it gives
// with memory enough, or say that memory failed.
template <class Call> void refuseEach(const char* name, uint32_t type, const Call& call) {
    SCOPED_TRACE(std::string(name) + " on type " + std::to_string(type));
    int expected = 0;
    {
        Sample sample(type);
        expected = call(sample.object);
    }
    for (int n = 0, refused = 1; refused && n < 500; ++n) {
        Sample sample(type);
        allocationsLeft = n;
        const int code = call(sample.object);
        refused = allocationsLeft == 0;
        allocationsLeft = -1;
        // A block that can't grow cuts the write short.
        const bool shortWrite = code == ERROR_FILE_WRITE && std::string_view(name).starts_with("K_AnnSave");
        EXPECT_TRUE(code == expected || code == ERROR_NO_MEMORY || shortWrite) << "allocation " << n << " gave " << code;
    }
}

TEST(FailingMemory, EveryExportedFunction) {
    KbSetAllocationHook(hook, nullptr);
    for (const Getter& row : getters)
        refuseEach(row.name, row.type, [&](HANNOBJECT object) {
            Out out{};
            const int code = row.get(object, &out);
            if (code == SUCCESS && std::string_view(row.name) == "K_AnnCopy") annFreeTree(annFromHandle(out.handle));
            return code;
        });
    for (const Action& row : actions)
        for (const uint32_t type : {ANN_OBJECT_CONTAINER, ANN_OBJECT_NOTE, ANN_OBJECT_POLYGON, ANN_OBJECT_PUSHPIN,
                                    ANN_OBJECT_AUTOMATION, ANN_OBJECT_PROTRACTOR})
            refuseEach(row.name, type, [&](HANNOBJECT object) { return row.run(object); });
    KbSetAllocationHook(nullptr, nullptr);
}

// What a failure takes away, and what it leaves.
TEST(FailingMemory, ToldLosses) {
    KbSetAllocationHook(hook, nullptr);
    struct {
        const char* name;
        int (*run)(Scene&);
        bool (*lost)(const Scene&);
    } rows[] = {{"a text is gone", [](Scene& s) { return K_AnnSetText(s.note, "other", 0); },
                 [](const Scene& s) { return !record(s.note).pszText; }},
                {"points are gone", [](Scene& s) { return K_AnnSetPoints(s.polygon, s.points.data(), 40); },
                 [](const Scene& s) { return record(s.polygon).nPoints() == 0; }}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Scene s;
        allocationsLeft = 0;
        const int code = row.run(s);
        allocationsLeft = -1;
        EXPECT_EQ(code, ERROR_NO_MEMORY);
        EXPECT_TRUE(row.lost(s));
    }
    KbSetAllocationHook(nullptr, nullptr);
}

// A key that can't be copied locks nothing; a measure that can't be written keeps number and text.
TEST(FailingMemory, LocksAndMeasures) {
    KbSetAllocationHook(hook, nullptr);
    Scene s;
    allocationsLeft = 0;
    EXPECT_EQ(K_AnnLock(s.note, "key", ANN_FLAG_NOINVALIDATE), SUCCESS);
    allocationsLeft = -1;
    EXPECT_FALSE(record(s.note).pszLockKey);

    const MeasurePart& part = *record(s.ruler).pMeasure;
    const double distance = part.dDistance;
    const std::string before(part.pszDistance.view());
    record(s.ruler).pPoints[1] = {900, 900};
    allocationsLeft = 0;
    annUpdate(record(s.ruler), Repaint::none);
    allocationsLeft = -1;
    EXPECT_EQ(part.dDistance, distance);
    EXPECT_EQ(part.pszDistance.view(), before);
    annUpdate(record(s.ruler), Repaint::none);
    EXPECT_NE(part.dDistance, distance);
    KbSetAllocationHook(nullptr, nullptr);
}

// A hit test fails for no want of memory: without its index it walks.
TEST(FailingMemory, HitsNeedNone) {
    KbSetAllocationHook(hook, nullptr);
    for (int n = 0; n < 12; ++n) {
        const Tree tree;
        for (int i = 0; i < 1500; ++i) makeItem(tree.root, ANN_OBJECT_RECT, {900, 900, 950, 950});
        for (int i = 0; i < 3; ++i) {
            POINT point{5, 5};
            uint32_t result = 0;
            HANNOBJECT found = nullptr;
            allocationsLeft = n;
            const int code = K_AnnHitTest(tree.root, &point, &result, &found);
            allocationsLeft = -1;
            EXPECT_EQ(code, SUCCESS) << n;
            EXPECT_EQ(found, tree.root) << n;
        }
    }
    KbSetAllocationHook(nullptr, nullptr);
}

} // namespace
