// Flattening, and pens with flat or square ends and sharp corners. A stroke is the union of its pieces: a quadrilateral
// for each segment, a wedge for each corner, a cap for each end. Each is turned the same way, so that filling by winding
// paints the union once and no outline has to be computed.
#include "platform/gdi/flat_path.h"

#include <algorithm>
#include <numbers>

namespace kb::gdi {

void FlatPath::moveTo(FPoint p) {
    if (points.size() >= mostPoints) return;
    // A move onto a move takes its place.
    if (open_ && figures.back().count == 1) {
        points.back() = p;
        return;
    }
    figures.push_back({points.size(), 1, false});
    points.push_back(p);
    open_ = true;
}

void FlatPath::lineTo(FPoint p) {
    if (!open_) {
        moveTo(p);
        return;
    }
    if (points.size() >= mostPoints) return;
    points.push_back(p);
    ++figures.back().count;
}

void FlatPath::close() {
    if (!open_) return;
    figures.back().closed = true;
    open_ = false;
}

void FlatPath::curveTo(FPoint a, FPoint b, FPoint end) {
    if (!open_) moveTo(a);
    if (points.empty()) return;
    const FPoint start = points.back();
    // The second differences bound how far a chain of n chords lies off the curve: 3/4 of the greater over n squared.
    const double d = std::max(std::hypot(start.x - 2 * a.x + b.x, start.y - 2 * a.y + b.y),
                              std::hypot(a.x - 2 * b.x + end.x, a.y - 2 * b.y + end.y));
    const double wanted = std::sqrt(d * 0.75 / 0.1);
    const int n = wanted < 128 ? std::max(static_cast<int>(wanted) + 1, 1) : 128;
    for (int i = 1; i < n; ++i) {
        const double t = static_cast<double>(i) / n, s = 1 - t;
        const double k0 = s * s * s, k1 = 3 * s * s * t, k2 = 3 * s * t * t, k3 = t * t * t;
        lineTo({k0 * start.x + k1 * a.x + k2 * b.x + k3 * end.x, k0 * start.y + k1 * a.y + k2 * b.y + k3 * end.y});
    }
    lineTo(end);
}

void FlatPath::arc(FPoint middle, FPoint axisA, FPoint axisB, double from, double sweep) {
    const double radius = std::max({lengthOf(axisA), lengthOf(axisB), 1.0});
    const double wanted = std::abs(sweep) / std::sqrt(0.8 / radius) + 1;
    const int n = wanted < 1024 ? std::max(static_cast<int>(wanted), 4) : 1024;
    for (int i = 0; i <= n; ++i) {
        const double angle = from + sweep * i / n, u = std::cos(angle), v = std::sin(angle);
        lineTo({middle.x + axisA.x * u + axisB.x * v, middle.y + axisA.y * u + axisB.y * v});
    }
}

namespace {

class Stroker {
public:
    Stroker(const StrokeStyle& style, FlatPath& out) : style_(style), half_(style.width / 2), out_(out) {}

    void chain(const FPoint* points, size_t count, bool closed) {
        clean_.clear();
        for (size_t i = 0; i < count; ++i)
            if (clean_.empty() || lengthOf(minus(points[i], clean_.back())) > 1e-6) clean_.push_back(points[i]);
        while (closed && clean_.size() > 1 && lengthOf(minus(clean_.front(), clean_.back())) <= 1e-6) clean_.pop_back();
        if (clean_.size() < 2) {
            if (!clean_.empty()) dot(clean_[0]);
            return;
        }
        if (style_.dashes.empty())
            plain(clean_, closed && clean_.size() > 2);
        else
            dashed(closed);
    }

private:
    static FPoint minus(FPoint a, FPoint b) { return {a.x - b.x, a.y - b.y}; }
    static FPoint direction(FPoint a, FPoint b) {
        const double length = lengthOf(minus(b, a));
        return {(b.x - a.x) / length, (b.y - a.y) / length};
    }

    void piece(const FPoint* points, size_t count) {
        double area = 0;
        for (size_t i = 0; i < count; ++i) {
            const FPoint p = points[i], q = points[i + 1 < count ? i + 1 : 0];
            area += p.x * q.y - q.x * p.y;
        }
        for (size_t i = 0; i < count; ++i) {
            const FPoint p = points[area < 0 ? count - 1 - i : i];
            if (i == 0)
                out_.moveTo(p);
            else
                out_.lineTo(p);
        }
        out_.close();
    }

    void disc(FPoint p) {
        const int n = std::clamp(static_cast<int>(std::sqrt(half_) * 7), 8, 64);
        std::vector<FPoint> rim(static_cast<size_t>(n));
        for (int i = 0; i < n; ++i) {
            const double angle = 2 * std::numbers::pi * i / n;
            rim[static_cast<size_t>(i)] = {p.x + half_ * std::cos(angle), p.y + half_ * std::sin(angle)};
        }
        piece(rim.data(), rim.size());
    }

    void dot(FPoint p) {
        if (style_.cap == LineCap::round) disc(p);
        if (style_.cap == LineCap::square) segment({p.x - half_, p.y}, {p.x + half_, p.y});
    }

    void segment(FPoint a, FPoint b) {
        const FPoint d = direction(a, b), n{-d.y * half_, d.x * half_};
        const FPoint corners[4] = {
            {a.x + n.x, a.y + n.y}, {b.x + n.x, b.y + n.y}, {b.x - n.x, b.y - n.y}, {a.x - n.x, a.y - n.y}};
        piece(corners, 4);
    }

    // From direction u to direction v at p: the gap is on the outer side.
    void join(FPoint p, FPoint u, FPoint v) {
        const double cross = u.x * v.y - u.y * v.x, dot = u.x * v.x + u.y * v.y;
        if (std::abs(cross) < 1e-9 && dot > 0) return;
        if (style_.join == LineJoin::round) {
            disc(p);
            return;
        }
        const double side = cross < 0 ? half_ : -half_;
        const FPoint a{p.x - u.y * side, p.y + u.x * side}, b{p.x - v.y * side, p.y + v.x * side};
        // The tip is as many half widths out as one over the cosine of half the turn.
        const double cosineHalf = std::sqrt(std::max((1 + dot) / 2, 0.0));
        if (style_.join == LineJoin::miter && cosineHalf * style_.miterLimit >= 1) {
            const FPoint m{(a.x + b.x) / 2 - p.x, (a.y + b.y) / 2 - p.y};
            const double scale = 1 / (cosineHalf * cosineHalf);
            const FPoint corners[4] = {p, a, {p.x + m.x * scale, p.y + m.y * scale}, b};
            piece(corners, 4);
            return;
        }
        const FPoint corners[3] = {p, a, b};
        piece(corners, 3);
    }

    // `from` lies at the end, `p`.
    void cap(FPoint from, FPoint p) {
        if (style_.cap == LineCap::round) disc(p);
        if (style_.cap != LineCap::square) return;
        const FPoint d = direction(from, p);
        segment(p, {p.x + d.x * half_, p.y + d.y * half_});
    }

    void plain(const std::vector<FPoint>& p, bool closed) {
        const size_t segments = closed ? p.size() : p.size() - 1;
        const auto at = [&p](size_t i) { return p[i % p.size()]; };
        for (size_t i = 0; i < segments; ++i) {
            segment(at(i), at(i + 1));
            if (i + 1 < segments || closed) join(at(i + 1), direction(at(i), at(i + 1)), direction(at(i + 1), at(i + 2)));
        }
        if (closed) return;
        cap(p[1], p[0]);
        cap(p[p.size() - 2], p.back());
    }

    // The part low..high (0 to 1) of a segment on which the pen may be seen; false when there is none.
    bool visiblePart(FPoint a, FPoint b, double& low, double& high) const {
        low = 0;
        high = 1;
        const double margin = half_ * std::clamp(style_.miterLimit, 2.0, 100.0) + 1;
        const auto cut = [&](double start, double delta, double least, double most) {
            if (delta == 0) return start >= least && start <= most;
            const double u = (least - start) / delta, v = (most - start) / delta;
            low = std::max(low, std::min(u, v));
            high = std::min(high, std::max(u, v));
            return low <= high;
        };
        return cut(a.x, b.x - a.x, style_.left - margin, style_.right + margin) &&
               cut(a.y, b.y - a.y, style_.top - margin, style_.bottom + margin);
    }

    // Where a pattern of dashes stands.
    struct Phase {
        const std::vector<double>& dashes; // an even number of them
        double cycle;
        size_t index = 0;
        double left; // of the dash or gap
        bool on() const { return index % 2 == 0; }
        void next() {
            index = (index + 1) % dashes.size();
            left = dashes[index];
        }
        void advance(double length) {
            length = std::fmod(length, cycle);
            for (; length > left; next()) length -= left;
            left -= length;
        }
    };

    void dashed(bool closed) {
        std::vector<double> dashes;
        for (size_t i = 0; i < style_.dashes.size() * (style_.dashes.size() % 2 + 1); ++i)
            dashes.push_back(std::max(style_.dashes[i % style_.dashes.size()], 0.01));
        double cycle = 0;
        for (const double v : dashes) cycle += v;
        // Patterns that can't be told from a line, or whose pieces nobody could count, are one.
        constexpr double least = 0.5, mostCycles = 16'384;
        const size_t segments = closed ? clean_.size() : clean_.size() - 1;
        const auto end = [&](size_t i) { return clean_[i + 1 < clean_.size() ? i + 1 : 0]; };
        double cycles = 0;
        for (size_t i = 0; i < segments; ++i)
            if (double low, high; visiblePart(clean_[i], end(i), low, high))
                cycles += lengthOf(minus(end(i), clean_[i])) * (high - low) / cycle;
        if (!(cycle >= least) || !(cycles <= mostCycles)) {
            plain(clean_, closed && clean_.size() > 2);
            return;
        }
        std::vector<FPoint> run;
        const auto endRun = [&] {
            if (run.size() > 1)
                plain(run, false);
            else if (run.size() == 1)
                dot(run[0]);
            run.clear();
        };
        Phase phase{dashes, cycle, 0, dashes[0]};
        run.push_back(clean_[0]);
        for (size_t i = 0; i < segments; ++i) {
            const FPoint a = clean_[i], b = end(i);
            const double length = lengthOf(minus(b, a));
            const auto at = [&](double t) { return FPoint{a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t}; };
            double low, high;
            if (!visiblePart(a, b, low, high)) low = high = 1;
            const auto skip = [&](double from, double to) {
                if (to <= from) return;
                if (run.size() > 1) plain(run, false);
                run.clear();
                phase.advance((to - from) * length);
                if (phase.on()) run.assign(1, at(to));
            };
            skip(0, low);
            double done = low * length;
            const double visible = high * length;
            while (visible - done > phase.left) {
                done += phase.left;
                const FPoint p = at(done / length);
                if (phase.on()) {
                    run.push_back(p);
                    endRun();
                } else {
                    run.assign(1, p);
                }
                phase.next();
            }
            phase.left -= visible - done;
            if (phase.on() && !run.empty() && lengthOf(minus(at(high), run.back())) > 1e-6) run.push_back(at(high));
            skip(high, 1);
        }
        if (phase.on()) endRun();
    }

    const StrokeStyle& style_;
    double half_;
    FlatPath& out_;
    std::vector<FPoint> clean_;
};

} // namespace

void strokeOutline(const FlatPath& path, const StrokeStyle& style, FlatPath& out) {
    Stroker stroker(style, out);
    for (const FlatPath::Figure& figure : path.figures)
        stroker.chain(path.points.data() + figure.first, figure.count, figure.closed);
}

} // namespace kb::gdi
