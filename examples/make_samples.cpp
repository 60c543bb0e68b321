// Makes the sample images of the demo: a scan of three pages (letter, sampler sheet, notes) as one-bit TIFF and a landscape
// in colour as PNG. Everything is drawn through the graphics layer or worked out from seeded numbers, so that each run
// gives the same bytes.
#include "contracts/raster_io.h"
#include "contracts/raster_kernel.h"
#include "examples/page_layout.h"
#include "platform/gdi.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <numbers>
#include <string>
#include <vector>

namespace {

constexpr COLORREF black = RGB(0, 0, 0);

// Numbers that look random and are the same on every machine.
class Noise {
public:
    explicit Noise(std::uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15u + 1) {}
    double next() { // 0 to below 1
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return static_cast<double>(state_ >> 11) / 9007199254740992.0;
    }
    double around(double spread) { return (next() - 0.5) * 2 * spread; }

private:
    std::uint64_t state_;
};

// A context with a font and a pen in force for the time of its life.
class Page {
public:
    Page() {
        K_CreateBitmap(&bitmap, 1, PAGE_WIDTH, PAGE_HEIGHT, 1, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0);
        bitmap.XResolution = bitmap.YResolution = PAGE_DPI;
        hDC = K_BitmapDC(&bitmap);
        PatBlt(hDC, 0, 0, PAGE_WIDTH, PAGE_HEIGHT, WHITENESS);
        SetBkMode(hDC, TRANSPARENT);
        SetTextColor(hDC, black);
    }
    ~Page() {
        finish();
        K_FreeBitmap(&bitmap);
    }
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;

    void finish() {
        if (hDC) K_ReleaseBitmapDC(hDC);
        hDC = nullptr;
    }

    void text(int x, int y, int size, const char* face, const char* line, int weight = FW_NORMAL, bool italic = false,
              int tenths = 0) const {
        const HFONT font = CreateFontA(-size, 0, tenths, tenths, weight, italic, 0, 0, ANSI_CHARSET, OUT_DEFAULT_PRECIS,
                                       CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY, DEFAULT_PITCH, face);
        const HGDIOBJ old = SelectObject(hDC, font);
        TextOutA(hDC, x, y, line, static_cast<int>(std::strlen(line)));
        SelectObject(hDC, old);
        DeleteObject(font);
    }

    void polyline(const std::vector<POINT>& points, int width) const {
        const HPEN pen = CreatePen(PS_SOLID, width, black);
        const HGDIOBJ old = SelectObject(hDC, pen);
        Polyline(hDC, points.data(), static_cast<int>(points.size()));
        SelectObject(hDC, old);
        DeleteObject(pen);
    }

    void frame(int left, int top, int right, int bottom, int width) const {
        polyline({{left, top}, {right, top}, {right, bottom}, {left, bottom}, {left, top}}, width);
    }

    KernelBitmap bitmap{};
    HDC hDC = nullptr;
};

// A smooth curve through points, three strokes a pen's width each, like a hand that presses and lets go.
void stroke(const Page& page, const std::vector<POINT>& knots, int width) {
    std::vector<POINT> curve;
    const auto knot = [&knots](std::ptrdiff_t i) {
        return knots[static_cast<std::size_t>(
            std::clamp<std::ptrdiff_t>(i, 0, static_cast<std::ptrdiff_t>(knots.size()) - 1))];
    };
    for (std::ptrdiff_t i = 0; i + 1 < static_cast<std::ptrdiff_t>(knots.size()); ++i) {
        for (int step = 0; step < 12; ++step) {
            const double t = step / 12.0;
            const auto spline = [t](double a, double b, double c, double d) {
                return 0.5 *
                       (2 * b + (c - a) * t + (2 * a - 5 * b + 4 * c - d) * t * t + (3 * b - a - 3 * c + d) * t * t * t);
            };
            curve.push_back({static_cast<LONG>(spline(knot(i - 1).x, knot(i).x, knot(i + 1).x, knot(i + 2).x)),
                             static_cast<LONG>(spline(knot(i - 1).y, knot(i).y, knot(i + 1).y, knot(i + 2).y))});
        }
    }
    page.polyline(curve, width);
}

// Loops that run to the right and look like a signature.
void scribble(const Page& page, int x, int y, int width, int height, std::uint64_t seed, int pen) {
    Noise noise(seed);
    std::vector<POINT> knots;
    const int loops = std::max(3, width / std::max(1, height / 2));
    for (int i = 0; i <= loops * 4; ++i) {
        const double along = static_cast<double>(i) / (loops * 4);
        const double turn = i * std::numbers::pi / 2;
        const double rise = height * (i < 6 ? 0.9 : 0.25 + 0.3 * noise.next());
        knots.push_back({static_cast<LONG>(x + width * along + height * 0.25 * std::cos(turn) + noise.around(height * 0.05)),
                         static_cast<LONG>(y - rise * 0.5 * std::sin(turn) + noise.around(height * 0.06))});
    }
    stroke(page, knots, pen);
}

// White specks, as ink that hasn't taken everywhere.
void wear(const Page& page, int left, int top, int right, int bottom, double share, std::uint64_t seed) {
    Noise noise(seed);
    const auto specks = static_cast<int>(share * (right - left) * (bottom - top) / 9);
    for (int i = 0; i < specks; ++i) {
        const auto x = static_cast<int>(left + noise.next() * (right - left)),
                   y = static_cast<int>(top + noise.next() * (bottom - top));
        PatBlt(page.hDC, x, y, 1 + static_cast<int>(noise.next() * 4), 1 + static_cast<int>(noise.next() * 3), WHITENESS);
    }
}

void rubberStamp(const Page& page, int x, int y) {
    constexpr double turn = 7.0 * std::numbers::pi / 180;
    const auto place = [x, y](double across, double down) {
        return POINT{static_cast<LONG>(x + across * std::cos(turn) + down * std::sin(turn)),
                     static_cast<LONG>(y - across * std::sin(turn) + down * std::cos(turn))};
    };
    const auto box = [&](double inset, int width) {
        page.polyline({place(inset, inset), place(620 - inset, inset), place(620 - inset, 250 - inset),
                       place(inset, 250 - inset), place(inset, inset)},
                      width);
    };
    box(0, 12);
    box(22, 4);
    const POINT word = place(64, 44), date = place(140, 158);
    page.text(word.x, word.y, 94, "Liberation Sans", "RECEIVED", FW_BOLD, false, 70);
    page.text(date.x, date.y, 56, "Liberation Sans", "14 NOV 2024", FW_NORMAL, false, 70);
    wear(page, x - 10, y - 90, x + 670, y + 270, 0.07, 5);
}

void drawLetter(const Page& page) {
    page.text(MARGIN, 250, 96, "Liberation Sans", "Harbour & Dale", FW_BOLD);
    page.text(MARGIN, 366, 42, "Liberation Sans", "Surveyors and shipwrights  \267  Old Quay 7  \267  Northport");
    page.polyline({{MARGIN, 440}, {PAGE_WIDTH - MARGIN, 440}}, 5);
    page.text(MARGIN, 520, 46, BODY_FACE, "Ms A. Okafor");
    page.text(MARGIN, 582, 46, BODY_FACE, "Boathouse Trust");
    page.text(MARGIN, 644, 46, BODY_FACE, "12 Tidewater Lane");
    page.text(MARGIN, 706, 46, BODY_FACE, "Northport");
    page.text(MARGIN, 860, 46, BODY_FACE, "12 November 2024");
    page.text(MARGIN, 980, 56, BODY_FACE, "Repair of the north wall and the slipway", FW_BOLD);
    for (int i = 0; i < BODY_LINES; ++i) page.text(MARGIN, BODY_TOP + i * BODY_PITCH, BODY_SIZE, BODY_FACE, bodyLines[i]);
    const int below = BODY_TOP + BODY_LINES * BODY_PITCH;
    scribble(page, MARGIN + 60, below + 130, 560, 190, 17, 7);
    page.text(MARGIN, below + 250, 46, BODY_FACE, "J. Dale, surveyor");
    page.polyline({{MARGIN, 3300}, {PAGE_WIDTH - MARGIN, 3300}}, 3);
    page.text(MARGIN, 3320, 34, "Liberation Sans", "Encl.: estimate, two drawings");
    rubberStamp(page, 1500, 640);
}

void drawSampler(const Page& page) {
    page.text(CELL_LEFT, 220, 84, "Liberation Sans", "Specimen sheet", FW_BOLD);
    page.text(CELL_LEFT, 330, 42, "Liberation Sans",
              "Every cell is filled by annotations; frames and captions are part of the scan.");
    for (int row = 0; row < CELL_ROWS; ++row) {
        for (int column = 0; column < CELL_COLUMNS; ++column) {
            const int left = CELL_LEFT + column * CELL_WIDTH, top = CELL_TOP + row * CELL_HEIGHT;
            page.frame(left, top, left + CELL_WIDTH, top + CELL_HEIGHT, 2);
            page.text(left + 16, top + CELL_HEIGHT - CAPTION_HEIGHT + 6, 34, "Liberation Sans", cellCaptions[row][column]);
            if (row == SCANNED_ROW) page.text(left + 120, top + 120, 48, BODY_FACE, "on the scan");
        }
    }
}

void drawNotes(const Page& page) {
    page.text(MARGIN, 260, 76, "Liberation Mono", "SITE NOTES", FW_BOLD);
    for (int i = 0; i < 34; ++i) page.polyline({{MARGIN, 480 + i * 82}, {PAGE_WIDTH - MARGIN, 480 + i * 82}}, 1);
    for (int line = 0; line < 14; ++line) {
        Noise noise(static_cast<std::uint64_t>(line) + 40);
        int x = MARGIN + 40;
        const int end = PAGE_WIDTH - MARGIN - 200 - static_cast<int>(noise.next() * 500);
        while (x < end) {
            const int width = 90 + static_cast<int>(noise.next() * 240);
            scribble(page, x, 452 + line * 164, width, 74, static_cast<std::uint64_t>(x * 7 + line), 5);
            x += width + 60;
        }
    }
}

// Smooth noise: values on a grid, blended.
double smoothNoise(double x, double y, std::uint32_t seed) {
    const auto value = [seed](int column, int row) {
        std::uint32_t h = static_cast<std::uint32_t>(column) * 374761393u + static_cast<std::uint32_t>(row) * 668265263u +
                          seed * 2246822519u;
        h = (h ^ h >> 13) * 1274126177u;
        return static_cast<double>((h ^ h >> 16) & 0xFFFF) / 65535;
    };
    const double left = std::floor(x), top = std::floor(y);
    const auto blend = [](double t) { return t * t * (3 - 2 * t); };
    const double u = blend(x - left), v = blend(y - top);
    const int column = static_cast<int>(left), row = static_cast<int>(top);
    return std::lerp(std::lerp(value(column, row), value(column + 1, row), u),
                     std::lerp(value(column, row + 1), value(column + 1, row + 1), u), v);
}

double layeredNoise(double x, double y, std::uint32_t seed, int layers) {
    double sum = 0, share = 0.5;
    for (int i = 0; i < layers; ++i, share /= 2, x *= 2, y *= 2)
        sum += share * smoothNoise(x, y, seed + static_cast<std::uint32_t>(i));
    return sum;
}

using Color = std::array<double, 3>; // red, green, blue, 0 to 1

Color mix(const Color& a, const Color& b, double t) {
    return {std::lerp(a[0], b[0], t), std::lerp(a[1], b[1], t), std::lerp(a[2], b[2], t)};
}

// An evening sky over a lake between hills.
Color landscape(double x, double y) {
    constexpr double horizon = 720, sunX = 1130, sunY = 450, width = PHOTO_WIDTH, height = PHOTO_HEIGHT;
    const bool water = y > horizon;
    const double depth = water ? (y - horizon) / (height - horizon) : 0;
    const double ripple =
        water ? (smoothNoise(x / (30 + 160 * depth), y / (2 + 14 * depth), 77) - 0.5) * (10 + 60 * depth) : 0;
    const double seenY = water ? horizon - (y - horizon) * 1.15 + ripple : y;
    const double seenX = water ? x + ripple * 0.6 : x;

    const double down = std::clamp(seenY / horizon, 0.0, 1.0);
    Color color = mix({0.16, 0.27, 0.52}, {0.98, 0.72, 0.48}, std::pow(down, 1.6));
    const double cloud = layeredNoise(seenX / 310, seenY / 95, 11, 6);
    color = mix(color, {1.0, 0.88, 0.80}, std::clamp((cloud - 0.50) * 2.6, 0.0, 0.65) * (1 - down * 0.5));
    const double sun = std::hypot(seenX - sunX, seenY - sunY);
    color = mix(color, {1.0, 0.93, 0.72}, std::clamp(std::exp(-sun / 150) + (sun < 44 ? 0.8 : 0.0), 0.0, 1.0));

    struct Ridge {
        double base, rise, width;
        std::uint32_t seed;
        Color color;
    };
    constexpr std::array<Ridge, 4> ridges{{{650, 190, 520, 1, {0.55, 0.50, 0.60}},
                                           {685, 190, 360, 2, {0.38, 0.36, 0.50}},
                                           {715, 150, 240, 3, {0.22, 0.25, 0.36}},
                                           {735, 110, 150, 4, {0.10, 0.14, 0.17}}}};
    for (const Ridge& ridge : ridges) {
        const double crest = ridge.base - ridge.rise * (layeredNoise(seenX / ridge.width, 0.5, ridge.seed, 7) - 0.28);
        const double cover = std::clamp((seenY - crest) / 1.6, 0.0, 1.0);
        const double shade = 0.85 + 0.3 * layeredNoise(seenX / 22, seenY / 16, ridge.seed + 20, 3);
        color = mix(color, mix({0, 0, 0}, ridge.color, shade), cover);
    }
    if (water) color = mix(color, {0.08, 0.14, 0.20}, 0.22 + 0.34 * depth);
    const double corner = std::hypot(x / width - 0.5, y / height - 0.5);
    return mix(color, {0, 0, 0}, std::clamp((corner - 0.35) * 0.8, 0.0, 0.35));
}

int savePhoto(const std::string& path) {
    KernelBitmap photo{};
    int code = K_CreateBitmap(&photo, 1, PHOTO_WIDTH, PHOTO_HEIGHT, 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0);
    if (code != SUCCESS) return code;
    photo.XResolution = photo.YResolution = 96;
    Noise grain(3);
    for (int y = 0; y < PHOTO_HEIGHT; ++y) {
        std::uint8_t* row = K_WritableBitmapRow(&photo, y);
        for (int x = 0; x < PHOTO_WIDTH; ++x) {
            const Color color = landscape(x, y);
            const double speck = grain.around(0.018);
            for (std::size_t c = 0; c < 3; ++c)
                *row++ = static_cast<std::uint8_t>(std::clamp((color[2 - c] + speck) * 255 + 0.5, 0.0, 255.0));
        }
    }
    code = K_SaveFile(path.c_str(), &photo, KB_FORMAT_PNG, nullptr);
    K_FreeBitmap(&photo);
    return code;
}

int saveScan(const std::string& path) {
    constexpr std::array<void (*)(const Page&), 3> pages{drawLetter, drawSampler, drawNotes};
    KernelSaveOptions options{};
    K_DefaultSaveOptions(&options, sizeof options);
    options.nCompression = KB_COMPRESS_G4;
    for (const auto draw : pages) {
        Page page;
        if (!page.hDC) return ERROR_NO_MEMORY;
        draw(page);
        page.finish();
        if (const int code = K_SaveFile(path.c_str(), &page.bitmap, KB_FORMAT_TIFF, &options); code != SUCCESS) return code;
        options.uFlags = SAVE_INSERTPAGE;
        options.nPageNumber = -1;
    }
    return SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: make_samples FOLDER\n", stderr);
        return 2;
    }
    const std::filesystem::path folder(argv[1]);
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    const int scan = saveScan((folder / "scan.tif").string());
    const int photo = savePhoto((folder / "photo.png").string());
    if (scan != SUCCESS || photo != SUCCESS) {
        std::fprintf(stderr, "make_samples: scan gave %d, photo gave %d\n", scan, photo);
        return 1;
    }
    return 0;
}
