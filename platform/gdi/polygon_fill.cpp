// Edge set-up of the polygon filler.
#include "platform/gdi/polygon_fill.h"

namespace kb::gdi {

void PolygonFiller::addEdge(POINT a, POINT b) {
    if (a.y == b.y) return;
    int direction = 1;
    if (a.y > b.y) {
        std::swap(a, b);
        direction = -1;
    }
    if (b.y <= clip_.top || a.y >= clip_.bottom || (a.x >= clip_.right && b.x >= clip_.right)) return;
    Edge e;
    e.direction = direction;
    e.height = static_cast<int64_t>(b.y) - a.y;
    const int64_t dx = static_cast<int64_t>(b.x) - a.x;
    e.whole = dx / e.height;
    e.part = dx % e.height;
    if (e.part < 0) {
        --e.whole;
        e.part += e.height;
    }
    e.y0 = std::max(a.y, clip_.top);
    e.y1 = std::min(b.y, clip_.bottom);
    e.x = a.x;
    e.error = 0;
    if (const int64_t skipped = e.y0 - a.y) {
        // skipped x part is below 2^64: rows and remainder are below 2^32 each.
        const auto advance = static_cast<UWide>(static_cast<uint64_t>(skipped)) * static_cast<uint64_t>(e.part);
        const auto height = static_cast<uint64_t>(e.height);
        const auto up = static_cast<int64_t>((advance + height - 1) / height);
        e.x += skipped * e.whole + up;
        e.error = static_cast<int64_t>(static_cast<UWide>(static_cast<uint64_t>(up)) * height - advance);
    }
    edges_.push_back(e);
}

void PolygonFiller::sortEdges() {
    const auto earlier = [](const Edge& a, const Edge& b) { return a.y0 < b.y0; };
    if (edges_.size() > 24) {
        std::sort(edges_.begin(), edges_.end(), earlier);
        return;
    }
    for (size_t i = 1; i < edges_.size(); ++i) {
        const Edge e = edges_[i];
        size_t k = i;
        for (; k > 0 && e.y0 < edges_[k - 1].y0; --k) edges_[k] = edges_[k - 1];
        edges_[k] = e;
    }
}

} // namespace kb::gdi
