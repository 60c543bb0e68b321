// Process services: movable memory, atoms, modules with resources, arithmetic, locale, debug output, failing allocations.
#include "platform/sys.h"

#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace {

uint8_t* bytesOf(HGLOBAL hMem) {
    auto* bytes = static_cast<uint8_t*>(GlobalLock(hMem));
    GlobalUnlock(hMem);
    return bytes;
}

// Counts the allocations and refuses the one numbered `refused` (from 1).
struct Refusal {
    explicit Refusal(int n = 0) : refused(n) {
        KbSetAllocationHook(
            [](SIZE_T, void* user) -> BOOL {
                auto* self = static_cast<Refusal*>(user);
                return ++self->asked != self->refused;
            },
            this);
    }
    ~Refusal() { KbSetAllocationHook(nullptr, nullptr); }
    int refused, asked = 0;
};

TEST(SysMemory, SizesAndContentsThroughReallocation) {
    HGLOBAL h = GlobalAlloc(GHND, 0);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(GlobalSize(h), 0u);
    EXPECT_NE(bytesOf(h), nullptr) << "an empty block has an address too";
    size_t old = 0;
    for (const size_t size : {1u, 100u, 70u, 4000u, 90u, 91u, 100'000u, 0u, 33u}) {
        SCOPED_TRACE(size);
        ASSERT_EQ(GlobalReAlloc(h, size, GHND), h);
        EXPECT_EQ(GlobalSize(h), size);
        uint8_t* bytes = bytesOf(h);
        for (size_t i = 0; i < size; ++i) ASSERT_EQ(bytes[i], i < old ? static_cast<uint8_t>(i * 31 + 1) : 0) << "at " << i;
        for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 31 + 1);
        old = size;
    }
    EXPECT_EQ(GlobalReAlloc(h, SIZE_MAX - 3, GHND), nullptr);
    EXPECT_EQ(GlobalSize(h), 33u) << "a refused change changes nothing";
    EXPECT_EQ(bytesOf(h)[32], static_cast<uint8_t>(32 * 31 + 1));
    EXPECT_EQ(GlobalAlloc(GHND, SIZE_MAX - 3), nullptr);
    EXPECT_EQ(GlobalFree(h), nullptr);
}

TEST(SysMemory, SmallStepsGrowAmortised) {
    const HGLOBAL h = GlobalAlloc(GMEM_MOVEABLE, 16);
    const Refusal counter;
    for (size_t size = 17; size <= 200'000; size += 7) ASSERT_EQ(GlobalReAlloc(h, size, GMEM_MOVEABLE), h);
    EXPECT_LT(counter.asked, 40) << "28,000 steps";
    GlobalFree(h);
}

TEST(SysMemory, LocksCountAndDeadHandlesAreRefused) {
    const HGLOBAL h = GlobalAlloc(GHND, 24);
    EXPECT_EQ(GlobalFlags(h), 0u);
    void* bytes = GlobalLock(h);
    EXPECT_EQ(GlobalLock(h), bytes);
    EXPECT_EQ(GlobalFlags(h), 2u);
    EXPECT_TRUE(GlobalUnlock(h));
    EXPECT_FALSE(GlobalUnlock(h));
    EXPECT_FALSE(GlobalUnlock(h)) << "no lock is left";
    EXPECT_EQ(GlobalFlags(h), 0u) << "the count doesn't pass below nothing";
    EXPECT_EQ(GlobalHandle(bytes), h);
    EXPECT_EQ(GlobalHandle(nullptr), nullptr);
    EXPECT_EQ(GlobalHandle(static_cast<uint8_t*>(bytes) + 1), nullptr);
    EXPECT_EQ(GlobalHandle(static_cast<uint8_t*>(bytes) + 16), nullptr) << "the bytes in front of it name no block";
    for (int i = 0; i < 300; ++i) GlobalLock(h);
    EXPECT_EQ(GlobalFlags(h), 0xFFu);
    EXPECT_EQ(GlobalFree(h), nullptr) << "locked or not";

    for (const HGLOBAL dead : {h, reinterpret_cast<HGLOBAL>(uintptr_t{0xFFFFFFFF}), reinterpret_cast<HGLOBAL>(uintptr_t{7}),
                               reinterpret_cast<HGLOBAL>(reinterpret_cast<uintptr_t>(h) | uintptr_t{1} << 40)}) {
        SCOPED_TRACE(dead);
        SetLastError(0);
        EXPECT_EQ(GlobalLock(dead), nullptr);
        EXPECT_EQ(GetLastError(), ERROR_BAD_HANDLE);
        EXPECT_FALSE(GlobalUnlock(dead));
        EXPECT_EQ(GlobalReAlloc(dead, 5, 0), nullptr);
        EXPECT_EQ(GlobalSize(dead), 0u);
        EXPECT_EQ(GlobalFlags(dead), GMEM_INVALID_HANDLE);
        EXPECT_EQ(GlobalFree(dead), dead);
    }
    EXPECT_EQ(GlobalFree(nullptr), nullptr);
}

TEST(SysMemory, EachRefusedAllocationFailsAlone) {
    int refused = 1;
    for (bool done = false; !done; ++refused) {
        ASSERT_LT(refused, 10);
        Refusal refusal(refused);
        SetLastError(0);
        const HGLOBAL h = GlobalAlloc(GHND, 100);
        done = refusal.asked < refused;
        EXPECT_EQ(h != nullptr, done);
        if (!h) {
            EXPECT_EQ(GetLastError(), ERROR_OUT_OF_MEMORY);
        }
        GlobalFree(h);
    }
    EXPECT_GT(refused, 2) << "an allocation was refused";
    const HGLOBAL h = GlobalAlloc(GMEM_MOVEABLE, 10);
    std::memset(bytesOf(h), 9, 10);
    {
        const Refusal refusal(1);
        EXPECT_EQ(GlobalReAlloc(h, 5000, GMEM_MOVEABLE), nullptr);
    }
    EXPECT_EQ(GlobalSize(h), 10u);
    EXPECT_EQ(bytesOf(h)[9], 9);
    ASSERT_EQ(GlobalReAlloc(h, 9000, GMEM_MOVEABLE), h);
    {
        const Refusal refusal(1);
        EXPECT_EQ(GlobalReAlloc(h, 4, GMEM_MOVEABLE), h) << "what can't be made smaller stays as large as it is";
    }
    EXPECT_EQ(GlobalSize(h), 4u);
    GlobalFree(h);
    EXPECT_EQ(KbAllocZero(SIZE_MAX / 2, 3), nullptr) << "the product doesn't fit";
}

TEST(SysAtoms, TextsWithoutCaseCountedByUse) {
    const ATOM atom = AddAtomA("An Atom Of This Test");
    ASSERT_GE(atom, 0xC000);
    EXPECT_EQ(AddAtomA("AN ATOM of this test"), atom);
    EXPECT_EQ(FindAtomA("an atom of this test"), atom);
    const ATOM other = AddAtomA("an atom of this tes");
    EXPECT_NE(other, atom);
    const struct {
        int size;
        const char* text;
    } rows[] = {{21, "An Atom Of This Test"}, {20, "An Atom Of This Tes"}, {3, "An"}, {1, ""}};
    for (const auto& row : rows) {
        char name[32];
        std::memset(name, '#', sizeof name);
        EXPECT_EQ(GetAtomNameA(atom, name, row.size), std::strlen(row.text));
        EXPECT_STREQ(name, row.text);
        EXPECT_EQ(name[row.size], '#') << "nothing behind the buffer's end";
    }
    char name[4];
    EXPECT_EQ(GetAtomNameA(atom, name, 0), 0u);
    EXPECT_EQ(GetAtomNameA(atom, nullptr, 4), 0u);
    EXPECT_EQ(DeleteAtom(atom), 0);
    EXPECT_EQ(FindAtomA("an atom of this test"), atom) << "one use is left";
    EXPECT_EQ(DeleteAtom(atom), 0);
    EXPECT_EQ(FindAtomA("an atom of this test"), 0);
    EXPECT_EQ(DeleteAtom(atom), atom) << "no atom any more";
    EXPECT_EQ(GetAtomNameA(atom, name, 4), 0u);
    EXPECT_EQ(DeleteAtom(other), 0);
    EXPECT_EQ(AddAtomA(nullptr), 0);
    EXPECT_EQ(AddAtomA(""), 0);
    EXPECT_EQ(AddAtomA(std::string(256, 'x').c_str()), 0);
    const ATOM longest = AddAtomA(std::string(255, 'x').c_str());
    EXPECT_NE(longest, 0);
    DeleteAtom(longest);
}

TEST(SysModules, ResourcesByNumberAndType) {
    static const char one[] = "first", two[] = "second one";
    static constexpr KbResourceEntry entries[] = {
        {RT_RCDATA, 7, sizeof one, one}, {RT_RCDATA, 8, sizeof two, two}, {RT_BITMAP, 7, 3, two}};
    const HMODULE module = KbRegisterModule("resources of a test", entries, 3);
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(GetModuleHandleA("resources of a test"), module);
    EXPECT_EQ(GetModuleHandleA("no such module"), nullptr);
    EXPECT_NE(GetModuleHandleA(nullptr), nullptr);
    EXPECT_NE(GetModuleHandleA(nullptr), module);
    for (const KbResourceEntry& row : entries) {
        const HRSRC found = FindResourceA(module, row.uId, row.uType);
        ASSERT_NE(found, nullptr);
        EXPECT_EQ(SizeofResource(module, found), row.uSize);
        EXPECT_EQ(LockResource(LoadResource(module, found)), row.pData);
    }
    EXPECT_EQ(FindResourceA(module, 8, RT_BITMAP), nullptr);
    EXPECT_EQ(FindResourceA(module, 9, RT_RCDATA), nullptr);
    EXPECT_EQ(FindResourceA(GetModuleHandleA(nullptr), 7, RT_RCDATA), nullptr);
    EXPECT_EQ(LockResource(nullptr), nullptr);
    EXPECT_EQ(SizeofResource(module, nullptr), 0u);
    EXPECT_TRUE(DisableThreadLibraryCalls(module));
    EXPECT_TRUE(KbUnregisterModule(module));
    EXPECT_FALSE(KbUnregisterModule(module));
    EXPECT_FALSE(DisableThreadLibraryCalls(module));
    EXPECT_EQ(GetModuleHandleA("resources of a test"), nullptr);
    EXPECT_EQ(FindResourceA(module, 7, RT_RCDATA), nullptr);
}

TEST(SysProcess, MulDivRoundsHalfAwayFromZero) {
    constexpr int most = std::numeric_limits<int>::max(), least = std::numeric_limits<int>::min();
    const struct {
        int number, numerator, denominator, result;
    } rows[] = {{10, 72, 96, 8},       {1, 1, 2, 1},
                {-1, 1, 2, -1},        {1, -1, 2, -1},
                {1, 1, -2, -1},        {-1, 1, -2, 1},
                {1, 1, 3, 0},          {-2, 1, 3, -1},
                {7, 1, 5, 1},          {8, 1, 5, 2},
                {5, 0, 9, 0},          {5, 6, 0, -1},
                {0, 0, 0, -1},         {most, most, most, most},
                {most, 2, 1, -1},      {most, 2, 2, most},
                {least, 1, 1, least},  {least, 1, -1, -1},
                {least, least, 1, -1}, {least, least, least, least},
                {most, 1, least, -1}};
    for (const auto& row : rows)
        EXPECT_EQ(MulDiv(row.number, row.numerator, row.denominator), row.result)
            << row.number << " x " << row.numerator << " / " << row.denominator;
}

TEST(SysProcess, LastErrorAndIdentityBelongToTheThread) {
    SetLastError(5);
    const DWORD mine = GetCurrentThreadId();
    DWORD seen = 1, other = mine;
    std::thread([&] {
        seen = GetLastError();
        SetLastError(9);
        other = GetCurrentThreadId();
    }).join();
    EXPECT_EQ(seen, 0u);
    EXPECT_EQ(GetLastError(), 5u);
    EXPECT_NE(other, mine);
    EXPECT_EQ(GetCurrentThreadId(), mine);
    volatile LONG value = 1;
    EXPECT_EQ(InterlockedIncrement(&value), 2);
    EXPECT_EQ(InterlockedDecrement(&value), 1);
    EXPECT_EQ(InterlockedDecrement(&value), 0);
}

TEST(SysProcess, LocaleIsTheHostsToSet) {
    const std::string before = KbSetLocale(nullptr);
    EXPECT_EQ(before, "C");
    EXPECT_STREQ(KbSetLocale("de_DE"), "de_DE");
    EXPECT_STREQ(KbSetLocale(nullptr), "de_DE");
    KbSetHostLocale("fr_FR");
    EXPECT_STREQ(KbSetLocale(nullptr), "de_DE") << "the host's default comes in force when asked for";
    EXPECT_STREQ(KbSetLocale(""), "fr_FR");
    KbSetHostLocale(nullptr);
    EXPECT_STREQ(KbSetLocale(""), "C");
    KbSetLocale(before.c_str());
}

TEST(SysProcess, DebugTextGoesToTheSink) {
    std::vector<std::string> lines;
    OutputDebugStringA("unheard");
    KbSetDebugSink([](const char* text, void* user) { static_cast<std::vector<std::string>*>(user)->emplace_back(text); },
                   &lines);
    OutputDebugStringA("heard\n");
    OutputDebugStringA(nullptr);
    KbSetDebugSink(nullptr, nullptr);
    OutputDebugStringA("unheard");
    EXPECT_EQ(lines, std::vector<std::string>{"heard\n"});
}

} // namespace
