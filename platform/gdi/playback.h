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
#include "platform/gdi/play_budget.h"
#include "platform/gdi/play_dib.h"

#include <array>
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
// A pattern made ready, kept as long as the file keeps the brush: figures that take turns with it must not pay for it again.
class MadeBrush {
public:
    MadeBrush() = default;
    MadeBrush(HBRUSH brush, COLORREF zero, COLORREF one, PlayBudget::Held held)
        : handle(brush), colors{zero, one}, held_(std::move(held)) {}
    MadeBrush(MadeBrush&& other) noexcept { *this = std::move(other); }
    MadeBrush& operator=(MadeBrush&& other) noexcept {
        std::swap(handle, other.handle);
        std::swap(colors, other.colors);
        held_ = std::move(other.held_);
        return *this;
    }
    ~MadeBrush() {
        if (handle) DeleteObject(handle);
    }
    HBRUSH handle = nullptr;
    std::array<COLORREF, 2> colors{}; // that a pattern of one bit has taken

private:
    PlayBudget::Held held_;
};
struct PlayBrush {
    UINT style = BS_SOLID; // BS_SOLID, BS_NULL, BS_HATCHED or BS_PATTERN
    COLORREF color = 0;
    int hatch = 0;
    DibImage pattern;  // borrows from the metafile's bytes
    bool mono = false; // the pattern takes the text and background colours
    MadeBrush made;
};
struct PlayFont {
    LOGFONTA logical{};
};
struct PlayPalette {
    std::vector<COLORREF> colors;
    PlayBudget::Held grown; // what it has become larger by
};
struct PlayRegion {
    std::vector<RECT> boxes;
};
using PlayObject = std::variant<std::monostate, PlayPen, PlayBrush, PlayFont, PlayPalette, PlayRegion>;
// Shared by the table and by all states that have the object in force; a palette that is changed changes for all of them.
using ObjectRef = std::shared_ptr<PlayObject>;

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

// The page of a context itself.
PageMapping pageOf(HDC hDC);
// What can be seen of a context, in its units and in order; a recording without a clip ends where regions do. May throw
// std::bad_alloc.
RECT seenOf(HDC hDC);
// Shrinks the viewport on one axis so that a unit is as long on both, as MM_ISOTROPIC asks. The resolutions are those of the
// device that the viewport is measured in.
void keepRatio(PageMapping& page, double resolutionX, double resolutionY);

class RegionHolder {
public:
    // Takes the region over; std::bad_alloc for null, as when it could not be made.
    explicit RegionHolder(HRGN region);
    RegionHolder(const RegionHolder&) = delete;
    RegionHolder& operator=(const RegionHolder&) = delete;
    ~RegionHolder() { DeleteObject(handle); }
    HRGN handle;
    PlayBudget::Held held;
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
    bool rightToLeft = false; // the picture is mirrored, its letters aren't
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

// Every function that draws may throw std::bad_alloc, for want of memory on either side; the destination's state is as before
// once the Playback is gone.

class Playback {
public:
    // placement: picture units to the destination's logical units. mirrored: whether the picture comes out mirrored, seen
    // by the eye. bytes: size of the file.
    Playback(HDC hDC, const Affine& placement, bool mirrored, size_t bytes);
    ~Playback();
    Playback(const Playback&) = delete;
    Playback& operator=(const Playback&) = delete;

    // Objects and states hold memory of it, so it stands in front of them.
    PlayBudget budget;
    PlayState state;
    ObjectTable objects;
    // While it is set nothing is drawn, and `bounds` takes in what would be.
    bool measuring = false;
    struct Bounds {
        double left = INFINITY, top = INFINITY, right = -INFINITY, bottom = -INFINITY;
        bool empty() const { return !(left < right && top < bottom); }
    } bounds;

    // Where a picture is mirrored that runs from right to left, in picture units.
    void setMiddle(double x) { middle_ = x; }
    // To be called after the page mapping, the world transform or the direction has changed.
    void mapChanged();
    const Affine& map() const { return map_; }
    const Affine& placement() const { return placement_; }
    bool save(); // false when too many are open
    void restore(int level);
    COLORREF color(COLORREF value) const; // palette indices resolved
    const std::vector<COLORREF>* paletteColors() const;
    // An object with what it holds paid; null when that is too much.
    ObjectRef make(PlayObject&& object);
    void resizePalette(const ObjectRef& object, size_t count);
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

    // Whether the file has asked for more than its size and the picture's can justify; nothing is drawn any more then.
    bool exhausted() const { return budget.exhausted(); }
    // Whether all that was asked for has been drawn, as far as the destination can be asked; flood fills and dots don't count,
    // which draw nothing where there is nothing to draw on.
    bool allDrawn() const { return !refused_; }

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
    void selectPattern(PlayBrush& brush);
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
    // What a drawing function has answered.
    void drew(bool answer);

    FlatPath& shapePath(); // where a figure that must be a path goes
    void finishShape(bool fill, bool stroke);
    void addBezier(FlatPath& path, const FPoint* points, size_t count);
    void drawPath(const FlatPath& path, bool fill, bool stroke);
    void fillFigures(const FlatPath& path, int fillMode);
    RegionRef regionOf(const std::vector<RECT>& boxes, const Affine& toDevice, const RECT& reach);
    RegionRef polygonsOf(const std::vector<POINT>& points, const std::vector<INT>& counts, int fillMode, const RECT& reach);
    RegionRef combine(const RegionRef& now, const RegionRef& with, int mode);
    // Whether a region that two make, or a list of boxes, can be paid, as large as it may become.
    bool affordRegion(const std::vector<RECT>& boxes);
    RegionRef hold(HRGN region);

    // -- what drawing costs: nothing beyond its points where there are no pixels --
    // Pixels of a box, in units of the destination, that can be seen.
    double seenPixels(double left, double top, double right, double bottom) const;
    double strokeWidth() const; // in pixels; 0: none
    double segmentCost(POINT a, POINT b, double width) const;
    bool affordBox(const RECT& box, double pixelCost, bool outlined = false);
    // The points in hand: contours with their lengths in `counts`.
    template <class Count> bool affordContours(const std::vector<Count>& counts, bool filled, bool outlined);

    // How many pixels across and down are worth being worked out, over the whole of a picture.
    struct Grain {
        double across, down;
    };
    Grain grainOf(const SourceArea& from) const;
    // Calls pixel(x, y, value) for the pixels of the destination within the corners, x and y in destination units and
    // `value` holding 0x00RRGGBB of what is there; it gives false where nothing changes. The grain counts where what is there
    // can't be read.
    template <class Pixel> void composite(const FPoint corners[4], const Grain& grain, Pixel&& pixel);
    struct PixelGrid {
        RECT box; // in units of the destination
        int width, height;
    };
    bool gridOf(const FPoint corners[4], const Grain& grain, PixelGrid& grid) const;
    void putPixels(const PixelGrid& grid, const BITMAPINFO* info, const void* bits, DWORD rop);

    HDC hDC_;
    Affine plain_, placement_, device_,
        map_; // plain_: the placement without mirroring; device_: to the destination's pixels
    double middle_ = 0;
    bool plainMirrored_, mirrored_ = false, usable_ = true, refused_ = false;
    bool raster_, recording_; // the destination has pixels; is a recording
    int level_ = 0;
    std::vector<PlayState> saved_;
    FlatPath path_, shape_;
    bool inPath_ = false;
    std::vector<POINT> points_;
    std::vector<INT> counts_;
    RECT seen_{};                 // what can be seen of the destination, in its units, through the clip in force
    RECT reach_{}, reachUnits_{}; // what of a region can matter, in pixels and in units of the destination
    std::unique_ptr<Applied> applied_;
};

// The charset's bytes as UTF-16; widths of double bytes fall together.
void decodeText(const uint8_t* bytes, size_t count, int charset, TextRun& call);

} // namespace kb::gdi
