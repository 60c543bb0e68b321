// What the players of classic and enhanced metafiles share: the file's own state, its objects, and calls that draw in the
// file's coordinates. The file has a mapping, a clip and saved states of its own; the destination's are never touched by
// it. Points are mapped here and go out through the ordinary drawing functions in the destination's logical units, so that
// the destination may be pixels, a recording or a page. Its pens, brushes and modes are set when something is drawn with
// them, since a file may change its scale after it has made an object.
//
// Logical units of the file -> (world transform) -> page -> (window and viewport) -> picture units -> (placement) ->
// destination units. Picture units are device pixels of the machine that recorded an enhanced metafile, the unit square
// of a classic one that is fitted into a rectangle, or the context's own pixels.
#pragma once

#include "platform/gdi/affine.h"
#include "platform/gdi/flat_path.h"
#include "platform/gdi/play_dib.h"

#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace kb::gdi {

// ---- objects of a file ----

struct PlayPen {
    int style = PS_SOLID; // PS_ value, or userDashes
    double width = 0;     // logical units, or device pixels of a cosmetic pen
    COLORREF color = 0;
    bool geometric = false; // its ends and corners count
    LineCap cap = LineCap::round;
    LineJoin join = LineJoin::round;
    std::vector<double> dashes; // of userDashes, in the units of the width
    static constexpr int userDashes = 7;
};
struct PlayBrush {
    UINT style = BS_SOLID; // BS_SOLID, BS_NULL, BS_HATCHED or BS_PATTERN
    COLORREF color = 0;
    int hatch = 0;
    DibImage pattern;  // borrows from the metafile's bytes
    bool mono = false; // the pattern takes the text and background colours
};
struct PlayFont {
    LOGFONTA logical{};
};
struct PlayPalette {
    std::vector<COLORREF> colors;
};
struct PlayRegion {
    std::vector<RECT> boxes;
};
using PlayObject = std::variant<std::monostate, PlayPen, PlayBrush, PlayFont, PlayPalette, PlayRegion>;
using ObjectRef = std::shared_ptr<const PlayObject>;

class ObjectTable {
public:
    // A bad slot leaves the table as it is; null empties the slot.
    void put(size_t slot, ObjectRef object);
    // Takes the lowest free slot, as files that number their objects by the order of making expect. False when full.
    bool add(ObjectRef object);
    void remove(size_t slot);
    ObjectRef find(size_t slot) const { return slot < slots_.size() ? slots_[slot] : nullptr; }
    static constexpr size_t most = 65536;

private:
    std::vector<ObjectRef> slots_;
    std::vector<size_t> free_; // a heap, the lowest first
};

// ---- state of a file ----

struct PageMapping {
    double windowX = 0, windowY = 0, windowWidth = 1, windowHeight = 1;
    double viewportX = 0, viewportY = 0, viewportWidth = 1, viewportHeight = 1;
    Affine map() const {
        const double sx = viewportWidth / windowWidth, sy = viewportHeight / windowHeight;
        return {sx, 0, 0, sy, viewportX - windowX * sx, viewportY - windowY * sy};
    }
};

class RegionHolder {
public:
    explicit RegionHolder(HRGN region) : handle(region) {}
    RegionHolder(const RegionHolder&) = delete;
    RegionHolder& operator=(const RegionHolder&) = delete;
    ~RegionHolder() { DeleteObject(handle); }
    HRGN handle;
};
using RegionRef = std::shared_ptr<const RegionHolder>;

struct PlayState {
    int mapMode = MM_TEXT;
    PageMapping page;
    Affine world;
    COLORREF textColor = 0, bkColor = 0xFFFFFF;
    int bkMode = OPAQUE, rop2 = R2_COPYPEN, polyFillMode = ALTERNATE, stretchMode = HALFTONE;
    UINT textAlign = 0;
    double charExtra = 0, breakExtra = 0;
    int breakCount = 0;
    bool clockwise = false;
    double miterLimit = 10;
    FPoint position{0, 0}; // logical
    FPoint brushOrigin{0, 0};
    bool brushOriginSet = false;
    ObjectRef pen, brush, font, palette; // null: the context's own
    RegionRef clip, metaClip;            // destination device units; null: none
};

struct TextRun {
    FPoint at;
    UINT options = 0;
    bool hasBox = false;
    RECT box{};
    std::vector<uint16_t> text;  // UTF-16
    std::vector<double> advance; // of each unit; empty: the font's own
    bool advanced = false;       // letters follow the page's mapping, mirrored axes too
};

struct SourceArea {
    double x, y, width, height; // rows count from the top of the picture
};

class Playback {
public:
    // placement: picture units to the destination's logical units. mirrored: whether the picture comes out mirrored, seen
    // by the eye.
    Playback(HDC hDC, const Affine& placement, bool mirrored, size_t bytes);
    ~Playback();
    Playback(const Playback&) = delete;
    Playback& operator=(const Playback&) = delete;

    PlayState state;
    ObjectTable objects;
    // While it is set nothing is drawn, and `bounds` takes in what would be.
    bool measuring = false;
    struct Bounds {
        double left = INFINITY, top = INFINITY, right = -INFINITY, bottom = -INFINITY;
        bool empty() const { return !(left < right && top < bottom); }
    } bounds;

    // To be called after the page mapping or the world transform has changed.
    void mapChanged();
    const Affine& map() const { return map_; }
    const Affine& placement() const { return placement_; }
    bool save(); // false when too many are open
    void restore(int level);
    COLORREF color(COLORREF value) const; // palette indices resolved
    const std::vector<COLORREF>* paletteColors() const;
    void select(const ObjectRef& object);
    void selectStock(unsigned index);

    // -- figures, in logical coordinates of the file --
    void lineTo(double x, double y);
    void polyline(const FPoint* points, size_t count);
    // The first point is the current position; inside a path the figure goes on.
    void polylineTo(const FPoint* points, size_t count);
    void polyPolyline(const FPoint* points, const uint32_t* counts, size_t polylines);
    void polyPolygon(const FPoint* points, const uint32_t* counts, size_t polygons);
    void bezier(const FPoint* points, size_t count); // start, then threes
    // `inclusive`: the right and bottom pixels of the recording device count in.
    void rectangle(const RECT& box, bool inclusive);
    void roundRect(const RECT& box, bool inclusive, double width, double height);
    void ellipse(const RECT& box, bool inclusive);
    enum class ArcForm { arc, arcTo, chord, pie };
    void arc(ArcForm form, const RECT& box, bool inclusive, FPoint start, FPoint end);
    void angleArc(FPoint center, double radius, double startDegrees, double sweepDegrees);
    void setPixel(double x, double y, COLORREF color);
    void floodFill(double x, double y, COLORREF color, UINT type);

    // -- paths --
    void beginPath();
    void endPath() { inPath_ = false; }
    // Starts a figure at the current position when none is open.
    void continuePath();
    void abortPath();
    void closeFigure();
    void moveTo(double x, double y);
    void paintPath(bool fill, bool stroke);
    void widenPath();
    void clipToPath(int mode);
    bool inPath() const { return inPath_; }

    // -- regions and clip --
    enum class Frame { logical, picture }; // what the boxes of a region are measured in
    enum class RegionPaint { fill, frame, invert };
    void paintRegion(const std::vector<RECT>& boxes, RegionPaint paint, const ObjectRef& brush, double width, double height);
    void clipRegion(const std::vector<RECT>* boxes, Frame frame, int mode); // null: none
    void clipBox(const RECT& box, int mode);
    void offsetClip(double dx, double dy);
    void setMetaRegion();

    // -- pixels --
    void patBlt(double x, double y, double width, double height, DWORD rop);
    void stretchDib(const DibImage& image, double x, double y, double width, double height, const SourceArea& from,
                    DWORD rop);
    // `lines` rows from row `start` on, in the order of the picture's rows in memory; sizes are those of the picture.
    void dibToDevice(DibImage& image, double x, double y, double xFrom, double yFrom, double width, double height, int start,
                     int lines);
    void maskBlt(const DibImage& image, const DibImage* mask, double x, double y, double width, double height,
                 const SourceArea& from, FPoint maskAt, DWORD rop4);
    void plgBlt(const DibImage& image, const DibImage* mask, const FPoint corners[3], const SourceArea& from, FPoint maskAt);
    void alphaBlend(const DibImage& image, double x, double y, double width, double height, const SourceArea& from,
                    int constantAlpha, bool sourceAlpha);
    void transparentBlt(const DibImage& image, double x, double y, double width, double height, const SourceArea& from,
                        COLORREF transparent);
    struct Vertex {
        FPoint at;
        double red, green, blue; // 0 to 255
    };
    void gradientRect(const Vertex& a, const Vertex& b, bool vertical);
    void gradientTriangle(const Vertex& a, const Vertex& b, const Vertex& c);

    // -- text --
    void text(const TextRun& call);
    const LOGFONTA& font() const;

    // Whether the file has asked for more work on regions and patterns than its size can justify; nothing is drawn any
    // more then.
    bool exhausted() const { return workLeft_ == 0; }

private:
    struct Applied;
    POINT to(FPoint p);
    POINT to(double x, double y) { return to(FPoint{x, y}); }
    FPoint placed(double x, double y) const { return map_.at(x, y); }
    void noteBounds(FPoint p);
    RECT boxOf(const RECT& box, bool inclusive);
    double penScale() const { return std::sqrt(std::abs(map_.determinant())); }
    const PlayPen& pen() const;
    const PlayBrush& brush() const;
    bool shaped() const; // figures must go through a path
    StrokeStyle strokeStyle() const;
    bool outlinedPen() const;

    // Bring the destination up to date with the state.
    void syncClip();
    void syncModes();
    void syncPen();
    void syncBrush();
    void syncFont(const LOGFONTA& font);
    void selectPen(int style, int width, COLORREF color);
    void selectSolid(COLORREF color);
    void selectNullBrush();
    void syncFigure() {
        syncClip();
        syncModes();
        syncPen();
        syncBrush();
    }
    void enterDestination();
    void leaveDestination();

    FlatPath& shapePath(); // where a figure that must be a path goes
    void finishShape(bool fill, bool stroke);
    void addBezier(FlatPath& path, const FPoint* points, size_t count);
    void drawPath(const FlatPath& path, bool fill, bool stroke);
    void fillFigures(const FlatPath& path, int fillMode);
    RegionRef regionOf(const std::vector<RECT>& boxes, const Affine& toDevice, const RECT& reach);
    RegionRef combine(const RegionRef& now, const RegionRef& with, int mode);
    void spend(size_t work);

    // Calls pixel(x, y, value) for the pixels of the destination within the corners, x and y in destination units and
    // `value` holding 0x00RRGGBB of what is there; it gives false where nothing changes.
    template <class Pixel> void composite(const FPoint corners[4], Pixel&& pixel);
    void putMasked(const RECT& box, int width, int height, const std::vector<uint32_t>& pixels,
                   const std::vector<uint8_t>& touched);
    bool deviceBoxOf(const FPoint corners[4], RECT& logical, int& width, int& height) const;

    HDC hDC_;
    Affine placement_, device_, map_; // device_: destination units to its pixels
    bool mirrored_, usable_ = true;
    int level_ = 0;
    std::vector<PlayState> saved_;
    FlatPath path_, shape_;
    bool inPath_ = false;
    std::vector<POINT> points_;
    std::vector<INT> counts_;
    size_t workLeft_;
    RECT reach_{}, reachUnits_{}; // what of a region can matter, in pixels and in units of the destination
    std::unique_ptr<Applied> applied_;
};

// The charset's bytes as UTF-16; widths of double bytes fall together.
void decodeText(const uint8_t* bytes, size_t count, int charset, TextRun& call);

} // namespace kb::gdi
