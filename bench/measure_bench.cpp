// What measurement objects cost: a change of the zoom measures them all and places their texts.
#include "kbann/kbann.h"

#include <benchmark/benchmark.h>

namespace {

constexpr int rulerCount = 10'000;

HANNOBJECT makeRulers(uint32_t type, const AnnPoint* shape, uint32_t points) {
    HANNOBJECT root = nullptr;
    const AnnRect page{0, 0, 2480, 3508};
    K_AnnCreateContainer(nullptr, &page, TRUE, &root);
    for (int i = 0; i < rulerCount; ++i) {
        HANNOBJECT item = nullptr;
        K_AnnCreateItem(root, type, TRUE, &item);
        AnnPoint at[5];
        for (uint32_t p = 0; p < points; ++p)
            at[p] = {shape[p].x * (1 + i % 7) + i % 97 * 20, shape[p].y * (1 + i % 5) + i % 103 * 30};
        K_AnnSetPoints(item, at, points);
    }
    return root;
}

void zoom(benchmark::State& state, uint32_t type, const AnnPoint* shape, uint32_t points) {
    const HANNOBJECT root = makeRulers(type, shape, points);
    double scalar = 1;
    for (auto _ : state) {
        scalar = scalar > 4 ? 0.5 : scalar + 0.01; // another font size now and then
        K_AnnSetScalarX(root, scalar, 0);
    }
    state.SetItemsProcessed(state.iterations() * rulerCount);
    K_AnnDestroy(root, ANN_FLAG_NOINVALIDATE);
}

void MeasureRulers(benchmark::State& state) {
    constexpr AnnPoint shape[] = {{5, 40}, {60, 10}};
    zoom(state, ANN_OBJECT_RULER, shape, 2);
}
BENCHMARK(MeasureRulers)->Unit(benchmark::kMillisecond);

void MeasureCrosses(benchmark::State& state) {
    constexpr AnnPoint shape[] = {{10, 30}, {50, 30}, {30, 30}, {30, 10}, {30, 50}};
    zoom(state, ANN_OBJECT_CROSSPRODUCT, shape, 5);
}
BENCHMARK(MeasureCrosses)->Unit(benchmark::kMillisecond);

void MeasureProtractors(benchmark::State& state) {
    constexpr AnnPoint shape[] = {{50, 10}, {10, 30}, {60, 40}};
    zoom(state, ANN_OBJECT_PROTRACTOR, shape, 3);
}
BENCHMARK(MeasureProtractors)->Unit(benchmark::kMillisecond);

} // namespace
