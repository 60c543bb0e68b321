// Flood filling by scan lines. Filled pixels may still look like those to be filled, so which have been reached is kept
// in a bit for each pixel of the clip's box, and the brush comes at the end, run by run.
#include "platform/gdi/gdi_state.h"
#include "platform/gdi/scratch.h"

using namespace kb;
using namespace kb::gdi;

namespace {

class Flood {
public:
    Flood(const DeviceContext& dc, uint32_t color, bool border)
        : surface_(dc.surface), clip_(dc.clipBox()), region_(dc.state.clip.region.get()), color_(color), border_(border),
          colorBits_(dc.surface.bits == 32 ? 0xFFFFFF : ~0u), width_(static_cast<size_t>(clip_.right - clip_.left)),
          reached_(width_ * static_cast<size_t>(clip_.bottom - clip_.top)) {}

    bool open(int x, int y) const {
        if (x < clip_.left || x >= clip_.right || y < clip_.top || y >= clip_.bottom || reached_[place(x, y)]) return false;
        if (((surface_.get(x, y) & colorBits_) == color_) == border_) return false;
        return !region_ || pixman_region32_contains_point(&region_->set, x, y, nullptr);
    }

    // Calls sink(y, x0, x1) for runs that make up the whole area around a point.
    template <class Sink> void fill(int x, int y, Sink&& sink) {
        std::vector<POINT> waiting{{x, y}};
        while (!waiting.empty()) {
            const POINT p = waiting.back();
            waiting.pop_back();
            if (!open(p.x, p.y)) continue;
            int x0 = p.x, x1 = p.x + 1;
            while (open(x0 - 1, p.y)) --x0;
            while (open(x1, p.y)) ++x1;
            for (int i = x0; i < x1; ++i) reached_[place(i, p.y)] = true;
            sink(p.y, x0, x1);
            for (const int row : {p.y - 1, p.y + 1}) {
                bool inRun = false; // one point for each run of the neighbouring row
                for (int i = x0; i < x1; ++i) {
                    const bool is = open(i, row);
                    if (is && !inRun) waiting.push_back({i, row});
                    inRun = is;
                }
            }
        }
    }

private:
    size_t place(int x, int y) const {
        return static_cast<size_t>(y - clip_.top) * width_ + static_cast<size_t>(x - clip_.left);
    }
    const Surface& surface_;
    Box clip_;
    const Region* region_;
    uint32_t color_;
    bool border_;
    uint32_t colorBits_; // the spare byte of 32 bits is no colour
    size_t width_;
    std::vector<bool> reached_;
};

} // namespace

BOOL kb::gdi::fillFlood(HDC hDC, int x, int y, COLORREF color, UINT type, size_t& filled) {
    filled = 0;
    return guarded<BOOL>(FALSE, [&]() -> BOOL {
        DeviceContext* dc = findDc(hDC);
        if (!dc || dc->output || type > FLOODFILLSURFACE || dc->kind == DcKind::screen || dc->clipBox().empty())
            return FALSE;
        const POINT start = dc->state.map.device({x, y});
        Flood flood(*dc, dc->surface.pixelFor(color), type == FLOODFILLBORDER);
        if (!flood.open(start.x, start.y)) return FALSE;
        Paint paint;
        if (!brushPaint(*dc, *dc->state.brush, tableOfRop2(R2_COPYPEN), paint, scratch().brushCells)) return TRUE;
        struct Run {
            int y, x0, x1;
        };
        std::vector<Run> runs;
        flood.fill(start.x, start.y, [&](int row, int x0, int x1) {
            runs.push_back({row, x0, x1});
            filled += static_cast<size_t>(x1 - x0);
        });
        Painter painter = dc->painter(paint);
        for (const Run& run : runs) painter.span(run.y, run.x0, run.x1);
        return TRUE;
    });
}

KB_API BOOL ExtFloodFill(HDC hDC, int x, int y, COLORREF color, UINT type) {
    size_t filled;
    return fillFlood(hDC, x, y, color, type, filled);
}
