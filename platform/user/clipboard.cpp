// The clipboard: names of formats, and one handle a format that belongs to it from when it is given until it is replaced or
// the clipboard is emptied. A thread and a window hold it between opening and closing. An owner isn't asked for data late: what
// is there is really there.
#include "platform/gdi.h"
#include "platform/sys.h"
#include "platform/user/state.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

using kb::Clipboard;

constexpr UINT firstFormat = 0xC000;

Clipboard& clipboard() { return kb::userState().clipboard; }

bool isOpenHere(const Clipboard& c) { return c.openThread && c.openThread == GetCurrentThreadId(); }

HGLOBAL blockOf(HANDLE data) { return static_cast<HGLOBAL>(data); }

// Everything that isn't an object of its own is a block of memory.
void freeData(const Clipboard::Entry& entry) {
    switch (entry.format) {
    case CF_BITMAP:
    case CF_PALETTE: DeleteObject(entry.data); return;
    case CF_ENHMETAFILE: DeleteEnhMetaFile(static_cast<HENHMETAFILE>(entry.data)); return;
    case CF_METAFILEPICT:
        if (const void* block =
                GlobalSize(blockOf(entry.data)) >= sizeof(METAFILEPICT) ? GlobalLock(blockOf(entry.data)) : nullptr) {
            METAFILEPICT picture;
            std::memcpy(&picture, block, sizeof picture);
            DeleteMetaFile(kb::toHandle<HMETAFILE>(picture.hMF));
            GlobalUnlock(blockOf(entry.data));
        }
        break;
    default: break;
    }
    GlobalFree(blockOf(entry.data));
}

bool isMemoryFormat(UINT format) { return format != CF_BITMAP && format != CF_PALETTE && format != CF_ENHMETAFILE; }

auto entryOf(Clipboard& c, UINT format) { return std::ranges::find(c.entries, format, &Clipboard::Entry::format); }

} // namespace

namespace kb {

void leaveClipboard(HWND hWnd) {
    Clipboard& c = clipboard();
    const std::lock_guard lock(c.mutex);
    if (c.owner == hWnd) c.owner = nullptr;
    if (!c.openThread || c.openWindow != hWnd) return;
    c.openThread = 0;
    c.openWindow = nullptr;
}

} // namespace kb

extern "C" {

UINT RegisterClipboardFormatA(const char* pszName) {
    if (!pszName || !*pszName) return 0;
    Clipboard& c = clipboard();
    const std::lock_guard lock(c.mutex);
    try {
        auto found = std::ranges::find(c.formatNames, pszName);
        if (found == c.formatNames.end()) found = c.formatNames.insert(c.formatNames.end(), pszName);
        return firstFormat + static_cast<UINT>(found - c.formatNames.begin());
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

int GetClipboardFormatNameA(UINT format, char* pszName, int size) {
    Clipboard& c = clipboard();
    const std::lock_guard lock(c.mutex);
    if (!pszName || size <= 0 || format < firstFormat || format - firstFormat >= c.formatNames.size()) return 0;
    const std::string& name = c.formatNames[format - firstFormat];
    const size_t length = std::min(name.size(), static_cast<size_t>(size) - 1);
    std::memcpy(pszName, name.data(), length);
    pszName[length] = 0;
    return static_cast<int>(length);
}

BOOL OpenClipboard(HWND hNewOwner) {
    if (hNewOwner && !IsWindow(hNewOwner)) return FALSE;
    Clipboard& c = clipboard();
    const std::lock_guard lock(c.mutex);
    if (c.openThread && !(isOpenHere(c) && c.openWindow == hNewOwner)) return FALSE;
    c.openThread = GetCurrentThreadId();
    c.openWindow = hNewOwner;
    return TRUE;
}

BOOL CloseClipboard(void) {
    Clipboard& c = clipboard();
    const std::lock_guard lock(c.mutex);
    if (!isOpenHere(c)) return FALSE;
    c.openThread = 0;
    c.openWindow = nullptr;
    return TRUE;
}

BOOL EmptyClipboard(void) {
    Clipboard& c = clipboard();
    const std::lock_guard lock(c.mutex);
    if (!isOpenHere(c)) return FALSE;
    for (const Clipboard::Entry& entry : c.entries) freeData(entry);
    c.entries.clear();
    c.owner = c.openWindow;
    return TRUE;
}

HANDLE SetClipboardData(UINT format, HANDLE hData) {
    if (!format || !hData || (isMemoryFormat(format) && GlobalFlags(blockOf(hData)) == GMEM_INVALID_HANDLE)) return nullptr;
    Clipboard& c = clipboard();
    const std::lock_guard lock(c.mutex);
    if (!isOpenHere(c)) return nullptr;
    if (const auto found = entryOf(c, format); found != c.entries.end()) {
        if (found->data != hData) freeData(*found);
        found->data = hData;
        return hData;
    }
    try {
        c.entries.push_back({format, hData});
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    return hData;
}

HANDLE GetClipboardData(UINT format) {
    Clipboard& c = clipboard();
    const std::lock_guard lock(c.mutex);
    if (!isOpenHere(c)) return nullptr;
    const auto found = entryOf(c, format);
    return found == c.entries.end() ? nullptr : found->data;
}

BOOL IsClipboardFormatAvailable(UINT format) {
    Clipboard& c = clipboard();
    const std::lock_guard lock(c.mutex);
    return entryOf(c, format) != c.entries.end();
}

int CountClipboardFormats(void) {
    Clipboard& c = clipboard();
    const std::lock_guard lock(c.mutex);
    return static_cast<int>(c.entries.size());
}

HWND GetClipboardOwner(void) {
    Clipboard& c = clipboard();
    const std::lock_guard lock(c.mutex);
    return c.owner;
}

HWND GetOpenClipboardWindow(void) {
    Clipboard& c = clipboard();
    const std::lock_guard lock(c.mutex);
    return c.openWindow;
}

} // extern "C"
