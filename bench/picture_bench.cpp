// What pictures in objects cost: stamps turned, upright and of a metafile; realizing a page, keeping and giving back what
// redactions cover, beside the plain copying of the same bytes.
#include "kbann/kbann.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

namespace {

constexpr int pageWidth = 2480, pageHeight = 3508; // A4 at 300 dots an inch

// Numbers below a limit, the same on every run.
struct Random {
    int below(int limit) { return static_cast<int>(engine() % static_cast<unsigned>(limit)); }
    std::mt19937 engine;
};

struct Page {
    explicit Page(int bits) {
        K_CreateBitmap(&bitmap, 1, pageWidth, pageHeight, bits, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0);
        for (int y = 0; y < pageHeight; ++y)
            std::memset(K_WritableBitmapRow(&bitmap, y), 0xFF, static_cast<size_t>(bitmap.BytesPerLine));
        const AnnRect all{0, 0, pageWidth, pageHeight};
        K_AnnCreateContainer(nullptr, &all, TRUE, &root);
    }
    ~Page() {
        K_AnnDestroy(root, ANN_FLAG_NOINVALIDATE);
        K_FreeBitmap(&bitmap);
    }
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;
    HANNOBJECT add(uint32_t type, const AnnRect& rect) {
        HANNOBJECT made = nullptr;
        K_AnnCreateItem(root, type, TRUE, &made);
        K_AnnSetRect(made, &rect);
        K_AnnSetName(made, FALSE, nullptr, nullptr, 0, 0);
        return made;
    }
    KernelBitmap bitmap{};
    HANNOBJECT root = nullptr;
};

// 500 stamps of 600 x 400 at half their size; arguments: bits of the page, bits of the picture, degrees, transparent.
void Stamps(benchmark::State& state) {
    Page page(static_cast<int>(state.range(0)));
    KernelBitmap picture{};
    K_CreateBitmap(&picture, 1, 600, 400, static_cast<int>(state.range(1)), KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0);
    for (int y = 0; y < 400; ++y) {
        uint8_t* row = K_WritableBitmapRow(&picture, y);
        for (int i = 0; i < picture.BytesPerLine; ++i) row[i] = static_cast<uint8_t>(y < 100 ? 255 : i * 3 + y);
    }
    Random random{std::mt19937(3)};
    for (int i = 0; i < 500; ++i) {
        const double x = 200 + random.below(pageWidth - 400), y = 200 + random.below(pageHeight - 400);
        const HANNOBJECT stamp = page.add(ANN_OBJECT_STAMP, {x - 150, y - 100, x + 150, y + 100});
        K_AnnSetBitmap(stamp, &picture, 0);
        K_AnnSetTransparent(stamp, state.range(3) != 0, 0);
        if (state.range(2)) K_AnnRotate(stamp, double(state.range(2)), nullptr, 0);
    }
    const HDC dc = K_BitmapDC(&page.bitmap);
    K_AnnDraw(dc, nullptr, page.root); // finds the regions
    for (auto _ : state) K_AnnDraw(dc, nullptr, page.root);
    K_ReleaseBitmapDC(dc);
    K_FreeBitmap(&picture);
    state.SetItemsProcessed(state.iterations() * 500);
}
BENCHMARK(Stamps)
    ->ArgNames({"page", "picture", "degrees", "transparent"})
    ->Args({32, 32, 30, 0})
    ->Args({24, 32, 30, 0})
    ->Args({24, 24, 30, 0})
    ->Args({24, 8, 30, 0})
    ->Args({24, 24, 30, 1})
    ->Args({24, 24, 0, 0})
    ->Args({24, 32, 0, 0})
    ->Args({24, 24, 90, 0})
    ->Args({8, 24, 30, 0})
    ->Unit(benchmark::kMillisecond);

void RealizeShapes(benchmark::State& state) {
    Page page(24);
    Random random{std::mt19937(5)};
    for (int i = 0; i < 200; ++i) {
        const double x = random.below(2000), y = random.below(3000);
        const uint32_t types[] = {ANN_OBJECT_RECT, ANN_OBJECT_ELLIPSE, ANN_OBJECT_HILITE, ANN_OBJECT_LINE};
        const HANNOBJECT made = page.add(types[i % 4], {x, y, x + 50 + random.below(400), y + 50 + random.below(400)});
        K_AnnSetFillMode(made, i % 4 < 2 ? ANN_FILLMODE_OPAQUE : ANN_FILLMODE_TRANSPARENT, 0);
        K_AnnSetBackColor(made, static_cast<COLORREF>(random.below(0x1000000)), 0);
        K_AnnSetLineWidth(made, 1 + random.below(5), 0);
    }
    for (auto _ : state) K_AnnRealize(&page.bitmap, nullptr, page.root, FALSE);
}
BENCHMARK(RealizeShapes)->Unit(benchmark::kMillisecond);

// 50 redactions of 400 x 300: covered and given back; and the copying of as many bytes.
struct Redactions {
    Redactions(int bits, int offset) : page(bits) {
        for (int i = 0; i < 50; ++i) {
            const double x = 10 + offset + 480 * (i % 5), y = 10 + 340 * (i / 5);
            page.add(ANN_OBJECT_REDACT, {x, y, x + 400, y + 300});
        }
    }
    Page page;
};

void RealizeRedactions(benchmark::State& state) {
    Redactions r(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    for (auto _ : state) {
        K_AnnRealize(&r.page.bitmap, nullptr, r.page.root, TRUE);
        state.PauseTiming();
        K_AnnUnrealize(&r.page.bitmap, nullptr, r.page.root, FALSE);
        state.ResumeTiming();
    }
}
BENCHMARK(RealizeRedactions)
    ->ArgNames({"bits", "offset"})
    ->Args({24, 0})
    ->Args({8, 0})
    ->Args({1, 0})
    ->Args({1, 3})
    ->Unit(benchmark::kMicrosecond);

void Unrealize(benchmark::State& state) {
    Redactions r(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    for (auto _ : state) {
        state.PauseTiming();
        K_AnnRealize(&r.page.bitmap, nullptr, r.page.root, TRUE);
        state.ResumeTiming();
        K_AnnUnrealize(&r.page.bitmap, nullptr, r.page.root, FALSE);
    }
}
BENCHMARK(Unrealize)
    ->ArgNames({"bits", "offset"})
    ->Args({24, 0})
    ->Args({8, 0})
    ->Args({1, 0})
    ->Args({1, 3})
    ->Unit(benchmark::kMicrosecond);

void CopyCoveredBytes(benchmark::State& state) {
    Page page(static_cast<int>(state.range(0)));
    const size_t bytes = 400 * static_cast<size_t>(state.range(0)) / 8;
    std::vector<std::vector<uint8_t>> kept(50, std::vector<uint8_t>(bytes * 300));
    for (auto _ : state) {
        for (size_t i = 0; i < kept.size(); ++i) {
            for (size_t y = 0; y < 300; ++y) {
                const uint8_t* row = K_BitmapRowPointer(&page.bitmap, static_cast<int>(10 + 340 * (i / 5) + y));
                std::memcpy(kept[i].data() + y * bytes, row + (10 + 480 * (i % 5)) * static_cast<size_t>(state.range(0)) / 8,
                            bytes);
            }
        }
        benchmark::ClobberMemory();
    }
}
BENCHMARK(CopyCoveredBytes)->ArgNames({"bits"})->Arg(24)->Arg(8)->Arg(1)->Unit(benchmark::kMicrosecond);

} // namespace
