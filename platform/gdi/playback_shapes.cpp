// Figures of a file. What the destination has a function for, and what stays upright, goes out by that function; the rest
// becomes a path: turned and sheared figures, pens with flat ends or sharp corners, and all that stands between the
// beginning and the end of a path.
#include "platform/gdi/playback.h"

#include "platform/gdi/device_context.h"
#include "platform/gdi/playback_applied.h"
#include "platform/sys.h"

#include <algorithm>
#include <new>
#include <numbers>

namespace kb::gdi {

POINT Playback::to(FPoint p) {
    const FPoint q = map_.at(p.x, p.y);
    if (measuring) noteBounds(q);
    return {roundAway(q.x), roundAway(q.y)};
}

void Playback::noteBounds(FPoint p) {
    if (!std::isfinite(p.x) || !std::isfinite(p.y)) return;
    bounds.left = std::min(bounds.left, p.x);
    bounds.top = std::min(bounds.top, p.y);
    bounds.right = std::max(bounds.right, p.x);
    bounds.bottom = std::max(bounds.bottom, p.y);
}

// Corners put in order where they come to lie.
RECT Playback::boxOf(const RECT& box, bool inclusive) {
    FPoint p = map_.at(box.left, box.top), q = map_.at(box.right, box.bottom);
    if (inclusive) {
        // One pixel of the recording device more, on the side that lies right and below there.
        const Affine page = state.world.then(state.page.map());
        const FPoint a = page.at(box.left, box.top), b = page.at(box.right, box.bottom);
        (a.x > b.x ? p.x : q.x) += placement_.a;
        (a.y > b.y ? p.y : q.y) += placement_.d;
    }
    if (measuring) {
        noteBounds(p);
        noteBounds(q);
    }
    const POINT i{roundAway(p.x), roundAway(p.y)}, k{roundAway(q.x), roundAway(q.y)};
    return {std::min(i.x, k.x), std::min(i.y, k.y), std::max(i.x, k.x), std::max(i.y, k.y)};
}

bool Playback::outlinedPen() const {
    const PlayPen& p = pen();
    if (!p.geometric || p.style == PS_NULL) return false;
    const bool plain = p.cap == LineCap::round && p.join == LineJoin::round;
    const bool dashed = p.style != PS_SOLID && p.style != PS_INSIDEFRAME;
    return (!plain || dashed) && p.width * penScale() * std::sqrt(std::abs(device_.determinant())) >= 1.5;
}

bool Playback::shaped() const { return inPath_ || !map_.upright() || outlinedPen(); }

StrokeStyle Playback::strokeStyle() const {
    const PlayPen& p = pen();
    StrokeStyle style;
    style.width = p.width * penScale();
    style.cap = p.cap;
    style.join = p.join;
    style.miterLimit = std::max(state.miterLimit, 1.0);
    style.left = seen_.left;
    style.top = seen_.top;
    style.right = seen_.right;
    style.bottom = seen_.bottom;
    static const struct {
        int style;
        std::vector<double> pattern; // in pen widths
    } patterns[] = {{PS_DASH, {3, 1}}, {PS_DOT, {1, 1}}, {PS_DASHDOT, {3, 1, 1, 1}}, {PS_DASHDOTDOT, {3, 1, 1, 1, 1, 1}}};
    for (const auto& row : patterns)
        if (row.style == p.style)
            for (const double v : row.pattern) style.dashes.push_back(v * style.width);
    if (p.style == PlayPen::userDashes)
        for (const double v : p.dashes) style.dashes.push_back(v * penScale());
    return style;
}

FlatPath& Playback::shapePath() {
    if (inPath_) return path_;
    shape_.clear();
    return shape_;
}

void Playback::finishShape(bool fill, bool stroke) {
    if (!inPath_) drawPath(shape_, fill, stroke);
}

void Playback::fillFigures(const FlatPath& path, int fillMode) {
    points_.clear();
    counts_.clear();
    for (const FlatPath::Figure& figure : path.figures) {
        if (figure.count < 2) continue;
        for (size_t i = 0; i < figure.count; ++i) {
            const FPoint p = path.points[figure.first + i];
            points_.push_back({roundAway(p.x), roundAway(p.y)});
        }
        counts_.push_back(static_cast<INT>(figure.count));
    }
    if (counts_.empty() || !affordContours(counts_, true, true)) return;
    if (fillMode != applied_->polyFillMode) {
        SetPolyFillMode(hDC_, fillMode);
        applied_->polyFillMode = fillMode;
    }
    // Pieces of an outline that a recording can't hold in one record; elsewhere they stay together for the raster operation.
    constexpr size_t mostRecorded = INT16_MAX;
    const size_t most = recording_ && fillMode == WINDING ? mostRecorded : counts_.size();
    const POINT* points = points_.data();
    for (size_t first = 0; first < counts_.size(); first += most) {
        const size_t n = std::min(most, counts_.size() - first);
        drew(PolyPolygon(hDC_, points, counts_.data() + first, static_cast<int>(n)));
        for (size_t i = first; i < first + n; ++i) points += counts_[i];
    }
}

void Playback::drawPath(const FlatPath& path, bool fill, bool stroke) {
    if (!usable_ || exhausted() || path.empty()) return;
    if (measuring) {
        for (const FPoint& p : path.points) noteBounds(p);
        return;
    }
    syncClip();
    syncModes();
    stroke = stroke && pen().style != PS_NULL;
    const bool outlined = outlinedPen();
    bool allClosed = true;
    for (const FlatPath::Figure& figure : path.figures) allClosed = allClosed && figure.closed;
    if (fill) {
        // One call where one will do, so that no pixel is drawn on twice.
        const bool together = stroke && !outlined && allClosed;
        if (together)
            syncPen();
        else
            selectPen(PS_NULL, 0, 0);
        syncBrush();
        fillFigures(path, state.polyFillMode);
        if (together) return;
    }
    if (!stroke) return;
    if (outlined) {
        FlatPath outline;
        strokeOutline(path, strokeStyle(), outline);
        selectPen(PS_NULL, 0, 0);
        selectSolid(color(pen().color));
        fillFigures(outline, WINDING);
        return;
    }
    syncPen();
    points_.clear();
    std::vector<DWORD> counts;
    for (const FlatPath::Figure& figure : path.figures) {
        const size_t n = figure.count + (figure.closed ? 1 : 0);
        if (n < 2) continue;
        for (size_t i = 0; i < n; ++i) {
            const FPoint p = path.points[figure.first + (i < figure.count ? i : 0)];
            points_.push_back({roundAway(p.x), roundAway(p.y)});
        }
        counts.push_back(static_cast<DWORD>(n));
    }
    if (!counts.empty() && affordContours(counts, false, true))
        drew(PolyPolyline(hDC_, points_.data(), counts.data(), static_cast<DWORD>(counts.size())));
}

// ---- lines ----

void Playback::moveTo(double x, double y) {
    state.position = {x, y};
    if (inPath_ && usable_) path_.moveTo(placed(x, y));
}

void Playback::lineTo(double x, double y) {
    const FPoint points[2] = {state.position, {x, y}};
    state.position = points[1];
    if (!usable_) return;
    if (inPath_) {
        // The position has moved already; the figure starts where it was.
        if (!path_.open()) path_.moveTo(placed(points[0].x, points[0].y));
        path_.lineTo(placed(x, y));
        return;
    }
    polyline(points, 2);
}

void Playback::polyline(const FPoint* points, size_t count) {
    const auto n = static_cast<uint32_t>(count);
    polyPolyline(points, &n, 1);
}

void Playback::polylineTo(const FPoint* points, size_t count) {
    if (!inPath_) {
        polyline(points, count);
        return;
    }
    if (!usable_) return;
    continuePath();
    for (size_t i = 1; i < count; ++i) path_.lineTo(placed(points[i].x, points[i].y));
}

void Playback::polyPolyline(const FPoint* points, const uint32_t* counts, size_t polylines) {
    if (!usable_ || exhausted()) return;
    if (shaped()) {
        FlatPath& path = shapePath();
        for (size_t i = 0; i < polylines; points += counts[i++]) {
            for (size_t k = 0; k < counts[i]; ++k) {
                const FPoint p = placed(points[k].x, points[k].y);
                if (k == 0)
                    path.moveTo(p);
                else
                    path.lineTo(p);
            }
        }
        finishShape(false, true);
        return;
    }
    points_.clear();
    std::vector<DWORD> used;
    for (size_t i = 0; i < polylines; points += counts[i++]) {
        if (counts[i] < 2) continue;
        for (size_t k = 0; k < counts[i]; ++k) points_.push_back(to(points[k]));
        used.push_back(counts[i]);
    }
    if (measuring || used.empty() || pen().style == PS_NULL) return;
    syncClip();
    syncModes();
    syncPen();
    if (!affordContours(used, false, true)) return;
    if (used.size() == 1)
        drew(Polyline(hDC_, points_.data(), static_cast<int>(points_.size())));
    else
        drew(PolyPolyline(hDC_, points_.data(), used.data(), static_cast<DWORD>(used.size())));
}

void Playback::polyPolygon(const FPoint* points, const uint32_t* counts, size_t polygons) {
    if (!usable_ || exhausted()) return;
    if (shaped()) {
        FlatPath& path = shapePath();
        for (size_t i = 0; i < polygons; points += counts[i++]) {
            for (size_t k = 0; k < counts[i]; ++k) {
                const FPoint p = placed(points[k].x, points[k].y);
                if (k == 0)
                    path.moveTo(p);
                else
                    path.lineTo(p);
            }
            path.close();
        }
        finishShape(true, true);
        return;
    }
    points_.clear();
    counts_.clear();
    for (size_t i = 0; i < polygons; points += counts[i++]) {
        if (counts[i] < 2) continue;
        for (size_t k = 0; k < counts[i]; ++k) points_.push_back(to(points[k]));
        counts_.push_back(static_cast<INT>(counts[i]));
    }
    if (measuring || counts_.empty()) return;
    syncFigure();
    if (!affordContours(counts_, true, true)) return;
    if (counts_.size() == 1)
        drew(Polygon(hDC_, points_.data(), counts_[0]));
    else
        drew(PolyPolygon(hDC_, points_.data(), counts_.data(), static_cast<int>(counts_.size())));
}

void Playback::addBezier(FlatPath& path, const FPoint* points, size_t count) {
    for (size_t i = 0; i + 3 <= count; i += 3) {
        const FPoint a = placed(points[i].x, points[i].y), b = placed(points[i + 1].x, points[i + 1].y);
        path.curveTo(a, b, placed(points[i + 2].x, points[i + 2].y));
    }
}

void Playback::bezier(const FPoint* points, size_t count) {
    if (!usable_ || count < 4) return;
    FlatPath& path = shapePath();
    const FPoint start = placed(points[0].x, points[0].y);
    // A curve that goes on from the current position goes on with the figure as well.
    if (!path.open() || std::abs(path.last().x - start.x) + std::abs(path.last().y - start.y) > 1e-9) path.moveTo(start);
    addBezier(path, points + 1, count - 1);
    finishShape(false, true);
}

// ---- shapes in a box ----

void Playback::rectangle(const RECT& box, bool inclusive) {
    if (!usable_ || exhausted()) return;
    if (shaped()) {
        FlatPath& path = shapePath();
        path.moveTo(placed(box.left, box.top));
        path.lineTo(placed(box.right, box.top));
        path.lineTo(placed(box.right, box.bottom));
        path.lineTo(placed(box.left, box.bottom));
        path.close();
        finishShape(true, true);
        return;
    }
    const RECT b = boxOf(box, inclusive);
    if (measuring) return;
    syncFigure();
    if (affordBox(b, cost::fillPixel, true)) drew(Rectangle(hDC_, b.left, b.top, b.right, b.bottom));
}

namespace {

struct BoxAxes {
    double cx, cy, rx, ry;
    explicit BoxAxes(const RECT& b)
        : cx((static_cast<double>(b.left) + b.right) / 2), cy((static_cast<double>(b.top) + b.bottom) / 2),
          rx(std::abs(static_cast<double>(b.right) - b.left) / 2), ry(std::abs(static_cast<double>(b.bottom) - b.top) / 2) {}
};

constexpr double fullTurn = 2 * std::numbers::pi;

} // namespace

void Playback::roundRect(const RECT& box, bool inclusive, double width, double height) {
    if (!usable_ || exhausted()) return;
    if (shaped()) {
        const BoxAxes axes(box);
        const double rx = std::min(std::abs(width) / 2, axes.rx), ry = std::min(std::abs(height) / 2, axes.ry);
        const double x = axes.rx - rx, y = axes.ry - ry;
        FlatPath& path = shapePath();
        if (path.open()) path.moveTo(placed(axes.cx + axes.rx, axes.cy + y));
        const FPoint a = map_.vector(rx, 0), b = map_.vector(0, ry);
        constexpr double quarter = std::numbers::pi / 2;
        path.arc(placed(axes.cx + x, axes.cy + y), a, b, 0, quarter);
        path.arc(placed(axes.cx - x, axes.cy + y), a, b, quarter, quarter);
        path.arc(placed(axes.cx - x, axes.cy - y), a, b, 2 * quarter, quarter);
        path.arc(placed(axes.cx + x, axes.cy - y), a, b, 3 * quarter, quarter);
        path.close();
        finishShape(true, true);
        return;
    }
    const RECT b = boxOf(box, inclusive);
    if (measuring) return;
    syncFigure();
    if (affordBox(b, cost::fillPixel, true))
        drew(RoundRect(hDC_, b.left, b.top, b.right, b.bottom, roundAway(lengthOf(map_.vector(width, 0))),
                       roundAway(lengthOf(map_.vector(0, height)))));
}

void Playback::ellipse(const RECT& box, bool inclusive) {
    if (!usable_ || exhausted()) return;
    if (shaped()) {
        const BoxAxes axes(box);
        FlatPath& path = shapePath();
        if (path.open()) path.moveTo(placed(axes.cx + axes.rx, axes.cy));
        path.arc(placed(axes.cx, axes.cy), map_.vector(axes.rx, 0), map_.vector(0, axes.ry), 0, fullTurn);
        path.close();
        finishShape(true, true);
        return;
    }
    const RECT b = boxOf(box, inclusive);
    if (measuring) return;
    syncFigure();
    if (affordBox(b, cost::fillPixel, true)) drew(Ellipse(hDC_, b.left, b.top, b.right, b.bottom));
}

void Playback::arc(ArcForm form, const RECT& box, bool inclusive, FPoint start, FPoint end) {
    if (!usable_ || exhausted()) return;
    const BoxAxes axes(box);
    const Affine page = state.page.map();
    // Which way round is counted as the eye sees it on the recording device, so that axes that point the other way on the
    // page don't turn it about, and a mirroring of the world does.
    const bool pageMirrors = page.determinant() < 0, worldMirrors = state.world.determinant() < 0;
    const auto angleOf = [&](FPoint p) { return std::atan2((p.y - axes.cy) / axes.ry, (p.x - axes.cx) / axes.rx); };
    const bool flat = !(axes.rx > 0) || !(axes.ry > 0);
    const double from = flat ? 0 : angleOf(start), to_ = flat ? 0 : angleOf(end);
    // The parameter grows clockwise where y points down.
    const bool grows = state.clockwise != pageMirrors;
    double sweep = to_ - from;
    if (grows && sweep <= 0) sweep += fullTurn;
    if (!grows && sweep >= 0) sweep -= fullTurn;
    const FPoint last{axes.cx + axes.rx * std::cos(to_), axes.cy + axes.ry * std::sin(to_)};
    if (form == ArcForm::arcTo || shaped()) {
        FlatPath& path = shapePath();
        if (form == ArcForm::arcTo) {
            if (!path.open()) path.moveTo(placed(state.position.x, state.position.y));
            state.position = last;
        } else if (path.open()) {
            path.moveTo(placed(axes.cx + axes.rx * std::cos(from), axes.cy + axes.ry * std::sin(from)));
        }
        path.arc(placed(axes.cx, axes.cy), map_.vector(axes.rx, 0), map_.vector(0, axes.ry), from, sweep);
        if (form == ArcForm::pie) path.lineTo(placed(axes.cx, axes.cy));
        const bool closed = form == ArcForm::chord || form == ArcForm::pie;
        if (closed) path.close();
        finishShape(closed, true);
        return;
    }
    const RECT b = boxOf(box, inclusive);
    POINT p = to(start), q = to(end);
    if (measuring) return;
    if (state.clockwise != (mirrored_ != worldMirrors)) std::swap(p, q);
    syncFigure();
    const auto draw = form == ArcForm::arc ? Arc : form == ArcForm::chord ? Chord : Pie;
    if (affordBox(b, cost::fillPixel, true)) drew(draw(hDC_, b.left, b.top, b.right, b.bottom, p.x, p.y, q.x, q.y));
}

void Playback::angleArc(FPoint center, double radius, double startDegrees, double sweepDegrees) {
    if (!usable_ || exhausted() || !std::isfinite(startDegrees) || !std::isfinite(sweepDegrees)) return;
    // Angles count against the clock; turns beyond the first draw the same again.
    const double from = -std::fmod(startDegrees, 360) * std::numbers::pi / 180;
    const double sweep = -std::clamp(sweepDegrees, -360.0, 360.0) * std::numbers::pi / 180;
    FlatPath& path = shapePath();
    if (!path.open()) path.moveTo(placed(state.position.x, state.position.y));
    path.arc(placed(center.x, center.y), map_.vector(radius, 0), map_.vector(0, radius), from, sweep);
    state.position = {center.x + radius * std::cos(from + sweep), center.y + radius * std::sin(from + sweep)};
    finishShape(false, true);
}

void Playback::setPixel(double x, double y, COLORREF pixelColor) {
    if (!usable_ || exhausted()) return;
    const POINT p = to(x, y), q = to(x + 1, y + 1);
    if (measuring) return;
    syncClip();
    if (std::abs(int64_t{q.x} - p.x) <= 1 && std::abs(int64_t{q.y} - p.y) <= 1) {
        SetPixelV(hDC_, p.x, p.y, color(pixelColor));
        return;
    }
    // A dot of the picture is as large as it is there.
    const RECT box{std::min(p.x, q.x), std::min(p.y, q.y), std::max(saturate(int64_t{p.x} + 1), q.x),
                   std::max(saturate(int64_t{p.y} + 1), q.y)};
    if (!affordBox(box, cost::fillPixel)) return;
    selectSolid(color(pixelColor));
    drew(FillRect(hDC_, &box, applied_->brush));
}

void Playback::floodFill(double x, double y, COLORREF stop, UINT type) {
    if (!usable_ || exhausted()) return;
    const POINT p = to(x, y);
    if (measuring || !raster_) return;
    syncClip();
    syncModes();
    syncBrush();
    // Nobody knows before how far it reaches; that it reached there is noted in a bit for each pixel.
    const double room = seenPixels(seen_.left, seen_.top, seen_.right, seen_.bottom) / 8;
    if (!budget.pay(room)) return;
    size_t filled = 0;
    if (!fillFlood(hDC_, p.x, p.y, color(stop), type, filled) && GetLastError() == ERROR_OUT_OF_MEMORY)
        throw std::bad_alloc();
    budget.pay(static_cast<double>(filled) * cost::floodPixel);
}

// ---- paths ----

void Playback::beginPath() {
    path_.clear();
    inPath_ = true;
}

void Playback::continuePath() {
    if (inPath_ && usable_ && !path_.open()) path_.moveTo(placed(state.position.x, state.position.y));
}

void Playback::abortPath() {
    path_.clear();
    inPath_ = false;
}

void Playback::closeFigure() {
    if (inPath_) path_.close();
}

void Playback::paintPath(bool fill, bool stroke) {
    inPath_ = false;
    drawPath(path_, fill, stroke);
    path_.clear();
}

void Playback::widenPath() {
    inPath_ = false;
    if (!budget.pay(static_cast<double>(path_.points.size()) * cost::vertex)) return;
    FlatPath outline;
    StrokeStyle style = strokeStyle();
    style.width = std::max(style.width, 1.0);
    strokeOutline(path_, style, outline);
    path_ = std::move(outline);
}

} // namespace kb::gdi
