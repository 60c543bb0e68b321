// The workloads that other programs were measured on, done by the exported functions: objects in a tree, K_AnnDraw on a
// device context over the bitmap; building the tree isn't counted. Usage: kbann_peers W1 to W7; SCENES names the
// folder of the scenes, OUTDIR that of what is written, RUNS the number of runs.
#include "bench/scene.h"
#include "kbann/kbann.h"
#include "platform/sys.h"

#include <sys/wait.h>
#include <unistd.h>

namespace {

COLORREF color(uint32_t rgb) { return RGB(rgb >> 16 & 255, rgb >> 8 & 255, rgb & 255); }

void check(int code, const char* what) {
    if (code != SUCCESS) throw std::runtime_error(std::string(what) + " failed with " + std::to_string(code));
}

HANNOBJECT add(HANNOBJECT root, uint32_t type) {
    HANNOBJECT made = nullptr;
    check(K_AnnCreateItem(root, type, TRUE, &made), "K_AnnCreateItem");
    return made;
}

void setPoints(HANNOBJECT object, const std::vector<double>& values) {
    check(K_AnnSetPoints(object, reinterpret_cast<const AnnPoint*>(values.data()), static_cast<uint32_t>(values.size() / 2)),
          "points");
}

void addObject(HANNOBJECT root, const scene::Object& o) {
    const AnnRect box{o.a, o.b, o.a + o.c - 1, o.b + o.d - 1}; // the device's rectangle goes one pixel further
    switch (o.kind) {
    case 'L': {
        const HANNOBJECT line = add(root, ANN_OBJECT_LINE);
        setPoints(line, {o.a, o.b, o.c, o.d});
        K_AnnSetForeColor(line, color(o.stroke), 0);
        K_AnnSetLineWidth(line, o.width, 0);
        break;
    }
    case 'R':
    case 'E': {
        const HANNOBJECT shape = add(root, o.kind == 'R' ? ANN_OBJECT_RECT : ANN_OBJECT_ELLIPSE);
        K_AnnSetRect(shape, &box);
        K_AnnSetForeColor(shape, color(o.stroke), 0);
        K_AnnSetLineWidth(shape, o.width, 0);
        if (o.kind == 'R') {
            K_AnnSetBackColor(shape, color(o.fill), 0);
            K_AnnSetFillMode(shape, ANN_FILLMODE_OPAQUE, 0);
        }
        break;
    }
    case 'M': {
        const HANNOBJECT highlight = add(root, ANN_OBJECT_HILITE);
        K_AnnSetRect(highlight, &box);
        K_AnnSetBackColor(highlight, color(o.fill), 0);
        break;
    }
    case 'P': {
        const HANNOBJECT polygon = add(root, ANN_OBJECT_POLYGON);
        setPoints(polygon, o.points);
        K_AnnSetBackColor(polygon, color(o.fill), 0);
        K_AnnSetFillMode(polygon, ANN_FILLMODE_OPAQUE, 0);
        K_AnnSetLineStyle(polygon, ANN_LINE_NULL, 0);
        K_AnnSetPolyFillMode(polygon, ANN_POLYFILL_ALTERNATE, 0);
        break;
    }
    case 'F': {
        const HANNOBJECT stroke = add(root, ANN_OBJECT_FREEHAND);
        setPoints(stroke, o.points);
        K_AnnSetForeColor(stroke, color(o.stroke), 0);
        K_AnnSetLineWidth(stroke, o.width, 0);
        break;
    }
    case 'T': {
        const HANNOBJECT text = add(root, ANN_OBJECT_TEXT);
        const AnnRect wide{o.a, o.b, o.a + 2000, o.b + 30};
        K_AnnSetRect(text, &wide);
        K_AnnSetText(text, o.text.c_str(), 0);
        K_AnnSetFontName(text, "DejaVu Sans", 0);
        K_AnnSetFontSize(text, o.c, 0);
        K_AnnSetForeColor(text, color(o.stroke), 0);
        break;
    }
    default: break;
    }
}

HANNOBJECT build(const scene::Scene& s) {
    HANNOBJECT root = nullptr;
    const AnnRect page{0, 0, double(s.width), double(s.height)};
    check(K_AnnCreateContainer(nullptr, &page, TRUE, &root), "root");
    for (const auto& o : s.objects) addObject(root, o);
    return root;
}

// A page to draw on.
struct Page {
    Page(int width, int height, int bits) {
        check(K_CreateBitmap(&bitmap, 1, width, height, bits, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), "bitmap");
        dc = K_BitmapDC(&bitmap);
        clear();
    }
    ~Page() {
        K_ReleaseBitmapDC(dc);
        K_FreeBitmap(&bitmap);
    }
    void clear() { PatBlt(dc, 0, 0, bitmap.Width, bitmap.Height, WHITENESS); }
    KernelBitmap bitmap{};
    HDC dc = nullptr;
};

void drawScene(const char* workload, const char* variant, const scene::Scene& s, int bits, double ops,
               const char* dump = nullptr) {
    Page page(s.width, s.height, bits);
    const HANNOBJECT root = build(s);
    scene::measure(
        workload, variant, ops, [&] { check(K_AnnDraw(page.dc, nullptr, root), "K_AnnDraw"); }, [&] { page.clear(); });
    if (dump && std::getenv("DUMP"))
        K_SaveFile(scene::folderFile("OUTDIR", "out", dump).c_str(), &page.bitmap, KB_FORMAT_PNG, nullptr);
    K_AnnDestroy(root, 0);
}

void mixed() {
    const auto s = scene::load("w1.txt");
    drawScene("W1", "32 bits", s, 32, double(s.objects.size()), "W1_kbann.png");
    drawScene("W1", "24 bits", s, 24, double(s.objects.size()));
    for (const char kind : {'L', 'R', 'E', 'P', 'F', 'T'}) {
        const auto part = s.only(kind);
        const char name[] = {'W', '1', kind, 0};
        drawScene(name, "32 bits", part, 32, double(part.objects.size()));
    }
}

void highlights() {
    const auto s = scene::load("w2.txt");
    auto marks = s;
    for (auto& o : marks.objects) o.kind = 'M';
    drawScene("W2", "highlight AND", marks, 32, double(s.objects.size()), "W2_kbann.png");
}

// A picture of three bytes a pixel, red first, behind a short header in text.
void loadPicture(const char* name, KernelBitmap* bitmap) {
    std::ifstream in(scene::folderFile("SCENES", "scenes", name), std::ios::binary);
    std::string kind;
    int width = 0, height = 0, highest = 0;
    in >> kind >> width >> height >> highest;
    in.get();
    if (!in || kind != "P6") throw std::runtime_error(std::string("no picture ") + name);
    check(K_CreateBitmap(bitmap, 1, width, height, 32, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), "picture");
    for (int y = 0; y < height; ++y) {
        uint8_t* row = K_WritableBitmapRow(bitmap, y);
        for (int x = 0; x < width; ++x, row += 4) {
            char pixel[3];
            in.read(pixel, sizeof pixel);
            for (int c = 0; c < 3; ++c) row[2 - c] = static_cast<uint8_t>(pixel[c]);
        }
    }
}

// Stamps of one picture at half its size, turned; and upright ones, which take the way by a scaled copy.
void stamps() {
    const auto s = scene::load("w3.txt");
    KernelBitmap picture{};
    loadPicture("stamp.ppm", &picture);
    for (const bool turned : {true, false}) {
        HANNOBJECT root = nullptr;
        const AnnRect page{0, 0, double(s.width), double(s.height)};
        check(K_AnnCreateContainer(nullptr, &page, TRUE, &root), "root");
        for (const auto& o : s.objects) {
            const HANNOBJECT stamp = add(root, ANN_OBJECT_STAMP);
            const double w = picture.Width / 4.0, h = picture.Height / 4.0;
            const AnnRect box{o.a - w, o.b - h, o.a + w, o.b + h};
            check(K_AnnSetRect(stamp, &box), "rectangle");
            check(K_AnnSetBitmap(stamp, &picture, 0), "picture");
            if (turned) check(K_AnnRotate(stamp, o.c, nullptr, 0), "turn");
        }
        for (const int bits : {32, 24}) {
            Page sheet(s.width, s.height, bits);
            const std::string variant = std::string(turned ? "turned, " : "upright, ") + std::to_string(bits) + " bits";
            scene::measure(
                "W3", variant.c_str(), double(s.objects.size()),
                [&] { check(K_AnnDraw(sheet.dc, nullptr, root), "K_AnnDraw"); }, [&] { sheet.clear(); });
            if (turned && bits == 32 && std::getenv("DUMP"))
                K_SaveFile(scene::folderFile("OUTDIR", "out", "W3_kbann.png").c_str(), &sheet.bitmap, KB_FORMAT_PNG,
                           nullptr);
        }
        K_AnnDestroy(root, 0);
    }
    K_FreeBitmap(&picture);
}

// The topmost object under each point of a dense page.
void hits() {
    const auto s = scene::load("w1.txt"), questions = scene::load("w5q.txt");
    const HANNOBJECT root = build(s);
    const auto ask = [&] {
        size_t found = 0;
        for (const auto& q : questions.objects) {
            POINT point{static_cast<LONG>(q.a), static_cast<LONG>(q.b)};
            uint32_t result = 0;
            HANNOBJECT object = nullptr;
            check(K_AnnHitTest(root, &point, &result, &object), "K_AnnHitTest");
            found += object && object != root;
        }
        return found;
    };
    const std::string note = std::to_string(ask()) + " objects hit";
    scene::measure(
        "W5", "topmost, index there", double(questions.objects.size()), [&] { ask(); }, [] {}, note);
    scene::measure(
        "W5", "topmost, index made anew", double(questions.objects.size()), [&] { ask(); },
        [&] { // there and back, so that the questions find what they found
            for (const double offset : {1.0, 0.0}) K_AnnSetOffsetX(root, offset, ANN_FLAG_NOINVALIDATE);
        });
    K_AnnDestroy(root, 0);
}

void longStroke() {
    const auto s = scene::load("w4.txt");
    drawScene("W4", "one stroke", s, 32, double(s.objects[0].points.size() / 2), "W4_kbann.png");
}

void copySaveLoad() {
    const auto s = scene::load("w6.txt");
    const auto count = double(s.objects.size());
    const HANNOBJECT root = build(s);
    HANNOBJECT copy = nullptr;
    const auto destroyCopy = [&copy] {
        if (copy) K_AnnDestroy(copy, ANN_FLAG_NOINVALIDATE);
        copy = nullptr;
    };
    scene::measure(
        "W6copy", "deep copy, warm pool", count, [&] { check(K_AnnCopy(root, &copy), "copy"); }, destroyCopy);
    destroyCopy();

    HGLOBAL memory = nullptr;
    uint32_t size = 0;
    const auto freeMemory = [&memory] {
        if (memory) GlobalFree(memory);
        memory = nullptr;
    };
    scene::measure(
        "W6txt", "save to memory", count,
        [&] { check(K_AnnSaveMemory(root, ANN_FMT_NATIVE, FALSE, &memory, &size, nullptr), "save"); }, freeMemory);
    const void* bytes = GlobalLock(memory);
    scene::measure(
        "W6txt", "load from memory", count, [&] { check(K_AnnLoadMemory(bytes, size, &copy, nullptr), "load"); },
        destroyCopy, std::to_string(size / 1'000'000) + " MB");
    const std::string file = scene::folderFile("OUTDIR", "out", "w6_kbann.kba");
    scene::measure("W6txt", "save to file", count,
                   [&] { check(K_AnnSave(file.c_str(), root, ANN_FMT_NATIVE, FALSE, nullptr), "save"); });
    scene::measure(
        "W6txt", "load from file", count, [&] { check(K_AnnLoad(file.c_str(), &copy, nullptr), "load"); }, destroyCopy);
}

// `kann render` as a process, which is what a user waits for.
void renderPage(const char* workload, const char* image, const std::string& store) {
    const std::string in = scene::folderFile("SCENES", "scenes", image),
                      out = scene::folderFile("OUTDIR", "out", "w7_kbann.png");
    const char* told = std::getenv("KANN");
    const std::string kann = told ? told : "kann";
    scene::measure(workload, "kann render", 1, [&] {
        const pid_t child = fork();
        if (child == 0) {
            execlp(kann.c_str(), "kann", "render", in.c_str(), store.c_str(), "-o", out.c_str(), nullptr);
            _exit(127);
        }
        int status = 0;
        waitpid(child, &status, 0);
        if (status) throw std::runtime_error("kann render failed");
    });
}

void page() {
    const auto s = scene::load("w7.txt");
    const std::string store = scene::folderFile("OUTDIR", "out", "w7.kba");
    const HANNOBJECT root = build(s);
    check(K_AnnSave(store.c_str(), root, ANN_FMT_NATIVE, FALSE, nullptr), "save");
    renderPage("W7png", "page.png", store);
    renderPage("W7tif", "page.tif", store);
}

} // namespace

int main(int argc, char** argv) {
    const std::string workload = argc > 1 ? argv[1] : "";
    try {
        if (workload == "W1")
            mixed();
        else if (workload == "W2")
            highlights();
        else if (workload == "W3")
            stamps();
        else if (workload == "W4")
            longStroke();
        else if (workload == "W5")
            hits();
        else if (workload == "W6")
            copySaveLoad();
        else if (workload == "W7")
            page();
        else
            return std::fprintf(stderr, "usage: kbann_peers W1|W2|W3|W4|W5|W6|W7\n"), 2;
    } catch (const std::exception& fault) {
        return std::fprintf(stderr, "kbann_peers: %s\n", fault.what()), 1;
    }
    return 0;
}
