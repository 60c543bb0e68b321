// Page operations on large files: 1,000 pages of 1 MB in the coded form, of 100 KB in the text form. Files lie where OUTDIR
// says, else in /tmp; the counter "written" tells megabytes that an operation wrote.
// Many small pages, one after the other, show how the cost of one grows with their number.
#include "kbann/kbann.h"
#include "persist/storage.h"
#include "platform/sys.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

namespace {

constexpr int pages = 1000;

std::string benchFile(uint32_t form) {
    const char* folder = std::getenv("OUTDIR");
    return std::string(folder ? folder : "/tmp") + (form == ANN_FMT_NATIVE ? "/kbann_pages_text" : "/kbann_pages_coded");
}

// Bytes that the process has given to write calls.
double bytesWritten() {
    std::ifstream in("/proc/self/io");
    for (std::string word; in >> word;)
        if (word == "wchar:") {
            double bytes = 0;
            in >> bytes;
            return bytes;
        }
    return 0;
}

// A page of that many bytes in the form: one stamp with a picture.
HANNOBJECT makePage(uint32_t form) {
    HANNOBJECT root = nullptr, stamp = nullptr;
    const AnnRect box{0, 0, 1000, 1000};
    K_AnnCreateContainer(nullptr, &box, TRUE, &root);
    K_AnnCreateItem(root, ANN_OBJECT_STAMP, TRUE, &stamp);
    KernelBitmap picture{};
    const int rows = form == ANN_FMT_NATIVE ? 73 : 1000; // text takes four bytes for three
    K_CreateBitmap(&picture, 1, 342, rows, 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0);
    for (int row = 0; row < rows; ++row)
        std::memset(K_WritableBitmapRow(&picture, row), 'A' + row % 26, static_cast<size_t>(picture.BytesPerLine));
    K_AnnSetBitmap(stamp, &picture, 0);
    K_FreeBitmap(&picture);
    return root;
}

struct PagesFile {
    uint32_t form;
    std::string name;
    HANNOBJECT page;

    explicit PagesFile(uint32_t uFormat) : form(uFormat), name(benchFile(uFormat)), page(makePage(uFormat)) {
        save(0, 1);
        if (form == ANN_FMT_ENCODED) {
            for (int i = 1; i < pages; ++i) save(SAVE_INSERTPAGE, -1);
            return;
        }
        // Pages of text stand behind one another as they are; adding each by itself would scan all before it.
        std::ifstream in(name, std::ios::binary);
        const std::string first{std::istreambuf_iterator<char>(in), {}};
        std::ofstream out(name, std::ios::binary | std::ios::app);
        for (int i = 1; i < pages; ++i) out << first.substr(12);
    }
    ~PagesFile() {
        K_AnnDestroy(page, ANN_FLAG_NOINVALIDATE);
        std::remove(name.c_str());
    }
    PagesFile(const PagesFile&) = delete;
    PagesFile& operator=(const PagesFile&) = delete;

    int save(uint32_t flags, int32_t number) const {
        KernelSaveOptions options{};
        options.uStructSize = sizeof options;
        options.uFlags = flags;
        options.nPageNumber = number;
        return K_AnnSave(name.c_str(), page, form, FALSE, &options);
    }
    int remove(int32_t number) const { return kbann::annDeletePageFile(name.c_str(), number); }
    double size() const { return static_cast<double>(std::ifstream(name, std::ios::binary | std::ios::ate).tellg()); }
};

// Each operation, and untimed what leaves as many pages as before.
template <class Operation, class Restore>
void run(benchmark::State& state, const Operation& operation, const Restore& restore) {
    const PagesFile file(static_cast<uint32_t>(state.range(0)));
    const double size = file.size();
    double written = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const double before = bytesWritten();
        state.ResumeTiming();
        const int code = operation(file);
        state.PauseTiming();
        written = bytesWritten() - before;
        if (code != SUCCESS || restore(file) != SUCCESS) state.SkipWithError("a page operation failed");
        state.ResumeTiming();
    }
    state.counters["file MB"] = size / 1e6;
    state.counters["written MB"] = written / 1e6;
    state.SetBytesProcessed(static_cast<int64_t>(size) * state.iterations());
}

int nothing(const PagesFile&) { return SUCCESS; }

void InsertFront(benchmark::State& state) {
    run(
        state, [](const PagesFile& file) { return file.save(SAVE_INSERTPAGE, 1); },
        [](const PagesFile& file) { return file.remove(1); });
}
void Replace(benchmark::State& state) {
    run(
        state, [](const PagesFile& file) { return file.save(SAVE_REPLACEPAGE, pages / 2); }, nothing);
}
void Delete(benchmark::State& state) {
    run(
        state, [](const PagesFile& file) { return file.remove(1); },
        [](const PagesFile& file) { return file.save(SAVE_INSERTPAGE, 1); });
}

// Each page of data of so many small pages, put behind the last and then loaded by its number, in memory.
void Pages(benchmark::State& state) {
    const auto form = static_cast<uint32_t>(state.range(0));
    const auto count = static_cast<int32_t>(state.range(1));
    HANNOBJECT page = nullptr, note = nullptr;
    const AnnRect box{0, 0, 1000, 1000};
    K_AnnCreateContainer(nullptr, &box, TRUE, &page);
    K_AnnCreateItem(page, ANN_OBJECT_NOTE, TRUE, &note);
    K_AnnSetText(note, std::string(2500, 'x').c_str(), 0); // about 4 KB of text form
    KernelSaveOptions save{};
    K_DefaultSaveOptions(&save, sizeof save);
    save.uFlags = SAVE_INSERTPAGE;
    save.nPageNumber = -1;
    KernelLoadOptions load{};
    K_DefaultLoadOptions(&load, sizeof load);
    for (auto _ : state) {
        HGLOBAL block = nullptr;
        uint32_t size = 0;
        int code = SUCCESS;
        for (int32_t i = 0; code == SUCCESS && i < count; ++i)
            code = K_AnnSaveMemory(page, form, FALSE, &block, &size, block ? &save : nullptr);
        const void* data = code == SUCCESS ? GlobalLock(block) : nullptr;
        for (load.nPageNumber = 1; code == SUCCESS && load.nPageNumber <= count; ++load.nPageNumber) {
            HANNOBJECT back = nullptr;
            code = K_AnnLoadMemory(data, size, &back, &load);
            K_AnnDestroy(back, ANN_FLAG_NOINVALIDATE);
        }
        if (code != SUCCESS) state.SkipWithError("a page couldn't be saved or loaded");
        if (data) GlobalFree(block);
    }
    K_AnnDestroy(page, ANN_FLAG_NOINVALIDATE);
    state.counters["a page"] =
        benchmark::Counter(count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(Pages)
    ->ArgNames({"form", "pages"})
    ->ArgsProduct({{ANN_FMT_NATIVE, ANN_FMT_ENCODED}, {250, 500, 1000}})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

void forms(benchmark::internal::Benchmark* bench) {
    bench->ArgName("form")->Arg(ANN_FMT_NATIVE)->Arg(ANN_FMT_ENCODED)->Iterations(10)->Unit(benchmark::kMillisecond);
}
BENCHMARK(InsertFront)->Apply(forms);
BENCHMARK(Replace)->Apply(forms);
BENCHMARK(Delete)->Apply(forms);

} // namespace
