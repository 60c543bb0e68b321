// Colours, brushes and images on a page. Pixels go into pictures of the library's own layout; equal ones are recognised by
// their hash, which also names them in the document, so that each is embedded once.
#include "platform/gdi/pdf_passes.h"
#include "platform/gdi/raster_ops.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <nettle/sha2.h>

namespace kb::gdi {

namespace {

constexpr auto blendRows = std::to_array<BlendRow>({
    {R2_BLACK, false, CAIRO_OPERATOR_OVER, Ink::black},
    {R2_NOTMERGEPEN, true, CAIRO_OPERATOR_MULTIPLY, Ink::inverted},
    {R2_MASKNOTPEN, false, CAIRO_OPERATOR_MULTIPLY, Ink::inverted},
    {R2_NOTCOPYPEN, false, CAIRO_OPERATOR_OVER, Ink::inverted},
    {R2_MASKPENNOT, true, CAIRO_OPERATOR_MULTIPLY, Ink::plain},
    {R2_NOT, true, CAIRO_OPERATOR_DEST, Ink::plain},
    {R2_XORPEN, false, CAIRO_OPERATOR_DIFFERENCE, Ink::plain},
    {R2_NOTMASKPEN, true, CAIRO_OPERATOR_SCREEN, Ink::inverted},
    {R2_MASKPEN, false, CAIRO_OPERATOR_MULTIPLY, Ink::plain},
    {R2_NOTXORPEN, false, CAIRO_OPERATOR_DIFFERENCE, Ink::inverted},
    {R2_NOP, false, CAIRO_OPERATOR_DEST, Ink::plain},
    {R2_MERGENOTPEN, false, CAIRO_OPERATOR_SCREEN, Ink::inverted},
    {R2_COPYPEN, false, CAIRO_OPERATOR_OVER, Ink::plain},
    {R2_MERGEPENNOT, true, CAIRO_OPERATOR_SCREEN, Ink::plain},
    {R2_MERGEPEN, false, CAIRO_OPERATOR_SCREEN, Ink::plain},
    {R2_WHITE, false, CAIRO_OPERATOR_OVER, Ink::white},
});
consteval bool inOrder() {
    for (size_t i = 0; i < blendRows.size(); ++i)
        if (blendRows[i].rop2 != static_cast<int>(i) + R2_BLACK) return false;
    return blendRows.size() == R2_WHITE;
}
static_assert(inOrder());

constexpr uint32_t opaque = 0xFF000000;

struct SurfaceDeleter {
    void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
};
using OwnedSurface = std::unique_ptr<cairo_surface_t, SurfaceDeleter>;
struct PatternDeleter {
    void operator()(cairo_pattern_t* p) const { cairo_pattern_destroy(p); }
};
using OwnedPattern = std::unique_ptr<cairo_pattern_t, PatternDeleter>;

OwnedSurface makeSurface(cairo_format_t format, int width, int height) {
    OwnedSurface surface(cairo_image_surface_create(format, width, height));
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) throw std::bad_alloc();
    cairo_surface_flush(surface.get());
    return surface;
}

uint8_t* rowOf(cairo_surface_t* surface, int y) {
    return cairo_image_surface_get_data(surface) + static_cast<ptrdiff_t>(cairo_image_surface_get_stride(surface)) * y;
}

std::string hashOf(cairo_surface_t* surface) {
    const int shape[3] = {cairo_image_surface_get_width(surface), cairo_image_surface_get_height(surface),
                          cairo_image_surface_get_format(surface)};
    sha256_ctx context;
    sha256_init(&context);
    sha256_update(&context, sizeof shape, reinterpret_cast<const uint8_t*>(shape));
    sha256_update(&context, static_cast<size_t>(cairo_image_surface_get_stride(surface)) * static_cast<size_t>(shape[1]),
                  cairo_image_surface_get_data(surface));
    uint8_t digest[SHA256_DIGEST_SIZE];
    sha256_digest(&context, sizeof digest, digest);
    return {reinterpret_cast<const char*>(digest), sizeof digest};
}

} // namespace

const BlendRow& blendOf(int rop2) { return blendRows[static_cast<size_t>(rop2 - R2_BLACK)]; }

uint32_t inked(Ink ink, uint32_t rgb) {
    switch (ink) {
    case Ink::plain: return rgb;
    case Ink::inverted: return ~rgb & 0xFFFFFF;
    case Ink::black: return 0;
    case Ink::white: return 0xFFFFFF;
    }
    return rgb;
}

cairo_surface_t* PdfPage::picture(cairo_surface_t* made) {
    cairo_surface_mark_dirty(made);
    const std::string hash = hashOf(made);
    if (const auto it = pictures_.find(hash); it != pictures_.end()) return it->second;
    auto name = std::make_unique<std::string>(hash);
    const auto forget = [](void* p) { delete static_cast<std::string*>(p); };
    const auto* bytes = reinterpret_cast<const unsigned char*>(name->data());
    if (cairo_surface_set_mime_data(made, CAIRO_MIME_TYPE_UNIQUE_ID, bytes, hash.size(), forget, name.get()) !=
        CAIRO_STATUS_SUCCESS)
        throw std::bad_alloc();
    name.release();
    pictures_.emplace(hash, made);
    return cairo_surface_reference(made);
}

void PdfPage::fillPath(const DeviceContext& dc, const Brush* brush, Ink ink, cairo_fill_rule_t rule) {
    cairo_set_fill_rule(cairo_, rule);
    if (brush && brush->style == BS_HATCHED) {
        const SavedState saved(cairo_);
        cairo_clip_preserve(cairo_);
        if (hatchLines(dc, *brush, ink)) return;
    }
    if (brush)
        setBrush(dc, *brush, ink);
    else
        setColor(inked(ink, 0));
    cairo_fill(cairo_);
}

// The hatch as lines through the clip, with the ink of its pixels. False, and the path is as it was, when there would be too
// many lines: a tile takes their place then.
bool PdfPage::hatchLines(const DeviceContext& dc, const Brush& brush, Ink ink) {
    constexpr double cell = 8, middle = 4.5, mostLines = 16'384;
    double x0, y0, x1, y1;
    cairo_clip_extents(cairo_, &x0, &y0, &x1, &y1);
    x0 = std::max(x0, 0.0), y0 = std::max(y0, 0.0);
    x1 = std::min<double>(x1, width_), y1 = std::min<double>(y1, height_);
    const double width = x1 - x0, height = y1 - y0;
    if (width + height > mostLines * cell) return false;
    cairo_new_path(cairo_);
    if (width <= 0 || height <= 0) return true;
    if (dc.state.bkMode == OPAQUE) {
        setColor(inked(ink, swapRedBlue(dc.state.bkColor)));
        cairo_paint(cairo_);
    }
    const double originX = dc.state.brushOrigin.x, originY = dc.state.brushOrigin.y;
    // Calls line(v) for all v = first + a multiple of the cell from `low` to `high`.
    const auto each = [](double first, double low, double high, auto&& line) {
        for (double v = first + std::ceil((low - first) / cell) * cell; v <= high; v += cell) line(v);
    };
    const auto segment = [&](double ax, double ay, double bx, double by) {
        cairo_move_to(cairo_, ax, ay);
        cairo_line_to(cairo_, bx, by);
    };
    const int style = static_cast<int>(brush.hatch);
    const bool diagonal = style == HS_FDIAGONAL || style == HS_BDIAGONAL || style == HS_DIAGCROSS;
    if (style == HS_HORIZONTAL || style == HS_CROSS)
        each(originY + middle, y0 - 1, y1 + 1, [&](double y) { segment(x0, y, x1, y); });
    if (style == HS_VERTICAL || style == HS_CROSS)
        each(originX + middle, x0 - 1, x1 + 1, [&](double x) { segment(x, y0, x, y1); });
    if (style == HS_FDIAGONAL || style == HS_DIAGCROSS) // where they cross the upper edge
        each(originX + y0 - originY, x0 - height - 1, x1 + 1, [&](double x) { segment(x, y0, x + height, y1); });
    if (style == HS_BDIAGONAL || style == HS_DIAGCROSS)
        each(originX + originY - y0, x0 - 1, x1 + height + 1, [&](double x) { segment(x, y0, x - height, y1); });
    setColor(inked(ink, swapRedBlue(brush.color)));
    cairo_set_line_width(cairo_, diagonal ? std::sqrt(0.5) : 1); // an eighth of the area either way
    cairo_set_line_cap(cairo_, CAIRO_LINE_CAP_BUTT);
    cairo_set_dash(cairo_, nullptr, 0, 0);
    cairo_stroke(cairo_);
    return true;
}

void PdfPage::setBrush(const DeviceContext& dc, const Brush& brush, Ink ink) {
    if (brush.style == BS_SOLID) {
        setColor(inked(ink, swapRedBlue(brush.color)));
        return;
    }
    const auto color = [&](uint32_t rgb) { return opaque | inked(ink, rgb); };
    const uint32_t text = color(swapRedBlue(dc.state.textColor)), background = color(swapRedBlue(dc.state.bkColor));
    const PatternImage* image = brush.pattern.get();
    const int width = image ? image->width : 8, height = image ? image->height : 8;
    const OwnedSurface tile = makeSurface(CAIRO_FORMAT_ARGB32, width, height);
    const uint32_t line = color(swapRedBlue(brush.color)), gap = dc.state.bkMode == OPAQUE ? background : 0;
    for (int y = 0; y < height; ++y) {
        auto* row = reinterpret_cast<uint32_t*>(rowOf(tile.get(), y));
        for (int x = 0; x < width; ++x) {
            if (!image) {
                row[x] = hatchCovers(static_cast<int>(brush.hatch), x, y) ? line : gap;
                continue;
            }
            const uint32_t pixel =
                image->pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
            row[x] = !image->mono ? color(pixel) : pixel ? background : text;
        }
    }
    const OwnedPattern pattern(cairo_pattern_create_for_surface(picture(tile.get())));
    cairo_pattern_set_extend(pattern.get(), CAIRO_EXTEND_REPEAT);
    cairo_pattern_set_filter(pattern.get(), CAIRO_FILTER_NEAREST);
    cairo_matrix_t matrix;
    cairo_matrix_init_translate(&matrix, -dc.state.brushOrigin.x, -dc.state.brushOrigin.y);
    cairo_pattern_set_matrix(pattern.get(), &matrix);
    cairo_set_source(cairo_, pattern.get());
}

// Where a part of a source lies on the page.
struct PdfPage::Placement {
    Box part;                // of the source's pixels
    double originX, originY; // of source pixel 0, 0 on the page
    double scaleX, scaleY;   // page pixels a source pixel, below 0 when mirrored
    cairo_filter_t filter;

    double pageX(double x) const { return originX + x * scaleX; }
    double pageY(double y) const { return originY + y * scaleY; }
    OwnedPattern pattern(cairo_surface_t* surface) const {
        OwnedPattern made(cairo_pattern_create_for_surface(surface));
        cairo_matrix_t matrix;
        cairo_matrix_init(&matrix, 1 / scaleX, 0, 0, 1 / scaleY, -pageX(part.left) / scaleX, -pageY(part.top) / scaleY);
        cairo_pattern_set_matrix(made.get(), &matrix);
        cairo_pattern_set_filter(made.get(), filter);
        return made;
    }
};

void PdfPage::paintBits(const PixelReader& source, const Placement& place, const uint32_t colors[2], Ink ink) {
    const Box& part = place.part;
    const int width = part.right - part.left, height = part.bottom - part.top;
    const OwnedSurface bits = makeSurface(CAIRO_FORMAT_A1, width, height);
    for (int y = 0; y < height; ++y) {
        auto* row = reinterpret_cast<uint32_t*>(rowOf(bits.get(), y)); // whole words, the low bit first
        for (int x = 0; x < width; ++x)
            if (source.raw(part.left + x, part.top + y) & 1) row[x / 32] |= 1u << x % 32;
    }
    setColor(inked(ink, colors[0]));
    cairo_fill_preserve(cairo_);
    setColor(inked(ink, colors[1]));
    cairo_mask(cairo_, place.pattern(picture(bits.get())).get());
}

// tint(pixel): the colour of a pixel of the source.
template <class Tint>
void PdfPage::paintPicture(const PixelReader& source, const Placement& place, const Region* mask, Tint&& tint) {
    const Box& part = place.part;
    const int width = part.right - part.left, height = part.bottom - part.top;
    const OwnedSurface pixels = makeSurface(mask ? CAIRO_FORMAT_ARGB32 : CAIRO_FORMAT_RGB24, width, height);
    for (int y = 0; y < height; ++y) {
        auto* row = reinterpret_cast<uint32_t*>(rowOf(pixels.get(), y));
        const int32_t pageRow = saturate(floorInt(place.pageY(part.top + y + 0.5)));
        for (int x = 0; x < width; ++x) {
            // What the mask hides isn't in the document at all.
            if (mask && !pixman_region32_contains_point(&mask->set, saturate(floorInt(place.pageX(part.left + x + 0.5))),
                                                        pageRow, nullptr))
                continue;
            row[x] = opaque | tint(source.raw(part.left + x, part.top + y));
        }
    }
    cairo_set_source(cairo_, place.pattern(picture(pixels.get())).get());
    cairo_fill_preserve(cairo_);
}

namespace {

bool isSolid(const Brush& brush) { return brush.style == BS_SOLID; }

// The binary operation of source and destination that a ternary one comes to, its brush taken for black or white, whichever
// is nearer.
int rop2Of(uint32_t code, const Brush& brush) {
    const COLORREF c = brush.color;
    const bool light =
        rop3NeedsPattern(code) && isSolid(brush) && GetRValue(c) * 299 + GetGValue(c) * 587 + GetBValue(c) * 114 >= 127'500;
    return static_cast<int>(light ? code >> 4 : code & 0xF) + 1;
}

constexpr int mostBoxes = 4096;     // of a region that still clips as a path
constexpr int longestSide = 32'000; // of one picture

} // namespace

bool PdfPage::image(DeviceContext& dc, const ImageCall& call) {
    if (!begin(dc)) return false;
    const PixelReader& source = call.source;
    const BlitArea& from = call.from;
    Placement place{};
    place.part = intersect(boxOf(from), {0, 0, source.width, source.height});
    if (place.part.empty()) return done();
    const Mapping& map = dc.state.map;
    const int64_t left = map.deviceX(call.to.x), top = map.deviceY(call.to.y);
    const int64_t width = call.stretched ? map.deviceX(call.to.x + call.to.width) - left : call.to.width;
    const int64_t height = call.stretched ? map.deviceY(call.to.y + call.to.height) - top : call.to.height;
    if (!width || !height) return done();
    place.scaleX = static_cast<double>(width) / static_cast<double>(from.width);
    place.scaleY = static_cast<double>(height) / static_cast<double>(from.height);
    place.originX = static_cast<double>(left) - static_cast<double>(from.x) * place.scaleX;
    place.originY = static_cast<double>(top) - static_cast<double>(from.y) * place.scaleY;
    place.filter = dc.state.stretchMode == HALFTONE ? CAIRO_FILTER_GOOD : CAIRO_FILTER_NEAREST;

    // Pixels can tell exactly what a clip region hides as long as none of them spreads over several of the page.
    Clip clip = dc.state.clip;
    const Region* mask = nullptr;
    if (clip.region) {
        int count;
        clip.region->boxes(&count);
        const bool spreads = std::abs(place.scaleX) > 1 || std::abs(place.scaleY) > 1;
        if (!spreads || count > mostBoxes) {
            mask = dc.state.clip.region.get();
            clip.region = {};
            applyClip(clip);
        }
    }
    const uint32_t mono[2] = {swapRedBlue(call.text), swapRedBlue(call.background)};
    const uint32_t table[2] = {source.toRgb(0), source.toRgb(1)};
    // Without the destination the colours of image and brush can be put together here.
    const auto code = static_cast<uint8_t>(call.rop >> 16);
    const Brush& brush = *dc.state.brush;
    const bool mixes = rop3NeedsPattern(code) && !rop3NeedsDestination(code) && isSolid(brush);
    const bool bits = source.bits == 1 && !mask && !mixes;
    const Box whole = place.part;
    const auto tint = [&](Ink ink) {
        return [&, ink](uint32_t pixel) {
            const uint32_t rgb = source.mono ? mono[pixel & 1] : source.toRgb(pixel);
            if (!mixes) return inked(ink, rgb);
            const uint32_t pattern = swapRedBlue(brush.color);
            uint32_t mixed = 0;
            applyRop3(code, reinterpret_cast<const uint8_t*>(&pattern), reinterpret_cast<const uint8_t*>(&rgb),
                      reinterpret_cast<uint8_t*>(&mixed), 3);
            return mixed;
        };
    };
    passes(mixes ? R2_COPYPEN : rop2Of(code, brush), true, [&](Ink ink) {
        const bool plain = ink == Ink::black || ink == Ink::white;
        for (int y = whole.top; y < whole.bottom; y += longestSide)
            for (int x = whole.left; x < whole.right; x += longestSide) {
                place.part = {x, y, std::min(x + longestSide, whole.right), std::min(y + longestSide, whole.bottom)};
                const auto [x0, x1] = std::minmax({place.pageX(x), place.pageX(place.part.right)});
                const auto [y0, y1] = std::minmax({place.pageY(y), place.pageY(place.part.bottom)});
                path_.begin();
                path_.area(std::max(x0, -1.0), std::max(y0, -1.0), std::min(x1, width_ + 1.0), std::min(y1, height_ + 1.0));
                cairo_set_fill_rule(cairo_, CAIRO_FILL_RULE_WINDING);
                if (plain && !mask) {
                    setColor(inked(ink, 0));
                    cairo_fill(cairo_);
                } else if (bits) {
                    paintBits(source, place, source.mono ? mono : table, ink);
                } else {
                    paintPicture(source, place, mask, tint(ink));
                }
            }
    });
    path_.begin();
    return done();
}

} // namespace kb::gdi
