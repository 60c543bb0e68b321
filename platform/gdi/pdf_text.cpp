// Text on a page: characters of the same face files, at the places that they have in pixels, with what they mean beside them,
// so that text can be found and copied.
#include "platform/gdi/gdi_state.h"
#include "platform/gdi/pdf_passes.h"
#include "platform/gdi/text_layout.h"

#include <cairo-ft.h>
#include <fontconfig/fontconfig.h>

namespace kb::gdi {

namespace {

size_t putUtf8(char32_t c, char* out) {
    // Halves of pairs, and what will never be a character: the page's library takes no such text.
    if ((c >= 0xD800 && c < 0xE000) || (c >= 0xFDD0 && c <= 0xFDEF) || (c & 0xFFFE) == 0xFFFE) c = 0xFFFD;
    if (c < 0x80) return out[0] = static_cast<char>(c), 1;
    const int more = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    constexpr uint8_t lead[] = {0, 0xC0, 0xE0, 0xF0};
    out[0] = static_cast<char>(lead[more] | c >> 6 * more);
    for (int i = 1; i <= more; ++i) out[i] = static_cast<char>(0x80 | (c >> 6 * (more - i) & 0x3F));
    return static_cast<size_t>(more) + 1;
}

constexpr double obliqueSlope = 0.2126; // as upright faces are slanted in pixels

cairo_matrix_t fontMatrix(const RealisedFont::Outlines& outlines, double cosine, double sine) {
    const double slant = outlines.slanted ? -obliqueSlope * outlines.emY : 0;
    cairo_matrix_t m;
    cairo_matrix_init(&m, outlines.emX * cosine, -outlines.emX * sine, slant * cosine + outlines.emY * sine,
                      -slant * sine + outlines.emY * cosine, 0, 0);
    return m;
}

// Characters of one face that follow each other.
struct TextRun {
    cairo_font_face_t* face = nullptr;
    std::vector<cairo_glyph_t> glyphs;
    std::vector<cairo_text_cluster_t> clusters;
    std::string utf8;

    void add(const RealisedFont::FaceGlyph& glyph, POINT at) {
        char bytes[4];
        const size_t n = putUtf8(glyph.shown, bytes);
        utf8.append(bytes, n);
        glyphs.push_back({glyph.glyph, double(at.x), double(at.y)});
        clusters.push_back({static_cast<int>(n), 1});
    }
    // Draws what is there and begins anew.
    void show(cairo_t* cairo) {
        if (glyphs.empty()) return;
        cairo_set_font_face(cairo, face);
        cairo_show_text_glyphs(cairo, utf8.data(), static_cast<int>(utf8.size()), glyphs.data(),
                               static_cast<int>(glyphs.size()), clusters.data(), static_cast<int>(clusters.size()),
                               static_cast<cairo_text_cluster_flags_t>(0));
        glyphs.clear();
        clusters.clear();
        utf8.clear();
    }
};

} // namespace

cairo_font_face_t* PdfPage::fontFace(const char* file, int index, bool embolden) {
    const std::string key = std::string(file) + '\n' + std::to_string(index) + (embolden ? "b" : "");
    cairo_font_face_t*& face = faces_[key];
    if (face) return face;
    FcPattern* pattern = FcPatternCreate();
    if (!pattern) throw std::bad_alloc();
    FcPatternAddString(pattern, FC_FILE, reinterpret_cast<const FcChar8*>(file));
    FcPatternAddInteger(pattern, FC_INDEX, index);
    if (embolden) FcPatternAddBool(pattern, FC_EMBOLDEN, FcTrue);
    face = cairo_ft_font_face_create_for_pattern(pattern);
    FcPatternDestroy(pattern);
    return face;
}

bool PdfPage::text(DeviceContext& dc, const TextCall& call) {
    if (!begin(dc)) return false;
    const SavedState saved(cairo_);
    if (call.rect && call.options & (ETO_OPAQUE | ETO_CLIPPED)) {
        const Box b = deviceBox(dc, call.rect->left, call.rect->top, call.rect->right, call.rect->bottom);
        path_.begin();
        path_.area(b.left, b.top, b.right, b.bottom);
        cairo_set_fill_rule(cairo_, CAIRO_FILL_RULE_WINDING);
        setColor(swapRedBlue(dc.state.bkColor));
        if (call.options & ETO_OPAQUE) cairo_fill_preserve(cairo_);
        if (call.options & ETO_CLIPPED) cairo_clip(cairo_);
        path_.begin();
    }
    if (!call.count) return done();
    RealisedFont& font = realisedFont(dc);
    const TextLine line = placeText(dc, font, call.at, call.text, call.count, call.dx);
    if (!path_.holds({line.x, line.y})) return done(); // nothing of it can be seen
    const TEXTMETRICA& metrics = font.metrics();
    const auto width = static_cast<double>(line.width);
    const auto block = [&](double v0, double v1, COLORREF color) {
        points_ = {line.place(0, v0), line.place(width, v0), line.place(width, v1), line.place(0, v1)};
        path_.begin();
        path_.area(points_);
        cairo_set_fill_rule(cairo_, CAIRO_FILL_RULE_WINDING);
        setColor(swapRedBlue(color));
        cairo_fill(cairo_);
    };
    if (dc.state.bkMode == OPAQUE) block(-metrics.tmAscent, metrics.tmDescent, dc.state.bkColor);
    setColor(swapRedBlue(dc.state.textColor));

    const RealisedFont::Outlines outlines = font.outlines();
    TextRun run;
    std::vector<StrokeLine> strokes;
    if (outlines.hasFace) {
        const cairo_matrix_t matrix = fontMatrix(outlines, line.cosine, line.sine);
        cairo_set_font_matrix(cairo_, &matrix);
    } else {
        path_.begin();
    }
    int64_t along = 0;
    for (size_t i = 0; i < call.count; ++i) {
        const char32_t c = call.text[i];
        const POINT p = line.at(static_cast<double>(along), 0);
        along += advanceOf(dc, font, call.text, call.dx, i);
        if (c < 0x20 || c > 0x10FFFF || !path_.holds({double(p.x), double(p.y)})) continue;
        if (outlines.hasFace) {
            const RealisedFont::FaceGlyph glyph = font.faceGlyph(c);
            if (cairo_font_face_t* face = fontFace(glyph.file, glyph.index, outlines.embolden); face != run.face) {
                run.show(cairo_);
                run.face = face;
            }
            run.add(glyph, p);
            continue;
        }
        cairo_set_line_width(cairo_, font.strokes(byteOf(c), strokes));
        for (const StrokeLine& s : strokes) {
            cairo_move_to(cairo_, p.x + s.from.x, p.y + s.from.y);
            cairo_line_to(cairo_, p.x + s.to.x, p.y + s.to.y);
        }
    }
    if (outlines.hasFace) {
        run.show(cairo_);
    } else {
        cairo_set_line_cap(cairo_, CAIRO_LINE_CAP_ROUND);
        cairo_set_dash(cairo_, nullptr, 0, 0);
        cairo_stroke(cairo_);
    }
    const auto bar = [&](int top) { block(top, top + font.lineWidth(), dc.state.textColor); };
    if (metrics.tmUnderlined) bar(font.underlineTop());
    if (metrics.tmStruckOut) bar(font.strikeOutTop());
    return done();
}

} // namespace kb::gdi
