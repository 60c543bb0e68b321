// The objects that contexts select: pens, brushes, fonts, bitmaps, regions, palettes, and metafile blocks. Each is counted:
// one for its handle, one for every context state that has it in force. Deleting takes the handle away at once and leaves
// the object to those that still use it. Memory of freed objects waits in a list of the thread, because a pen, a brush and
// a font are made and deleted for every figure that is drawn.
#pragma once

#include "platform/gdi.h"
#include "platform/gdi/surface.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <new>
#include <pixman.h>
#include <utility>
#include <vector>

namespace kb::gdi {

template <class T> class Pool {
public:
    template <class... Arguments> static T* make(Arguments&&... arguments) {
        FreeList& list = freeList();
        void* memory = list.head;
        if (memory) {
            list.head = list.head->next;
            --list.count;
        } else {
            memory = ::operator new(sizeof(T) > sizeof(Node) ? sizeof(T) : sizeof(Node));
        }
        return new (memory) T(std::forward<Arguments>(arguments)...);
    }
    static void recycle(T* object) noexcept {
        object->~T();
        FreeList& list = freeList();
        if (list.count >= keep) {
            ::operator delete(static_cast<void*>(object));
            return;
        }
        list.head = new (static_cast<void*>(object)) Node{list.head};
        ++list.count;
    }

private:
    struct Node {
        Node* next;
    };
    struct FreeList {
        Node* head = nullptr;
        uint32_t count = 0;
        FreeList() = default;
        FreeList(const FreeList&) = delete;
        FreeList& operator=(const FreeList&) = delete;
        ~FreeList() {
            while (head) ::operator delete(std::exchange(head, head->next));
        }
    };
    static constexpr uint32_t keep = 64;
    static FreeList& freeList() {
        static thread_local FreeList list;
        return list;
    }
};

struct Counted {
    std::atomic<uint32_t> uses{1};
    uint32_t handle = 0;
    bool stock = false; // lives for ever and isn't counted
};

template <class T> class Ref {
public:
    Ref() = default;
    explicit Ref(T* object) : object_(object) { take(); }
    Ref(const Ref& other) : object_(other.object_) { take(); }
    Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    Ref& operator=(Ref other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~Ref() { drop(object_); }
    // Takes over the use that a new object is born with.
    static Ref adopt(T* object) {
        Ref ref;
        ref.object_ = object;
        return ref;
    }
    T* detach() { return std::exchange(object_, nullptr); }
    T* get() const { return object_; }
    T* operator->() const { return object_; }
    T& operator*() const { return *object_; }
    explicit operator bool() const { return object_ != nullptr; }
    static void drop(T* object) noexcept {
        if (object && !object->stock && object->uses.fetch_sub(1, std::memory_order_acq_rel) == 1) Pool<T>::recycle(object);
    }

private:
    void take() const {
        if (object_ && !object_->stock) object_->uses.fetch_add(1, std::memory_order_relaxed);
    }
    T* object_ = nullptr;
};

struct Pen : Counted {
    Pen(int penStyle, int penWidth, COLORREF penColor) : style(penStyle), width(penWidth), color(penColor & 0xFFFFFF) {}
    int style;
    int width;
    COLORREF color;
};

// A pattern in pixels: 0x00RRGGBB, or for a one-bit pattern 0 (text colour) and 1 (background colour).
struct PatternImage {
    uint64_t serial = nextSerial(); // no other one has it, nor will
    int width = 0, height = 0;
    bool mono = false;
    std::vector<uint32_t> pixels;

private:
    static uint64_t nextSerial() {
        static std::atomic<uint64_t> last{0};
        return last.fetch_add(1, std::memory_order_relaxed) + 1;
    }
};

struct Brush : Counted {
    Brush(UINT brushStyle, COLORREF brushColor, ULONG_PTR brushHatch)
        : style(brushStyle), color(brushColor & 0xFFFFFF), hatch(brushHatch) {}
    UINT style;
    COLORREF color;
    ULONG_PTR hatch;
    std::unique_ptr<PatternImage> pattern;
};

struct Font : Counted {
    explicit Font(const LOGFONTA& font) : logical(font) {}
    LOGFONTA logical;
};

struct DeviceContext;

struct Bitmap : Counted {
    Surface surface;
    std::vector<uint8_t> storage;
    std::unique_ptr<ColorTable> colors;
    bool section = false;  // its rows are the owner's to write, with a header's colours
    bool bottomUp = false; // memory order of a section's rows
    const DeviceContext* selectedIn = nullptr;
};

struct Palette : Counted {
    std::vector<PALETTEENTRY> entries;
};

struct Metafile : Counted {
    std::vector<uint8_t> bytes;
    bool enhanced = false;
};

// A set of pixels in device coordinates.
struct Region : Counted {
    Region() { pixman_region32_init(&set); }
    explicit Region(const Box& box) {
        const pixman_box32_t b{box.left, box.top, box.right, box.bottom};
        if (box.empty())
            pixman_region32_init(&set);
        else
            pixman_region32_init_with_extents(&set, const_cast<pixman_box32_t*>(&b));
    }
    Region(const Region&) = delete;
    Region& operator=(const Region&) = delete;
    ~Region() { pixman_region32_fini(&set); }
    mutable pixman_region32_t set;

    Box bounds() const {
        const pixman_box32_t* e = pixman_region32_extents(&set);
        return {e->x1, e->y1, e->x2, e->y2};
    }
    const pixman_box32_t* boxes(int* count) const { return pixman_region32_rectangles(&set, count); }
    int kind() const {
        if (!pixman_region32_not_empty(&set)) return NULLREGION;
        return pixman_region32_n_rects(&set) == 1 ? SIMPLEREGION : COMPLEXREGION;
    }
};

} // namespace kb::gdi
