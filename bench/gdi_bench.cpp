// Speed of the graphics device layer on an A4 page at 300 dots an inch: 100,000 mixed objects with the calls that the
// engine makes around each (save, clip, pen, brush, font, modes, restore), each kind alone, large translucent fills and a
// long thin line. The argument is the depth.
#include "platform/gdi.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstring>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int pageWidth = 2480, pageHeight = 3508;

struct Page {
    std::vector<uint8_t> bytes;
    HDC dc;
    explicit Page(int bits) : bytes(static_cast<size_t>(pageWidth) * pageHeight * 4, 255) {
        const int stride = (pageWidth * bits + 31) / 32 * 4;
        dc = KbCreateSurfaceDC(bytes.data(), pageWidth, pageHeight, stride, bits, nullptr, 0);
    }
    ~Page() { DeleteDC(dc); }
};

struct Object {
    char type; // L line, R rectangle, E ellipse, P polygon, F freehand, T text
    RECT box;
    COLORREF pen, brush;
    std::vector<POINT> points;
    std::string text;
};

std::vector<Object> mixedObjects(char only) {
    std::mt19937 random(1);
    const auto between = [&](int low, int high) {
        return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
    };
    const auto fraction = [&] { return static_cast<double>(random()) / 4294967296.0; };
    const auto place = [](double x, double y) { return POINT{static_cast<LONG>(x), static_cast<LONG>(y)}; };
    std::vector<Object> objects;
    for (int i = 0; i < 100000; ++i) {
        Object o{};
        const int kind = between(0, 99), w = between(10, 200), h = between(10, 200);
        const int x = between(-50, pageWidth - 50), y = between(-50, pageHeight - 50);
        o.box = {x, y, x + w, y + h};
        o.pen = static_cast<COLORREF>(random() & 0xFFFFFF);
        o.brush = static_cast<COLORREF>(random() & 0xFFFFFF);
        o.type = kind < 30 ? 'L' : kind < 50 ? 'R' : kind < 65 ? 'E' : kind < 80 ? 'P' : kind < 90 ? 'F' : 'T';
        if (o.type == 'L') o.points = {{x, y}, {x + (random() & 1 ? w : -w), y + (random() & 1 ? h : -h)}};
        for (int k = 0; o.type == 'P' && k < 8; ++k) {
            const double angle = (k + fraction() * 0.9) * std::numbers::pi / 4, r = 0.3 + 0.7 * fraction();
            o.points.push_back(
                place(x + w / 2.0 + w / 2.0 * r * std::cos(angle), y + h / 2.0 + h / 2.0 * r * std::sin(angle)));
        }
        double px = fraction() * w, py = fraction() * h, angle = fraction() * 6.28;
        for (int k = 0; o.type == 'F' && k < 64; ++k) { // a pen that wanders within the box
            o.points.push_back(place(x + px, y + py));
            angle += (fraction() - 0.5) * 1.6;
            const double step = std::max(w, h) / 14.0 + 1;
            px = std::clamp(px + step * std::cos(angle), 0.0, static_cast<double>(w));
            py = std::clamp(py + step * std::sin(angle), 0.0, static_cast<double>(h));
        }
        for (int k = 0; o.type == 'T' && k < 20; ++k) o.text += static_cast<char>('a' + between(0, 25));
        if (only == '*' || only == o.type) objects.push_back(o);
    }
    return objects;
}

void drawShape(HDC dc, const Object& o) {
    const auto count = static_cast<int>(o.points.size());
    switch (o.type) {
    case 'R': Rectangle(dc, o.box.left, o.box.top, o.box.right, o.box.bottom); break;
    case 'E': Ellipse(dc, o.box.left, o.box.top, o.box.right, o.box.bottom); break;
    case 'P': Polygon(dc, o.points.data(), count); break;
    case 'T': {
        LOGFONTA font{};
        font.lfHeight = -16;
        font.lfWeight = FW_NORMAL;
        std::strcpy(font.lfFaceName, "DejaVu Sans");
        const HFONT made = CreateFontIndirectA(&font);
        const HGDIOBJ old = SelectObject(dc, made);
        TextOutA(dc, o.box.left, o.box.top, o.text.data(), static_cast<int>(o.text.size()));
        SelectObject(dc, old);
        DeleteObject(made);
        break;
    }
    default: Polyline(dc, o.points.data(), count); break;
    }
}

void drawObject(HDC dc, const Object& o, bool shape) {
    SaveDC(dc);
    IntersectClipRect(dc, o.box.left - 220, o.box.top - 220, o.box.right + 220, o.box.bottom + 220);
    const int width = o.type == 'E' ? 3 : o.type == 'F' ? 2 : 0;
    const HPEN pen = CreatePen(o.type == 'P' ? PS_NULL : PS_SOLID, width, o.pen);
    const LOGBRUSH brush{static_cast<UINT>(o.type == 'R' || o.type == 'P' ? BS_SOLID : BS_NULL), o.brush, 0};
    const HBRUSH made = CreateBrushIndirect(&brush);
    SetBrushOrgEx(dc, o.box.left, o.box.top, nullptr);
    SelectObject(dc, pen);
    SelectObject(dc, made);
    SetTextColor(dc, o.pen);
    SetBkColor(dc, o.brush);
    SetBkMode(dc, TRANSPARENT);
    SetROP2(dc, R2_COPYPEN);
    SetPolyFillMode(dc, ALTERNATE);
    if (shape) drawShape(dc, o);
    RestoreDC(dc, -1);
    DeleteObject(pen);
    DeleteObject(made);
}

void objects(benchmark::State& state, char only, bool shapes) {
    const Page page(static_cast<int>(state.range(0)));
    const std::vector<Object> scene = mixedObjects(only);
    for (auto _ : state)
        for (const Object& o : scene) drawObject(page.dc, o, shapes);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(scene.size()));
}

void largeFills(benchmark::State& state, int rop) {
    const Page page(static_cast<int>(state.range(0)));
    const HBRUSH brush = CreateSolidBrush(0xF0E0C0);
    SelectObject(page.dc, brush);
    SelectObject(page.dc, GetStockObject(NULL_PEN));
    SetROP2(page.dc, rop);
    std::mt19937 random(2);
    for (auto _ : state) {
        const auto x = static_cast<int>(random() % (pageWidth - 500)), y = static_cast<int>(random() % (pageHeight - 500));
        Rectangle(page.dc, x, y, x + 501, y + 501);
    }
    state.SetBytesProcessed(state.iterations() * 500 * 500 * state.range(0) / 8);
    SelectObject(page.dc, GetStockObject(WHITE_BRUSH));
    DeleteObject(brush);
}

void longLine(benchmark::State& state) {
    const Page page(static_cast<int>(state.range(0)));
    std::mt19937 random(4);
    std::vector<POINT> points;
    double x = pageWidth / 2.0, y = pageHeight / 2.0, angle = 0;
    for (int i = 0; i < 1000000; ++i) {
        points.push_back({static_cast<LONG>(x), static_cast<LONG>(y)});
        angle += static_cast<double>(random()) / 4294967296.0 - 0.5;
        x = std::clamp(x + 5 * std::cos(angle), 5.0, pageWidth - 5.0);
        y = std::clamp(y + 5 * std::sin(angle), 5.0, pageHeight - 5.0);
    }
    for (auto _ : state) Polyline(page.dc, points.data(), static_cast<int>(points.size()));
    state.SetItemsProcessed(state.iterations() * 1000000);
}

BENCHMARK_CAPTURE(objects, mixed, '*', true)->Arg(32)->Arg(24)->Arg(8)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(objects, lines, 'L', true)->Arg(32)->Arg(24)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(objects, rectangles, 'R', true)->Arg(32)->Arg(24)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(objects, ellipses, 'E', true)->Arg(32)->Arg(24)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(objects, polygons, 'P', true)->Arg(32)->Arg(24)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(objects, freehand, 'F', true)->Arg(32)->Arg(24)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(objects, text, 'T', true)->Arg(32)->Arg(24)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(objects, state_alone, '*', false)->Arg(32)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(largeFills, and_500x500, R2_MASKPEN)->Arg(32)->Arg(24);
BENCHMARK_CAPTURE(largeFills, copy_500x500, R2_COPYPEN)->Arg(32)->Arg(24);
BENCHMARK(longLine)->Arg(32)->Arg(24)->Unit(benchmark::kMillisecond);

} // namespace
