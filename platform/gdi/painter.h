// Puts spans on a surface through a clip: the box first, then the rows of a region when there is one. Callers may hand in
// any coordinates; only what is visible costs anything.
#pragma once

#include "platform/gdi/objects.h"
#include "platform/gdi/span_writer.h"

#include <algorithm>
#include <cstring>

namespace kb::gdi {

class Painter {
public:
    Painter(const Surface& surface, const Paint& paint, const Box& clip, const Region* region)
        : surface_(surface), paint_(paint), clip_(clip), write_(spanFunction(paint, surface.bits, haveVectors())) {
        if (region) boxes_ = region->boxes(&boxCount_);
        if (!region && surface.bits >= 24 && paint.kind == PaintKind::fill) quickBytes_ = surface.bits / 8;
    }

    const Surface& surface() const { return surface_; }
    const Paint& paint() const { return paint_; }
    const Box& clip() const { return clip_; }
    bool rectangular() const { return !boxes_; }
    bool idle() const { return clip_.empty() || paint_.kind == PaintKind::none; }

    // Pixels x0..x1-1 of row y.
    void span(int64_t y, int64_t x0, int64_t x1) {
        if (y < clip_.top || y >= clip_.bottom) return;
        const int from = static_cast<int>(std::max<int64_t>(x0, clip_.left));
        const int to = static_cast<int>(std::min<int64_t>(x1, clip_.right));
        if (x0 >= clip_.right || x1 <= clip_.left || from >= to) return;
        visibleSpan(static_cast<int>(y), from, to);
    }

    void rect(const Box& box) {
        const Box b = intersect(box, clip_);
        if (b.empty() || paint_.kind == PaintKind::none) return;
        if (boxes_) {
            for (int y = b.top; y < b.bottom; ++y) visibleSpan(y, b.left, b.right);
            return;
        }
        uint8_t* row = surface_.row(b.top);
        for (int y = b.top; y < b.bottom; ++y, row += surface_.stride) write_(paint_, row, y, b.left, b.right);
    }

private:
    void visibleSpan(int y, int x0, int x1) {
        if (quickBytes_ && x1 - x0 <= 8) { // most spans of outlines; cheaper than a call
            uint8_t* p = surface_.row(y) + static_cast<ptrdiff_t>(x0) * quickBytes_;
            const uint32_t pixel = paint_.xorBits;
            if (quickBytes_ == 4) {
                for (int n = x1 - x0; n > 0; --n, p += 4) std::memcpy(p, &pixel, 4);
            } else {
                // Four bytes a pixel, the last of which the next pixel overwrites; the last pixel alone must not reach over.
                for (int n = x1 - x0; n > 1; --n, p += 3) std::memcpy(p, &pixel, 4);
                std::memcpy(p, &pixel, 2);
                p[2] = static_cast<uint8_t>(pixel >> 16);
            }
            return;
        }
        if (!boxes_) {
            write_(paint_, surface_.row(y), y, x0, x1);
            return;
        }
        // Spans mostly come by rising rows: start from the band found last.
        if (band_ >= boxCount_ || y < boxes_[band_].y1 || y >= boxes_[band_].y2) {
            const auto* found =
                std::partition_point(boxes_, boxes_ + boxCount_, [y](const pixman_box32_t& b) { return b.y2 <= y; });
            band_ = static_cast<int>(found - boxes_);
        }
        for (int i = band_; i < boxCount_ && boxes_[i].y1 <= y; ++i) {
            const int from = std::max(x0, boxes_[i].x1), to = std::min(x1, boxes_[i].x2);
            if (from < to) write_(paint_, surface_.row(y), y, from, to);
        }
    }

    const Surface& surface_;
    const Paint& paint_;
    Box clip_;
    SpanFunction write_;
    const pixman_box32_t* boxes_ = nullptr;
    int boxCount_ = 0;
    int quickBytes_ = 0; // of a pixel, when short spans are written here
    int band_ = 0;       // first box of the band met last
};

} // namespace kb::gdi
