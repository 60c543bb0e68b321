// Hits and selections on a dense page: 100,000 shapes of 10 to 200 pixels on a page of 2480 x 3508, the mix that other
// programs were measured on (lines, rectangles, ellipses, polygons, strokes, texts), and 10,000 points on it.
#include "kbann/kbann.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace {

constexpr int pageWidth = 2480, pageHeight = 3508, shapes = 100'000, questions = 10'000;

class Random {
public:
    explicit Random(uint64_t seed) : state_(seed) {}
    uint64_t next() {
        uint64_t z = state_ += 0x9E3779B97F4A7C15u;
        z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
        z = (z ^ z >> 27) * 0x94D049BB133111EBu;
        return z ^ z >> 31;
    }
    int between(int low, int high) { return low + static_cast<int>(next() % static_cast<uint64_t>(high - low + 1)); }
    double fraction() { return static_cast<double>(next() >> 11) * 0x1p-53; }

private:
    uint64_t state_;
};

HANNOBJECT add(HANNOBJECT container, uint32_t type, const std::vector<AnnPoint>& points, double width) {
    HANNOBJECT made = nullptr;
    K_AnnCreateItem(container, type, TRUE, &made);
    if (points.size() == 2 && type != ANN_OBJECT_LINE) {
        const AnnRect box{points[0].x, points[0].y, points[1].x, points[1].y};
        K_AnnSetRect(made, &box);
    } else {
        K_AnnSetPoints(made, points.data(), static_cast<uint32_t>(points.size()));
    }
    K_AnnSetLineWidth(made, width, 0);
    return made;
}

void addShape(HANNOBJECT container, Random& random) {
    const int kind = random.between(0, 99);
    const double w = random.between(10, 200), h = random.between(10, 200);
    const double x = random.between(-50, pageWidth - 50), y = random.between(-50, pageHeight - 50);
    const std::vector<AnnPoint> box{{x, y}, {x + w - 1, y + h - 1}};
    if (kind < 30) {
        const double dx = random.next() & 1 ? w : -w, dy = random.next() & 1 ? h : -h;
        add(container, ANN_OBJECT_LINE, {{x, y}, {x + dx, y + dy}}, 1);
    } else if (kind < 50) {
        K_AnnSetFillMode(add(container, ANN_OBJECT_RECT, box, 1), ANN_FILLMODE_OPAQUE, 0);
    } else if (kind < 65) {
        add(container, ANN_OBJECT_ELLIPSE, box, 3);
    } else if (kind < 80) {
        std::vector<AnnPoint> star;
        for (int i = 0; i < 8; ++i) {
            const double angle = (i + random.fraction() * 0.9) * std::numbers::pi / 4, r = 0.3 + 0.7 * random.fraction();
            star.push_back(
                {std::floor(x + w / 2 + w / 2 * r * std::cos(angle)), std::floor(y + h / 2 + h / 2 * r * std::sin(angle))});
        }
        const HANNOBJECT polygon = add(container, ANN_OBJECT_POLYGON, star, 1);
        K_AnnSetFillMode(polygon, ANN_FILLMODE_OPAQUE, 0);
        K_AnnSetLineStyle(polygon, ANN_LINE_NULL, 0);
        K_AnnSetPolyFillMode(polygon, ANN_POLYFILL_ALTERNATE, 0);
    } else if (kind < 90) {
        std::vector<AnnPoint> stroke;
        double px = random.fraction() * w, py = random.fraction() * h, angle = random.fraction() * 6.28;
        const double step = std::max(w, h) / 14 + 1;
        for (int i = 0; i < 64; ++i) {
            stroke.push_back({std::floor(x + px), std::floor(y + py)});
            angle += (random.fraction() - 0.5) * 1.6;
            px += step * std::cos(angle);
            py += step * std::sin(angle);
            if (px < 0 || px > w) angle = std::numbers::pi - angle;
            if (py < 0 || py > h) angle = -angle;
            px = std::clamp(px, 0.0, w);
            py = std::clamp(py, 0.0, h);
        }
        add(container, ANN_OBJECT_FREEHAND, stroke, 2);
    } else {
        add(container, ANN_OBJECT_TEXT, {{x, y}, {x + 2000, y + 30}}, 1);
    }
}

struct Page {
    HANNOBJECT root = nullptr, group = nullptr; // all shapes in a group, if there is one
    HANNOBJECT front = nullptr;

    explicit Page(bool grouped) {
        const AnnRect sheet{0, 0, pageWidth, pageHeight};
        K_AnnCreateContainer(nullptr, &sheet, TRUE, &root);
        if (grouped) {
            K_AnnCreateItem(root, ANN_OBJECT_CONTAINER, TRUE, &group);
            K_AnnSetRect(group, &sheet);
            K_AnnSetGrouping(group, TRUE, 0);
        }
        Random random(1);
        for (int i = 0; i < shapes; ++i) addShape(grouped ? group : root, random);
        front = add(root, ANN_OBJECT_RECT, {{1, 1}, {3, 3}}, 1);
    }
    ~Page() { K_AnnDestroy(root, ANN_FLAG_NOINVALIDATE); }
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;
};

std::vector<POINT> points() {
    Random random(5);
    std::vector<POINT> made(questions);
    for (POINT& p : made) p = {random.between(0, pageWidth - 1), random.between(0, pageHeight - 1)};
    return made;
}

HANNOBJECT hit(HANNOBJECT root, POINT point) {
    uint32_t result = 0;
    HANNOBJECT object = nullptr;
    K_AnnHitTest(root, &point, &result, &object);
    return object;
}

// 10,000 hits on a page that has just been changed: making the index is among them.
void HitsOnDensePage(benchmark::State& state) {
    const Page page(false);
    const auto asked = points();
    int64_t items = 0;
    double shift = 0;
    for (auto _ : state) {
        state.PauseTiming();
        K_AnnMove(page.front, shift = shift > 0 ? -1 : 1, 0, 0);
        state.ResumeTiming();
        items = 0;
        for (const POINT& p : asked) items += hit(page.root, p) != page.root;
    }
    state.counters["items hit"] = static_cast<double>(items);
    state.counters["us a hit"] =
        benchmark::Counter(questions * 1e-6, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(HitsOnDensePage)->Unit(benchmark::kMillisecond);

// The tree changes before each hit, as in a drag.
void HitsWhileDragging(benchmark::State& state) {
    const Page page(false);
    const auto asked = points();
    size_t i = 0;
    for (auto _ : state) {
        K_AnnMove(page.front, i % 2 ? -1 : 1, 0, 0);
        benchmark::DoNotOptimize(hit(page.root, asked[i++ % asked.size()]));
    }
}
BENCHMARK(HitsWhileDragging)->Unit(benchmark::kMicrosecond);

// Points beside the page meet nothing: the walk to the end, and what the index makes of it.
void MissesBesideThePage(benchmark::State& state) {
    const Page page(false);
    for (auto _ : state) {
        if (state.range(0)) K_AnnMove(page.front, 1, 0, 0);
        benchmark::DoNotOptimize(hit(page.root, {pageWidth + 3000, 5}));
    }
}
BENCHMARK(MissesBesideThePage)->ArgName("changed before each")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void selectRect(benchmark::State& state, bool grouped, RECT rect) {
    const Page page(grouped);
    uint32_t count = 0;
    for (auto _ : state) {
        state.PauseTiming();
        K_AnnSetSelected(page.root, FALSE, ANN_FLAG_RECURSE);
        state.ResumeTiming();
        K_AnnSelectRect(page.root, &rect);
    }
    K_AnnGetSelectCount(page.root, &count);
    state.counters["selected"] = count;
}
constexpr RECT aboutAThousand{800, 800, 1250, 1250}, everything{-8000, -8000, 16000, 16000};
BENCHMARK_CAPTURE(selectRect, AThousandInside, false, aboutAThousand)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(selectRect, AllInside, false, everything)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(selectRect, AllInsideInAGroup, true, everything)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(selectRect, GroupTakenByAFew, true, aboutAThousand)->Unit(benchmark::kMillisecond);

} // namespace
