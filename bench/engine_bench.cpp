// The engine's own figures: what an item, a getter and a record cost.
#include "kbann/kbann.h"

#include <benchmark/benchmark.h>

#include <fstream>
#include <string>

namespace {

double residentBytes() {
    std::ifstream in("/proc/self/statm");
    double pages = 0;
    in >> pages >> pages;
    return pages * 4096;
}

HANNOBJECT makeRoot() {
    HANNOBJECT root = nullptr;
    const AnnRect page{0, 0, 2480, 3508};
    K_AnnCreateContainer(nullptr, &page, TRUE, &root);
    return root;
}

// First of all: later ones would find the pool warm.
void RectangleMemory(benchmark::State& state) {
    for (auto _ : state) {
        const double before = residentBytes();
        const HANNOBJECT root = makeRoot();
        const AnnRect box{10, 10, 100, 50};
        for (int i = 0; i < 100'000; ++i) {
            HANNOBJECT item = nullptr;
            K_AnnCreateItem(root, ANN_OBJECT_RECT, TRUE, &item);
            K_AnnSetRect(item, &box);
        }
        state.counters["bytes an object"] = (residentBytes() - before) / 100'000;
        K_AnnDestroy(root, ANN_FLAG_NOINVALIDATE);
    }
}
BENCHMARK(RectangleMemory)->Iterations(1)->Unit(benchmark::kMillisecond);

void BuildContainer(benchmark::State& state) {
    for (auto _ : state) {
        const HANNOBJECT root = makeRoot();
        for (int64_t i = 0; i < state.range(0); ++i) {
            HANNOBJECT item = nullptr;
            K_AnnCreateItem(root, ANN_OBJECT_RECT, TRUE, &item);
        }
        state.PauseTiming();
        K_AnnDestroy(root, ANN_FLAG_NOINVALIDATE);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BuildContainer)->Arg(1000)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

void Getter(benchmark::State& state) {
    HANNOBJECT item = nullptr;
    K_AnnCreate(ANN_OBJECT_RECT, &item);
    double width = 0;
    for (auto _ : state) {
        K_AnnGetLineWidth(item, &width);
        benchmark::DoNotOptimize(width);
    }
    state.SetItemsProcessed(state.iterations());
    K_AnnDestroy(item, 0);
}
BENCHMARK(Getter)->Threads(1)->Threads(2)->Threads(16)->MeasureProcessCPUTime()->UseRealTime();

void Destroy(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        const HANNOBJECT root = makeRoot();
        for (int i = 0; i < 100'000; ++i) {
            HANNOBJECT item = nullptr;
            K_AnnCreateItem(root, ANN_OBJECT_RECT, TRUE, &item);
        }
        state.ResumeTiming();
        K_AnnDestroy(root, ANN_FLAG_NOINVALIDATE);
    }
    state.SetItemsProcessed(state.iterations() * 100'000);
}
BENCHMARK(Destroy)->Unit(benchmark::kMillisecond);

} // namespace
