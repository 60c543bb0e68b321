// What the tests of the object store share: objects that free themselves, a window that writes down its events.
#pragma once

#include "kbann/kbann.h"
#include "platform/user.h"
#include "store/handles.h"
#include "store/tree.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace kbann::test {

inline HANNOBJECT make(uint32_t nType) {
    HANNOBJECT made = nullptr;
    EXPECT_EQ(K_AnnCreate(nType, &made), SUCCESS);
    return made;
}

inline HANNOBJECT makeRoot(AnnRect rect = {0, 0, 1000, 1000}, HWND window = nullptr) {
    HANNOBJECT made = nullptr;
    EXPECT_EQ(K_AnnCreateContainer(window, &rect, TRUE, &made), SUCCESS);
    return made;
}

inline HANNOBJECT makeItem(HANNOBJECT container, uint32_t nType, AnnRect rect = {10, 20, 30, 40}, BOOL visible = TRUE) {
    HANNOBJECT made = nullptr;
    EXPECT_EQ(K_AnnCreateItem(container, nType, visible, &made), SUCCESS);
    K_AnnSetRect(made, &rect);
    return made;
}

inline AnnObject& record(HANNOBJECT handle) { return *annFromHandle(handle); }

// Tags of the children, back to front.
inline std::string order(HANNOBJECT container) {
    std::string text;
    for (const AnnObject* child = record(container).pFirstChild; child; child = child->pNext)
        text += static_cast<char>(child->uTag);
    return text;
}

inline HANNOBJECT makeTagged(HANNOBJECT container, char tag, uint32_t nType = ANN_OBJECT_RECT) {
    const HANNOBJECT made = makeItem(container, nType);
    K_AnnSetTag(made, static_cast<uint32_t>(tag), 0);
    return made;
}

// A root that goes with the test.
struct Tree {
    explicit Tree(HWND window = nullptr) : root(makeRoot({0, 0, 1000, 1000}, window)) {}
    ~Tree() {
        if (annFromHandle(root)) annFreeTree(annFromHandle(root));
    }
    HANNOBJECT root;
};

// A window that writes its events down as "5:A 6:B" (number and tag), and answers what it is told to.
class EventWindow {
public:
    EventWindow() : handle(KbCreateWindow(procedure, reinterpret_cast<LONG_PTR>(this), 800, 600)) {}
    ~EventWindow() { DestroyWindow(handle); }

    std::string events;
    int allow = 1;
    std::function<void(uint32_t nEvent, HANNOBJECT)> onEvent;
    HWND handle;

    std::string take() { return std::exchange(events, {}); }

private:
    static LRESULT procedure(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam) {
        auto& self = *reinterpret_cast<EventWindow*>(GetWindowLongPtrA(hWnd, GWLP_USERDATA));
        if (message != WM_KBANNEVENT) return 0;
        uint32_t value = static_cast<uint32_t>(lParam);
        if (wParam == ANN_EVENT_AUTOITEMCHANGING) {
            auto& change = *reinterpret_cast<AnnItemChanging*>(lParam);
            EXPECT_EQ(change.uStructSize, 24u);
            change.bAllow = self.allow;
            value = change.hObject;
        }
        const AnnObject* object = annFromHandle(value);
        if (!self.events.empty()) self.events += ' ';
        self.events += std::to_string(wParam) + ':' + (object && object->uTag ? static_cast<char>(object->uTag) : '-');
        if (self.onEvent) self.onEvent(static_cast<uint32_t>(wParam), kb::toHandle<HANNOBJECT>(value));
        return 0;
    }
};

} // namespace kbann::test
