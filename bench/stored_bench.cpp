// Saving and loading of stored data, in both forms: 100,000 mixed objects to memory and to a file. What is timed works on
// memory that the run before has touched. Files lie where OUTDIR says, else in /tmp.
#include "kbann/kbann.h"
#include "platform/sys.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

namespace {

constexpr int objects = 100'000;

struct Random {
    std::mt19937 engine{5};
    double below(double limit) { return static_cast<double>(engine() >> 8) / (1 << 24) * limit; }
    uint32_t number(uint32_t limit) { return static_cast<uint32_t>(engine() % limit); }
};

// Lines, rectangles, ellipses, polygons, strokes and texts.
HANNOBJECT makeTree() {
    constexpr uint32_t types[] = {ANN_OBJECT_LINE,    ANN_OBJECT_RECT,     ANN_OBJECT_ELLIPSE,
                                  ANN_OBJECT_POLYGON, ANN_OBJECT_FREEHAND, ANN_OBJECT_TEXT};
    constexpr uint32_t points[] = {2, 0, 0, 6, 24, 0};
    Random random;
    HANNOBJECT root = nullptr;
    const AnnRect page{0, 0, 2480, 3508};
    K_AnnCreateContainer(nullptr, &page, TRUE, &root);
    for (int i = 0; i < objects; ++i) {
        const size_t kind = random.number(6);
        HANNOBJECT item = nullptr;
        K_AnnCreateItem(root, types[kind], TRUE, &item);
        const double x = random.below(2000), y = random.below(3000);
        if (points[kind]) {
            AnnPoint list[24];
            for (auto& point : list) point = {x + random.below(300), y + random.below(300)};
            K_AnnSetPoints(item, list, points[kind]);
        } else {
            const AnnRect box{x, y, x + random.below(300), y + random.below(200)};
            K_AnnSetRect(item, &box);
        }
        K_AnnSetForeColor(item, random.number(0x1000000), ANN_FLAG_NOINVALIDATE);
        if (types[kind] == ANN_OBJECT_TEXT) {
            const std::string text = "annotation " + std::to_string(i);
            K_AnnSetText(item, text.c_str(), ANN_FLAG_NOINVALIDATE);
        }
    }
    return root;
}

HANNOBJECT tree() {
    static const HANNOBJECT root = makeTree();
    return root;
}

std::string benchFile() {
    const char* folder = std::getenv("OUTDIR");
    return std::string(folder ? folder : "/tmp") + "/kbann_stored_bench";
}

uint32_t formOf(const benchmark::State& state) { return static_cast<uint32_t>(state.range(0)); }

void done(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * objects);
    state.counters["an object"] =
        benchmark::Counter(objects, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void failIf(benchmark::State& state, int code) {
    if (code != SUCCESS) state.SkipWithError(("code " + std::to_string(code)).c_str());
}

void SaveMemory(benchmark::State& state) {
    tree();
    for (auto _ : state) {
        HGLOBAL memory = nullptr;
        uint32_t size = 0;
        failIf(state, K_AnnSaveMemory(tree(), formOf(state), FALSE, &memory, &size, nullptr));
        state.PauseTiming();
        if (memory) GlobalFree(memory);
        state.counters["MB"] = size / 1e6;
        state.ResumeTiming();
    }
    done(state);
}

void SaveFile(benchmark::State& state) {
    tree();
    const std::string file = benchFile();
    for (auto _ : state) failIf(state, K_AnnSave(file.c_str(), tree(), formOf(state), FALSE, nullptr));
    std::remove(file.c_str());
    done(state);
}

// The first load finds the pool of records cold and isn't timed.
template <class Load> void timeLoads(benchmark::State& state, const Load& load) {
    HANNOBJECT loaded = nullptr;
    failIf(state, load(&loaded));
    K_AnnDestroy(loaded, ANN_FLAG_NOINVALIDATE);
    for (auto _ : state) {
        failIf(state, load(&loaded));
        state.PauseTiming();
        K_AnnDestroy(loaded, ANN_FLAG_NOINVALIDATE);
        state.ResumeTiming();
    }
}

void LoadMemory(benchmark::State& state) {
    HGLOBAL memory = nullptr;
    uint32_t size = 0;
    failIf(state, K_AnnSaveMemory(tree(), formOf(state), FALSE, &memory, &size, nullptr));
    const void* bytes = GlobalLock(memory);
    timeLoads(state, [bytes, size](HANNOBJECT* loaded) { return K_AnnLoadMemory(bytes, size, loaded, nullptr); });
    GlobalFree(memory);
    done(state);
}

void LoadFile(benchmark::State& state) {
    const std::string file = benchFile();
    failIf(state, K_AnnSave(file.c_str(), tree(), formOf(state), FALSE, nullptr));
    timeLoads(state, [&file](HANNOBJECT* loaded) { return K_AnnLoad(file.c_str(), loaded, nullptr); });
    std::remove(file.c_str());
    done(state);
}

// Marks of other tools, alone and with the whole object behind: ten thousand and a tenth of them, to see that time goes with
// the number.
HANNOBJECT markTree(int64_t count) {
    Random random;
    HANNOBJECT root = nullptr;
    const AnnRect page{0, 0, 2480, 3508};
    K_AnnCreateContainer(nullptr, &page, TRUE, &root);
    constexpr uint32_t types[] = {ANN_OBJECT_LINE, ANN_OBJECT_RECT, ANN_OBJECT_HILITE, ANN_OBJECT_NOTE, ANN_OBJECT_TEXT};
    for (int64_t i = 0; i < count; ++i) {
        HANNOBJECT item = nullptr;
        K_AnnCreateItem(root, types[random.number(5)], TRUE, &item);
        const double x = random.below(2000), y = random.below(3000);
        const AnnRect box{x, y, x + random.below(300), y + random.below(200)};
        K_AnnSetRect(item, &box);
        K_AnnSetText(item, ("annotation " + std::to_string(i)).c_str(), ANN_FLAG_NOINVALIDATE);
    }
    return root;
}

void perMark(benchmark::State& state) {
    state.counters["a mark"] = benchmark::Counter(
        static_cast<double>(state.range(1)), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void SaveMarks(benchmark::State& state) {
    const HANNOBJECT root = markTree(state.range(1));
    for (auto _ : state) {
        HGLOBAL memory = nullptr;
        uint32_t size = 0;
        failIf(state, K_AnnSaveMemory(root, formOf(state), FALSE, &memory, &size, nullptr));
        state.PauseTiming();
        if (memory) GlobalFree(memory);
        state.counters["MB"] = size / 1e6;
        state.ResumeTiming();
    }
    K_AnnDestroy(root, ANN_FLAG_NOINVALIDATE);
    perMark(state);
}

void LoadMarks(benchmark::State& state) {
    const HANNOBJECT root = markTree(state.range(1));
    HGLOBAL memory = nullptr;
    uint32_t size = 0;
    failIf(state, K_AnnSaveMemory(root, formOf(state), FALSE, &memory, &size, nullptr));
    K_AnnDestroy(root, ANN_FLAG_NOINVALIDATE);
    const void* bytes = GlobalLock(memory);
    timeLoads(state, [bytes, size](HANNOBJECT* loaded) { return K_AnnLoadMemory(bytes, size, loaded, nullptr); });
    GlobalFree(memory);
    perMark(state);
}

// A tenth of the objects, copied to the clipboard and pasted.
void CopyAndPaste(benchmark::State& state) {
    const HANNOBJECT root = markTree(objects / 10);
    HANNOBJECT pasted = nullptr;
    for (auto _ : state) {
        failIf(state, K_AnnCopyToClipboard(root, ANN_FMT_ENCODED, FALSE, TRUE, FALSE));
        failIf(state, K_AnnCopyFromClipboard(nullptr, &pasted));
        state.PauseTiming();
        K_AnnDestroy(pasted, ANN_FLAG_NOINVALIDATE);
        state.ResumeTiming();
    }
    K_AnnDestroy(root, ANN_FLAG_NOINVALIDATE);
}
BENCHMARK(CopyAndPaste)->Unit(benchmark::kMillisecond);

void markForms(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"form", "marks"})->ArgsProduct({{ANN_FMT_TIFFTAG, ANN_FMT_WANGTAG}, {1'000, 10'000, 100'000}});
    bench->Unit(benchmark::kMillisecond);
}
BENCHMARK(SaveMarks)->Apply(markForms);
BENCHMARK(LoadMarks)->Apply(markForms);

void forms(benchmark::internal::Benchmark* bench) {
    bench->ArgName("form")->Arg(ANN_FMT_NATIVE)->Arg(ANN_FMT_ENCODED)->Unit(benchmark::kMillisecond);
}
BENCHMARK(SaveMemory)->Apply(forms);
BENCHMARK(SaveFile)->Apply(forms);
BENCHMARK(LoadMemory)->Apply(forms);
BENCHMARK(LoadFile)->Apply(forms);

} // namespace
