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

struct UserState {
    HandleTable<Window> windows{HandleKind::window};
    std::mutex mutex; // guards the format names
    std::vector<std::string> clipboardFormats;
};

UserState& userState();

} // namespace kb
