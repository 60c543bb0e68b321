// The document's life, clipping, and figures on a page.
#include "platform/gdi/pdf_page.h"

#include "platform/gdi/ellipse.h"
#include "platform/gdi/gdi_state.h"
#include "platform/gdi/pdf_passes.h"

#include <cairo-pdf.h>
#include <numbers>

namespace kb::gdi {

namespace {

constexpr double pointsPerInch = 72;

FPoint shifted(POINT p, double by) { return {p.x + by, p.y + by}; }

// From the point to the middle of the round or square pen: a pixel's middle, or its corner for an even width.
double penShift(const PenState& pen) { return pen.width % 2 ? 0.5 : 0.0; }

} // namespace

PdfPage::~PdfPage() {
    silent_ = true;
    if (surface_) finish();
}

cairo_status_t PdfPage::writeBytes(void* page, const unsigned char* bytes, unsigned count) {
    auto* self = static_cast<PdfPage*>(page);
    if (self->silent_) return CAIRO_STATUS_SUCCESS;
    if (!self->failed_ && !self->write_(self->writeContext_, bytes, count)) self->failed_ = true;
    return self->failed_ ? CAIRO_STATUS_WRITE_ERROR : CAIRO_STATUS_SUCCESS;
}

void PdfPage::endPage() {
    if (!cairo_) return;
    // An error of one call lasts, and nothing is drawn after it.
    if (cairo_status(cairo_) != CAIRO_STATUS_SUCCESS) failed_ = true;
    cairo_destroy(cairo_);
    cairo_ = nullptr;
    cairo_surface_show_page(surface_);
    for (const auto& [hash, surface] : pictures_) cairo_surface_destroy(surface);
    pictures_.clear();
    applied_ = {};
}

bool PdfPage::startPage(DeviceContext& dc, int width, int height, int dpiX, int dpiY) {
    constexpr int longest = 1 << 20;
    constexpr double farthest = 29'000;
    if (width < 1 || height < 1 || width > longest || height > longest) return false;
    if (dpiX < 1 || dpiY < 1 || dpiX > 32767 || dpiY > 32767) return false;
    const double scaleX = pointsPerInch / dpiX, scaleY = pointsPerInch / dpiY;
    if (width * scaleX > farthest * pointsPerInch || height * scaleY > farthest * pointsPerInch) return false;
    endPage();
    if (broken()) return false;
    if (!surface_) {
        surface_ = cairo_pdf_surface_create_for_stream(writeBytes, this, width * scaleX, height * scaleY);
        cairo_pdf_surface_set_metadata(surface_, CAIRO_PDF_METADATA_CREATE_DATE, ""); // equal drawings are equal bytes
    } else {
        cairo_pdf_surface_set_size(surface_, width * scaleX, height * scaleY);
    }
    cairo_ = cairo_create(surface_);
    cairo_scale(cairo_, scaleX, scaleY);
    path_ = PagePath(cairo_, scaleX, scaleY);
    width_ = width;
    height_ = height;
    dc.dpiX = dpiX;
    dc.dpiY = dpiY;
    resetState(dc);
    // Paper, so that blend modes have something to act on.
    path_.area(0, 0, width, height);
    setColor(0xFFFFFF);
    cairo_fill(cairo_);
    return done();
}

bool PdfPage::finish() {
    const bool hadPage = surface_ != nullptr;
    endPage();
    for (const auto& [key, face] : faces_) cairo_font_face_destroy(face); // null is allowed
    faces_.clear();
    if (!hadPage) return false;
    cairo_surface_finish(surface_);
    const bool whole = !broken() && !lost_;
    cairo_surface_destroy(surface_);
    surface_ = nullptr;
    return whole;
}

bool PdfPage::begin(const DeviceContext& dc) {
    if (!cairo_ || broken()) return false;
    applyClip(dc.state.clip);
    return true;
}

// Clips mostly stay for many figures; a region is never changed in place, so its address tells whether it is the same.
void PdfPage::applyClip(const Clip& clip) {
    const bool same = clip.bounded == applied_.bounded && clip.region.get() == applied_.region.get() &&
                      (!clip.bounded || clip.box == applied_.box);
    if (same) return;
    cairo_reset_clip(cairo_);
    applied_ = {};
    if (!clip.bounded) return;
    path_.begin();
    if (clip.region) {
        int count;
        const pixman_box32_t* boxes = clip.region->boxes(&count);
        for (int i = 0; i < count; ++i) path_.area(boxes[i].x1, boxes[i].y1, boxes[i].x2, boxes[i].y2);
    } else {
        path_.area(clip.box.left, clip.box.top, clip.box.right, clip.box.bottom);
    }
    cairo_set_fill_rule(cairo_, CAIRO_FILL_RULE_WINDING);
    cairo_clip(cairo_);
    applied_ = clip;
}

void PdfPage::setColor(uint32_t rgb) {
    cairo_set_source_rgb(cairo_, (rgb >> 16 & 0xFF) / 255.0, (rgb >> 8 & 0xFF) / 255.0, (rgb & 0xFF) / 255.0);
}

void PdfPage::setPen(const PenState& pen, bool dashed) {
    const bool wide = pen.form == PenForm::wide;
    cairo_set_line_width(cairo_, pen.width);
    cairo_set_line_cap(cairo_, wide ? CAIRO_LINE_CAP_ROUND : CAIRO_LINE_CAP_BUTT);
    cairo_set_line_join(cairo_, wide ? CAIRO_LINE_JOIN_ROUND : CAIRO_LINE_JOIN_MITER);
    cairo_set_miter_limit(cairo_, 1.5); // square corners, and no thorns
    // The page keeps lines as they are; only their extents are worked out, and that needn't be finer than the eye sees.
    cairo_set_tolerance(cairo_, std::max(0.1, pen.width / 400.0));
    double lengths[6];
    const int count = dashed && pen.dash ? pen.dash->count : 0;
    for (int i = 0; i < count; ++i) lengths[i] = static_cast<double>(pen.dash->lengths[i]) * pen.width;
    cairo_set_dash(cairo_, lengths, count, 0);
}

// area() and line() add the inside and the outline to the path.
template <class Area, class Line> void PdfPage::figure(const DeviceContext& dc, const PenState& pen, const Brush* brush,
                                                       int fillMode, Area&& area, Line&& line) {
    const bool fills = brush && brush->style != BS_NULL, strokes = pen.form != PenForm::none;
    const uint32_t penRgb = swapRedBlue(dc.state.pen->color), gapRgb = swapRedBlue(dc.state.bkColor);
    const bool parts = (fills && (strokes || brush->style == BS_HATCHED)) || (strokes && pen.paintsGaps);
    passes(dc.state.rop2, parts, [&](Ink ink) {
        if (fills) {
            path_.begin();
            area();
            fillPath(dc, brush, ink, fillMode == WINDING ? CAIRO_FILL_RULE_WINDING : CAIRO_FILL_RULE_EVEN_ODD);
        }
        if (!strokes) return;
        path_.begin();
        line();
        if (pen.paintsGaps) {
            setPen(pen, false);
            setColor(inked(ink, gapRgb));
            cairo_stroke_preserve(cairo_);
        }
        setPen(pen, true);
        setColor(inked(ink, penRgb));
        cairo_stroke(cairo_);
    });
}

template <class Area> void PdfPage::filled(const DeviceContext& dc, const Brush* brush, int rop2, Area&& area) {
    if (brush && brush->style == BS_NULL) return;
    passes(rop2, brush && brush->style == BS_HATCHED, [&](Ink ink) {
        path_.begin();
        area();
        fillPath(dc, brush, ink, CAIRO_FILL_RULE_WINDING);
    });
}

void PdfPage::contours(const DeviceContext& dc, const POINT* points, const size_t* counts, size_t count, bool closed) {
    PenState pen;
    loadPen(dc, pen);
    const double shift = penShift(pen);
    const auto each = [&](double by, auto&& use) {
        const POINT* p = points;
        for (size_t i = 0; i < count; p += counts[i++]) {
            points_.clear();
            for (size_t k = 0; k < counts[i]; ++k) points_.push_back(shifted(dc.state.map.device(p[k]), by));
            use();
        }
    };
    const auto line = [&] {
        each(shift, [&] {
            // A thin line covers its first pixel and not its last one.
            const auto back = [](FPoint& p, FPoint from, FPoint to) {
                const double dx = to.x - from.x, dy = to.y - from.y, steps = std::max(std::abs(dx), std::abs(dy));
                if (steps > 0) p = {p.x - dx / steps / 2, p.y - dy / steps / 2};
            };
            if (!closed && pen.form == PenForm::thin) {
                const size_t n = points_.size();
                const FPoint first = points_[0], second = points_[1];
                back(points_[n - 1], points_[n - 2], points_[n - 1]);
                back(points_[0], first, second);
            }
            path_.line(points_, closed);
        });
    };
    const auto area = [&] { each(0, [&] { path_.area(points_); }); };
    figure(dc, pen, closed ? dc.state.brush.get() : nullptr, dc.state.polyFillMode, area, line);
}

bool PdfPage::lines(DeviceContext& dc, const POINT* points, const size_t* counts, size_t contourCount) {
    if (!begin(dc)) return false;
    contours(dc, points, counts, contourCount, false);
    return done();
}

bool PdfPage::linesTo(DeviceContext& dc, const POINT* points, size_t count) {
    if (!begin(dc)) return false;
    std::vector<POINT> all{dc.state.position};
    all.insert(all.end(), points, points + count);
    const size_t n = all.size();
    contours(dc, all.data(), &n, 1, false);
    return done();
}

bool PdfPage::polygons(DeviceContext& dc, const POINT* points, const size_t* counts, size_t contourCount) {
    if (!begin(dc)) return false;
    contours(dc, points, counts, contourCount, true);
    return done();
}

namespace {

// An arc as curves of the page, or as a chain where it reaches too far for them.
void ellipseArc(cairo_t* cairo, double cx, double cy, double a, double b, double from, double sweep) {
    cairo_save(cairo);
    cairo_translate(cairo, cx, cy);
    cairo_scale(cairo, std::max(a, 1e-6), std::max(b, 1e-6));
    (sweep < 0 ? cairo_arc_negative : cairo_arc)(cairo, 0, 0, 1, from, from + sweep);
    cairo_restore(cairo);
}

} // namespace

// `grow`: by how much the curve lies outside of the middles of the outermost pixels.
void PdfPage::roundPath(const Box& box, double cornerA, double cornerB, double grow, double shift) {
    const Axes axes(box);
    const double a = std::min(cornerA, axes.a + grow), b = std::min(cornerB, axes.b + grow);
    const double x0 = axes.cx - axes.a - grow + a + shift, x1 = axes.cx + axes.a + grow - a + shift;
    const double y0 = axes.cy - axes.b - grow + b + shift, y1 = axes.cy + axes.b + grow - b + shift;
    constexpr double quarter = std::numbers::pi / 2;
    const struct {
        double x, y, from;
    } corners[] = {{x1, y1, 0}, {x0, y1, quarter}, {x0, y0, 2 * quarter}, {x1, y0, 3 * quarter}};
    if (path_.holds({x0 - a, y0 - b}) && path_.holds({x1 + a, y1 + b})) {
        for (const auto& c : corners) {
            if (a > 0 && b > 0)
                ellipseArc(cairo_, c.x, c.y, a, b, c.from, quarter);
            else
                cairo_line_to(cairo_, c.x + (c.x == x1 ? a : -a), c.y + (c.y == y1 ? b : -b));
        }
        cairo_close_path(cairo_);
        return;
    }
    points_.clear();
    for (const auto& c : corners) flattenArc(c.x, c.y, a, b, c.from, quarter, points_);
    grow > 0 ? path_.area(points_) : path_.line(points_, true);
}

void PdfPage::arcPath(const ShapeCall& call, const Axes& axes, const ArcSpan& span, double shift) {
    const double cx = axes.cx + shift, cy = axes.cy + shift;
    const bool closed = call.form != ShapeForm::arc;
    if (path_.holds({cx - axes.a, cy - axes.b}) && path_.holds({cx + axes.a, cy + axes.b})) {
        ellipseArc(cairo_, cx, cy, axes.a, axes.b, span.first, span.sweep);
        if (call.form == ShapeForm::pie) cairo_line_to(cairo_, cx, cy);
        if (closed) cairo_close_path(cairo_);
        return;
    }
    points_.clear();
    flattenArc(cx, cy, axes.a, axes.b, span.first, span.sweep, points_);
    if (call.form == ShapeForm::pie) points_.push_back({cx, cy});
    path_.line(points_, closed);
}

bool PdfPage::shape(DeviceContext& dc, const ShapeCall& call) {
    if (!begin(dc)) return false;
    PenState pen;
    loadPen(dc, pen);
    const bool bare = pen.form == PenForm::none;
    Box b = deviceBox(dc, call.box.left, call.box.top, call.box.right, call.box.bottom);
    if (bare && !b.empty()) b = {b.left, b.top, b.right - 1, b.bottom - 1};
    b = insideFrame(pen, b);
    if (b.empty()) return done();
    const double shift = penShift(pen);
    const Brush* brush = dc.state.brush.get();
    const Axes axes(b);
    switch (call.form) {
    case ShapeForm::rectangle: {
        const double right = bare ? b.right : b.right - 1.0, bottom = bare ? b.bottom : b.bottom - 1.0;
        figure(
            dc, pen, brush, WINDING, [&] { path_.area(b.left, b.top, right, bottom); },
            [&] {
                const double left = b.left + shift, top = b.top + shift;
                points_ = {{left, top}, {right + shift, top}, {right + shift, bottom + shift}, {left, bottom + shift}};
                path_.line(points_, true);
            });
        break;
    }
    case ShapeForm::ellipse:
    case ShapeForm::roundRect: {
        double cornerA = 1e300, cornerB = 1e300; // cut to the half-axes
        if (call.form == ShapeForm::roundRect) {
            const auto half = [](int64_t corner, int64_t side) { return static_cast<double>(std::min(corner, side)) / 2; };
            cornerA = half(dc.state.map.deviceWidth(call.first.x), int64_t{b.right} - b.left);
            cornerB = half(dc.state.map.deviceHeight(call.first.y), int64_t{b.bottom} - b.top);
        }
        // Without a pen the area reaches to the rims of the outermost pixels, else the pen's line runs through their middles.
        const double inward = bare ? 0 : 0.5;
        figure(
            dc, pen, brush, WINDING,
            [&] { roundPath(b, std::max(cornerA - inward, 0.0), std::max(cornerB - inward, 0.0), bare ? 0.5 : 0, 0.5); },
            [&] { roundPath(b, std::max(cornerA - 0.5, 0.0), std::max(cornerB - 0.5, 0.0), 0, shift); });
        break;
    }
    case ShapeForm::arc:
    case ShapeForm::chord:
    case ShapeForm::pie: {
        const ArcSpan span = axes.span(dc.state.map.device(call.first), dc.state.map.device(call.second));
        figure(
            dc, pen, call.form == ShapeForm::arc ? nullptr : brush, WINDING, [&] { arcPath(call, axes, span, 0); },
            [&] { arcPath(call, axes, span, shift); });
        break;
    }
    }
    return done();
}

bool PdfPage::region(DeviceContext& dc, const RegionCall& call) {
    if (!begin(dc)) return false;
    Region border, device;
    const Region* drawn = &call.region;
    if (call.verb == AreaVerb::frame) {
        frameRegion(*drawn, call.width, call.height, border);
        drawn = &border;
    }
    if (!dc.state.map.identity) {
        deviceRegion(dc, *drawn, device);
        drawn = &device;
    }
    const Brush* brush = call.verb == AreaVerb::paint ? dc.state.brush.get() : call.brush;
    filled(dc, brush, call.verb == AreaVerb::invert ? R2_NOT : dc.state.rop2, [&] {
        int count;
        const pixman_box32_t* boxes = drawn->boxes(&count);
        for (int i = 0; i < count; ++i) path_.area(boxes[i].x1, boxes[i].y1, boxes[i].x2, boxes[i].y2);
    });
    return done();
}

bool PdfPage::box(DeviceContext& dc, const BoxCall& call) {
    if (!begin(dc)) return false;
    const Box b = deviceBox(dc, call.box.left, call.box.top, call.box.right, call.box.bottom);
    filled(dc, call.brush, call.verb == AreaVerb::invert ? R2_NOT : R2_COPYPEN, [&] {
        if (call.verb != AreaVerb::frame) {
            path_.area(b.left, b.top, b.right, b.bottom);
            return;
        }
        const double wx = std::max(dc.state.map.deviceWidth(1), 1), wy = std::max(dc.state.map.deviceHeight(1), 1);
        const double innerTop = std::min(b.top + wy, double(b.bottom)), innerBottom = std::max(b.bottom - wy, innerTop);
        const double innerLeft = std::min(b.left + wx, double(b.right)), innerRight = std::max(b.right - wx, innerLeft);
        path_.area(b.left, b.top, b.right, innerTop);
        path_.area(b.left, innerBottom, b.right, b.bottom);
        path_.area(b.left, innerTop, innerLeft, innerBottom);
        path_.area(innerRight, innerTop, b.right, innerBottom);
    });
    return done();
}

bool PdfPage::pixel(DeviceContext& dc, POINT at, COLORREF color) {
    if (!begin(dc)) return false;
    const POINT p = dc.state.map.device(at);
    path_.begin();
    path_.area(p.x, p.y, p.x + 1.0, p.y + 1.0);
    setColor(swapRedBlue(color));
    cairo_fill(cairo_);
    return done();
}

bool PdfPage::pattern(DeviceContext& dc, const BlitArea& to, DWORD rop) {
    if (!begin(dc)) return false;
    const uint32_t code = rop >> 16 & 0xFF;
    const Box b = deviceBox(dc, to.x, to.y, to.x + to.width, to.y + to.height);
    filled(dc, rop3NeedsPattern(code) ? dc.state.brush.get() : nullptr, static_cast<int>(tableOfRop3(code)) + 1,
           [&] { path_.area(b.left, b.top, b.right, b.bottom); });
    return done();
}

} // namespace kb::gdi

using namespace kb;
using namespace kb::gdi;

KB_API HDC KbCreatePdfDC(KbWriteProc write, void* pContext) {
    if (!write) return nullptr;
    return guarded<HDC>(nullptr, [&] {
        auto page = std::make_unique<PdfPage>(write, pContext);
        DeviceContext* dc = makeContext(DcKind::pages, nullptr);
        dc->output = std::move(page);
        dc->surface.bits = 24; // what bitmaps that go with it are made of
        return publishContext(dc);
    });
}

namespace {

DeviceContext* findPages(HDC hDC) {
    DeviceContext* dc = findDc(hDC);
    if (dc && dc->kind == DcKind::pages) return dc;
    SetLastError(ERROR_BAD_HANDLE);
    return nullptr;
}

} // namespace

KB_API BOOL KbStartPdfPage(HDC hDC, int width, int height, int dpiX, int dpiY) {
    return guarded<BOOL>(FALSE, [&]() -> BOOL {
        DeviceContext* dc = findPages(hDC);
        return dc && static_cast<PdfPage&>(*dc->output).startPage(*dc, width, height, dpiX, dpiY);
    });
}

KB_API BOOL KbClosePdfDC(HDC hDC) {
    DeviceContext* dc = findPages(hDC);
    if (!dc) return FALSE;
    const bool whole = static_cast<PdfPage&>(*dc->output).finish();
    freeContext(dc);
    return whole;
}
