// Windows on the in-memory desktop: messages, words, properties, repaint requests, stale handles; format names and system
// values.
#include "platform/gdi.h"
#include "platform/sys.h"
#include "platform/user.h"

#include <cstring>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

bool same(const RECT& a, const RECT& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

struct Message {
    HWND window;
    UINT message;
    WPARAM w;
    LPARAM l;
};
std::vector<Message>& received() {
    static std::vector<Message> list;
    return list;
}
LRESULT record(HWND hWnd, UINT message, WPARAM w, LPARAM l) {
    received().push_back({hWnd, message, w, l});
    if (message == WM_USER + 9) DestroyWindow(hWnd);
    return message == WM_USER + 1 ? GetWindowLongPtrA(hWnd, GWLP_USERDATA) : 42;
}

TEST(User, MessagesReachTheProcedureAtOnce) {
    received().clear();
    const HWND window = KbCreateWindow(record, 1234, 30, 20), plain = KbCreateWindow(nullptr, 0, 1, 1);
    EXPECT_EQ(SendMessageA(window, WM_USER + 1, 7, -8), 1234);
    ASSERT_EQ(received().size(), 1u);
    EXPECT_EQ(received()[0].window, window);
    EXPECT_EQ(received()[0].w, 7u);
    EXPECT_EQ(received()[0].l, -8);
    EXPECT_EQ(SendMessageA(plain, WM_USER, 1, 1), 0);
    EXPECT_EQ(SetWindowLongPtrA(window, GWLP_USERDATA, 99), 1234);
    EXPECT_EQ(SendMessageA(window, WM_USER + 1, 0, 0), 99);
    EXPECT_EQ(SetWindowLongPtrA(plain, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(record)),
              reinterpret_cast<LONG_PTR>(DefWindowProcA));
    EXPECT_EQ(SendMessageA(plain, WM_USER, 0, 0), 42);
    EXPECT_EQ(GetWindowLongPtrA(plain, -999), 0);
    EXPECT_EQ(SendMessageA(plain, WM_USER + 9, 0, 0), 42) << "a window may go while it answers";
    EXPECT_FALSE(IsWindow(plain));
    RECT client;
    EXPECT_TRUE(GetClientRect(window, &client));
    EXPECT_TRUE(same(client, {0, 0, 30, 20}));
    EXPECT_FALSE(GetClientRect(window, nullptr));
    DestroyWindow(window);
}

TEST(User, RepaintRequestsAreKeptInOrder) {
    const HWND window = KbCreateWindow(nullptr, 0, 100, 50);
    RECT box{1, 1, 1, 1};
    EXPECT_FALSE(GetUpdateRect(window, &box, FALSE));
    EXPECT_TRUE(same(box, {0, 0, 0, 0}));
    const RECT requests[] = {{10, 10, 20, 20}, {5, 30, 8, 31}, {-4, 12, 2, 13}},
               empty[] = {{9, 9, 9, 12}, {9, 9, 12, 9}, {12, 9, 9, 12}};
    for (const RECT& r : empty) EXPECT_TRUE(InvalidateRect(window, &r, TRUE));
    EXPECT_EQ(KbGetInvalidRects(window, nullptr, 0), 0u);
    for (const RECT& r : requests) EXPECT_TRUE(InvalidateRect(window, &r, FALSE));
    RECT copy[4] = {{}, {}, {7, 7, 7, 7}, {7, 7, 7, 7}};
    EXPECT_EQ(KbGetInvalidRects(window, copy, 2), 3u);
    EXPECT_TRUE(same(copy[0], requests[0]) && same(copy[1], requests[1]) && copy[2].left == 7) << "no more than asked for";
    EXPECT_TRUE(GetUpdateRect(window, &box, FALSE));
    EXPECT_TRUE(same(box, {-4, 10, 20, 31}));
    EXPECT_TRUE(InvalidateRect(window, nullptr, FALSE));
    EXPECT_EQ(KbGetInvalidRects(window, copy, 4), 4u);
    EXPECT_TRUE(same(copy[3], {0, 0, 100, 50}));
    EXPECT_TRUE(ValidateRect(window, nullptr));
    EXPECT_FALSE(GetUpdateRect(window, nullptr, FALSE));
    // Behind the last one that is kept, requests widen it.
    for (int i = 0; i < 65'536; ++i) InvalidateRect(window, &requests[0], FALSE);
    EXPECT_TRUE(InvalidateRect(window, &requests[1], FALSE));
    EXPECT_EQ(KbGetInvalidRects(window, nullptr, 0), 65'536u);
    EXPECT_TRUE(GetUpdateRect(window, &box, FALSE));
    EXPECT_TRUE(same(box, {5, 10, 20, 31}));
    DestroyWindow(window);
}

TEST(User, PropertiesStandUnderAtoms) {
    const HWND a = KbCreateWindow(nullptr, 0, 1, 1), b = KbCreateWindow(nullptr, 0, 1, 1);
    const ATOM atom = AddAtomA("a property of this test");
    const auto value = [](uintptr_t v) { return reinterpret_cast<HANDLE>(v); };
    EXPECT_EQ(GetPropA(a, atom), nullptr);
    EXPECT_TRUE(SetPropA(a, atom, value(5)));
    EXPECT_TRUE(SetPropA(b, atom, value(6)));
    EXPECT_TRUE(SetPropA(a, atom, value(7)));
    EXPECT_FALSE(SetPropA(a, 0, value(8)));
    EXPECT_EQ(GetPropA(a, atom), value(7));
    EXPECT_EQ(RemovePropA(a, atom), value(7));
    EXPECT_EQ(RemovePropA(a, atom), nullptr);
    EXPECT_EQ(GetPropA(b, atom), value(6));
    DeleteAtom(atom);
    DestroyWindow(a), DestroyWindow(b);
}

TEST(User, StaleHandlesAreRefused) {
    const HWND gone = KbCreateWindow(record, 5, 10, 10);
    ASSERT_TRUE(DestroyWindow(gone));
    const HWND later = KbCreateWindow(record, 6, 10, 10); // must not be taken for the first
    received().clear();
    for (const HWND dead : {gone, HWND{}, reinterpret_cast<HWND>(uintptr_t{3}),
                            reinterpret_cast<HWND>(reinterpret_cast<uintptr_t>(later) | uintptr_t{1} << 33)}) {
        SCOPED_TRACE(dead);
        RECT r{};
        EXPECT_FALSE(IsWindow(dead));
        EXPECT_FALSE(DestroyWindow(dead));
        EXPECT_FALSE(GetClientRect(dead, &r));
        EXPECT_EQ(SendMessageA(dead, WM_USER + 1, 0, 0), 0);
        EXPECT_EQ(GetWindowLongPtrA(dead, GWLP_USERDATA), 0);
        EXPECT_EQ(SetWindowLongPtrA(dead, GWLP_USERDATA, 1), 0);
        EXPECT_FALSE(InvalidateRect(dead, nullptr, FALSE));
        EXPECT_FALSE(ValidateRect(dead, nullptr));
        EXPECT_EQ(KbGetInvalidRects(dead, &r, 1), 0u);
        EXPECT_FALSE(SetPropA(dead, 0xC000, nullptr));
        EXPECT_EQ(RemovePropA(dead, 0xC000), nullptr);
    }
    EXPECT_TRUE(received().empty());
    EXPECT_EQ(GetWindowLongPtrA(later, GWLP_USERDATA), 6);
    DestroyWindow(later);
}

TEST(User, FormatNamesAndSystemValues) {
    const UINT first = RegisterClipboardFormatA("format one of a test"),
               second = RegisterClipboardFormatA("format two of a test");
    EXPECT_GE(first, 0xC000u);
    EXPECT_NE(first, second);
    EXPECT_EQ(RegisterClipboardFormatA("format one of a test"), first);
    char name[32];
    EXPECT_EQ(GetClipboardFormatNameA(second, name, sizeof name), 20);
    EXPECT_STREQ(name, "format two of a test");
    EXPECT_EQ(GetClipboardFormatNameA(second, name, 7), 6);
    EXPECT_STREQ(name, "format");
    for (const UINT none : {0u, 0xBFFFu, 0xFFFFu}) EXPECT_EQ(GetClipboardFormatNameA(none, name, sizeof name), 0) << none;
    EXPECT_EQ(RegisterClipboardFormatA(""), 0u);
    EXPECT_EQ(RegisterClipboardFormatA(nullptr), 0u);
    EXPECT_EQ(GetSysColor(COLOR_BTNFACE), 0xC0C0C0u);
    EXPECT_EQ(GetSysColor(4711), 0u);
    EXPECT_GT(GetSystemMetrics(SM_CXSCREEN), 0);
    EXPECT_EQ(GetSystemMetrics(-1), 0);
}

HGLOBAL blockOf(size_t size) { return GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, size); }

TEST(Clipboard, IsHeldByWhoHasOpenedIt) {
    const HWND first = KbCreateWindow(nullptr, 0, 1, 1), second = KbCreateWindow(nullptr, 0, 1, 1);
    EXPECT_FALSE(CloseClipboard());
    EXPECT_FALSE(EmptyClipboard());
    EXPECT_EQ(GetClipboardData(CF_TEXT), nullptr);
    const HGLOBAL kept = blockOf(4);
    EXPECT_EQ(SetClipboardData(CF_TEXT, kept), nullptr) << "not open";
    ASSERT_TRUE(OpenClipboard(first));
    EXPECT_TRUE(OpenClipboard(first));
    EXPECT_FALSE(OpenClipboard(second));
    EXPECT_FALSE(OpenClipboard(nullptr));
    std::thread([&] {
        EXPECT_FALSE(OpenClipboard(first));
        EXPECT_FALSE(CloseClipboard());
        EXPECT_EQ(SetClipboardData(CF_TEXT, kept), nullptr);
    }).join();
    EXPECT_EQ(GetOpenClipboardWindow(), first);
    EXPECT_TRUE(EmptyClipboard());
    EXPECT_EQ(GetClipboardOwner(), first);
    EXPECT_EQ(SetClipboardData(CF_TEXT, kept), kept);
    EXPECT_TRUE(CloseClipboard());
    EXPECT_TRUE(IsClipboardFormatAvailable(CF_TEXT));
    EXPECT_EQ(GetClipboardData(CF_TEXT), nullptr) << "closed";
    EXPECT_TRUE(OpenClipboard(second));
    EXPECT_EQ(GetClipboardData(CF_TEXT), kept) << "opening changes neither data";
    EXPECT_EQ(GetClipboardOwner(), first) << "nor owner";
    DestroyWindow(second); // which closes it
    DestroyWindow(first);
    EXPECT_EQ(GetClipboardOwner(), nullptr);
    EXPECT_FALSE(OpenClipboard(first)) << "a dead window";
    ASSERT_TRUE(OpenClipboard(nullptr));
    EXPECT_TRUE(EmptyClipboard());
    EXPECT_TRUE(CloseClipboard());
    EXPECT_EQ(CountClipboardFormats(), 0);
}

TEST(Clipboard, OwnsWhatItIsGiven) {
    ASSERT_TRUE(OpenClipboard(nullptr));
    EXPECT_TRUE(EmptyClipboard());
    const UINT own = RegisterClipboardFormatA("format three of a test");
    const HGLOBAL old = blockOf(4), fresh = blockOf(4), dead = blockOf(4);
    GlobalFree(dead);
    EXPECT_EQ(SetClipboardData(own, dead), nullptr);
    EXPECT_EQ(SetClipboardData(0, fresh), nullptr);
    EXPECT_EQ(SetClipboardData(own, nullptr), nullptr);
    EXPECT_EQ(SetClipboardData(own, old), old);
    EXPECT_EQ(SetClipboardData(own, fresh), fresh);
    EXPECT_EQ(GlobalFlags(old), UINT{GMEM_INVALID_HANDLE}) << "replaced";
    EXPECT_EQ(SetClipboardData(own, fresh), fresh) << "the same once more";
    EXPECT_EQ(GlobalFlags(fresh), 0u);

    const HMETAFILE metafile = CloseMetaFile(CreateMetaFileA(nullptr));
    const HGLOBAL picture = blockOf(sizeof(METAFILEPICT));
    const METAFILEPICT content{1, 10, 20, static_cast<DWORD>(reinterpret_cast<uintptr_t>(metafile))};
    std::memcpy(GlobalLock(picture), &content, sizeof content);
    GlobalUnlock(picture);
    EXPECT_EQ(SetClipboardData(CF_METAFILEPICT, picture), picture);
    const HBITMAP bitmap = CreateBitmap(1, 1, 1, 1, nullptr);
    EXPECT_EQ(SetClipboardData(CF_BITMAP, bitmap), bitmap);
    EXPECT_EQ(CountClipboardFormats(), 3);
    EXPECT_TRUE(EmptyClipboard());
    EXPECT_TRUE(CloseClipboard());
    EXPECT_EQ(GlobalFlags(fresh), UINT{GMEM_INVALID_HANDLE});
    EXPECT_EQ(GlobalFlags(picture), UINT{GMEM_INVALID_HANDLE});
    EXPECT_EQ(GetMetaFileBitsEx(metafile, 0, nullptr), 0u) << "gone with its block";
    EXPECT_FALSE(DeleteObject(bitmap));
}

} // namespace
