// Rows of polygons by the point rule: a pixel is in if its point is inside; points on left and top edges are in, on right
// and bottom edges out. Each edge is walked by exact integer steps, so the pixels of two polygons that share an edge never
// overlap or part. Rows and edges that can't be seen cost nothing.
#pragma once

#include "platform/gdi/surface.h"

#include <cstdint>
#include <vector>

namespace kb::gdi {

class PolygonFiller {
public:
    void begin(const Box& clip) {
        clip_ = clip;
        edges_.clear();
    }
    // A contour, closed by itself.
    void add(const POINT* points, size_t count) {
        for (size_t i = 0; i < count; ++i) addEdge(points[i], points[i + 1 < count ? i + 1 : 0]);
    }

    // Calls sink(y, x0, x1) by rising rows and columns; spans aren't cut to the clip sideways.
    template <class Sink> void fill(int fillMode, Sink&& sink) {
        if (edges_.empty()) return;
        sortEdges();
        size_t next = 0;
        active_.clear();
        int64_t y = edges_[0].y0;
        for (;;) {
            while (next < edges_.size() && edges_[next].y0 <= y) active_.push_back(&edges_[next++]);
            if (active_.empty()) {
                if (next == edges_.size()) return;
                y = edges_[next].y0;
                continue;
            }
            // Until an edge begins or ends the set of edges stays.
            int64_t until = next < edges_.size() ? edges_[next].y0 : INT32_MAX + int64_t{1};
            for (const Edge* e : active_) until = std::min(until, e->y1);
            if (active_.size() == 2 && (fillMode != WINDING || active_[0]->direction != active_[1]->direction)) {
                Edge a = *active_[0], b = *active_[1]; // in registers: the sink's stores can't touch them
                for (; y < until; ++y) {
                    sink(y, std::min(a.x, b.x), std::max(a.x, b.x));
                    a.step();
                    b.step();
                }
                *active_[0] = a;
                *active_[1] = b;
            } else {
                for (; y < until; ++y) {
                    sortActive();
                    emitRow(fillMode, y, sink);
                    for (Edge* e : active_) e->step();
                }
            }
            std::erase_if(active_, [y](const Edge* e) { return e->y1 <= y; });
        }
    }

private:
    // The order keeps the two running members apart: as neighbours they would be loaded as a pair right after being stored
    // singly, which stalls.
    struct Edge {
        int64_t y0, y1; // rows y0..y1-1
        int64_t x;      // first pixel right of or on the edge in this row
        int64_t whole, height;
        int64_t error; // x x height - exact numerator, 0..height-1
        int64_t part;
        int direction;
        void step() {
            error -= part;
            const int64_t under = error >> 63; // all ones when the remainder ran out
            x += whole - under;
            error += height & under;
        }
    };

    template <class Sink> void emitRow(int fillMode, int64_t y, Sink&& sink) {
        int winding = 0;
        int64_t from = 0;
        for (const Edge* e : active_) {
            const bool was = winding != 0;
            winding = fillMode == WINDING ? winding + e->direction : winding ^ 1;
            if (!was) {
                if (winding) from = e->x;
            } else if (!winding && from < e->x) {
                sink(y, from, e->x);
            }
        }
        // Edges beyond the clip's right side were left away.
        if (winding && from < clip_.right) sink(y, from, static_cast<int64_t>(clip_.right));
    }

    void addEdge(POINT a, POINT b);
    void sortEdges();
    // From row to row few edges change places; where many begin at a time, or cross, moving them one by one would cost the
    // square of their number.
    void sortActive() {
        size_t left = active_.size() * 16 + 64;
        for (size_t i = 1; i < active_.size(); ++i) {
            Edge* const e = active_[i];
            size_t k = i;
            for (; k > 0 && e->x < active_[k - 1]->x; --k) active_[k] = active_[k - 1];
            active_[k] = e;
            if (i - k > left) {
                std::sort(active_.begin(), active_.end(), [](const Edge* a, const Edge* b) { return a->x < b->x; });
                return;
            }
            left -= i - k;
        }
    }

    Box clip_;
    std::vector<Edge> edges_;
    std::vector<Edge*> active_;
};

} // namespace kb::gdi
