// Drawing on the pages of a PDF document, in pixels of each page's resolution. A pixel x covers x to x + 1 of the page: areas
// keep their coordinates, pens go through the middles of pixels. A raster operation is a sequence of passes over the same
// figure, each with a blend mode; parts of a figure that overlap are put together in a group first, so that a mode acts once.
#pragma once

#include "platform/gdi/figure.h"
#include "platform/gdi/output.h"
#include "platform/gdi/page_path.h"

#include <map>
#include <string>

namespace kb::gdi {

// What a pass draws with: the colour as it is, its complement, or always the same.
enum class Ink : uint8_t { plain, inverted, black, white };
uint32_t inked(Ink ink, uint32_t rgb); // 0x00RRGGBB

class PdfPage final : public Output {
public:
    PdfPage(KbWriteProc write, void* context) : write_(write), writeContext_(context) {}
    ~PdfPage() override;
    bool startPage(DeviceContext& dc, int width, int height, int dpiX, int dpiY);
    // Ends the document. False when a byte was lost, or there was no page.
    bool finish();

    Box bounds() const override { return {0, 0, width_, height_}; }
    void lost() noexcept override { lost_ = true; }
    bool lines(DeviceContext& dc, const POINT* points, const size_t* counts, size_t contours) override;
    bool linesTo(DeviceContext& dc, const POINT* points, size_t count) override;
    bool polygons(DeviceContext& dc, const POINT* points, const size_t* counts, size_t contours) override;
    bool shape(DeviceContext& dc, const ShapeCall& call) override;
    bool region(DeviceContext& dc, const RegionCall& call) override;
    bool box(DeviceContext& dc, const BoxCall& call) override;
    bool pixel(DeviceContext& dc, POINT at, COLORREF color) override;
    bool pattern(DeviceContext& dc, const BlitArea& to, DWORD rop) override;
    bool image(DeviceContext& dc, const ImageCall& call) override;
    bool text(DeviceContext& dc, const TextCall& call) override;

private:
    struct Placement;

    static cairo_status_t writeBytes(void* page, const unsigned char* bytes, unsigned count);
    bool broken() const { return failed_ || (surface_ && cairo_surface_status(surface_) != CAIRO_STATUS_SUCCESS); }
    void endPage();
    bool begin(const DeviceContext& dc); // false when there is nothing to draw on; puts the clip in force
    void applyClip(const Clip& clip);
    bool done() const { return cairo_status(cairo_) == CAIRO_STATUS_SUCCESS && !broken(); }

    // Runs draw(ink), which puts a figure together out of opaque parts, once for each pass of a raster operation. `parts`:
    // whether parts overlap.
    template <class Draw> void passes(int rop2, bool parts, Draw&& draw);
    void setColor(uint32_t rgb);
    // Fills the path, and takes it away.
    void fillPath(const DeviceContext& dc, const Brush* brush, Ink ink, cairo_fill_rule_t rule); // null: black
    void setBrush(const DeviceContext& dc, const Brush& brush, Ink ink);
    bool hatchLines(const DeviceContext& dc, const Brush& brush, Ink ink);
    void setPen(const PenState& pen, bool dashed);
    template <class Area, class Line>
    void figure(const DeviceContext& dc, const PenState& pen, const Brush* brush, int fillMode, Area&& area, Line&& line);
    template <class Area> void filled(const DeviceContext& dc, const Brush* brush, int rop2, Area&& area);
    void contours(const DeviceContext& dc, const POINT* points, const size_t* counts, size_t count, bool closed);
    void roundPath(const Box& box, double cornerA, double cornerB, double grow, double shift);
    void arcPath(const ShapeCall& call, const struct Axes& axes, const struct ArcSpan& span, double shift);

    // The picture of these pixels, borrowed; one for equal pixels.
    cairo_surface_t* picture(cairo_surface_t* made);
    template <class Tint>
    void paintPicture(const PixelReader& source, const Placement& place, const Region* mask, Tint&& tint);
    void paintBits(const PixelReader& source, const Placement& place, const uint32_t colors[2], Ink ink);
    cairo_font_face_t* fontFace(const char* file, int index, bool embolden);

    KbWriteProc write_;
    void* writeContext_;
    bool failed_ = false, silent_ = false;
    bool lost_ = false; // something that was drawn is missing
    cairo_surface_t* surface_ = nullptr;
    cairo_t* cairo_ = nullptr;
    PagePath path_;
    int width_ = 0, height_ = 0;
    Clip applied_;
    std::vector<FPoint> points_;
    std::map<std::string, cairo_surface_t*> pictures_; // of this page, by hash
    std::map<std::string, cairo_font_face_t*> faces_;
};

} // namespace kb::gdi
