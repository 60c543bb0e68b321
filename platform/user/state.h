// What the window floor keeps: the one object behind user.h, never destroyed.
#pragma once

#include "platform/handle_table.h"
#include "platform/user.h"

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace kb {

struct Window {
    WNDPROC procedure = nullptr;
    LONG_PTR userData = 0;
    int width = 0, height = 0;
    std::vector<RECT> invalid;
    std::map<ATOM, HANDLE> properties;
};

struct Clipboard {
    std::mutex mutex; // guards all of it
    std::vector<std::string> formatNames;
    struct Entry {
        UINT format;
        HANDLE data;
    };
    std::vector<Entry> entries; // in the order in which they came
    DWORD openThread = 0;       // 0: closed
    HWND openWindow = nullptr, owner = nullptr;
};

struct UserState {
    HandleTable<Window> windows{HandleKind::window};
    Clipboard clipboard;
};

// A window that goes closes the clipboard and owns it no longer.
void leaveClipboard(HWND hWnd);

UserState& userState();

} // namespace kb
