// Walking a classic metafile, what its window means, and the functions that play one.
#include "platform/gdi/play_classic.h"

#include "platform/gdi/gdi_state.h"
#include "platform/gdi/little_endian.h"

#include <algorithm>
#include <cmath>

namespace kb::gdi {

namespace {

constexpr size_t headerBytes = 18, recordHead = 6;

// Calls visit(function, record); it gives false to end. False when a record can't be right.
template <class Visit> bool eachRecord(const uint8_t* data, size_t size, Visit&& visit) {
    size_t at = headerBytes;
    while (at <= size && size - at >= recordHead) {
        const uint64_t bytes = static_cast<uint64_t>(dwordAt(data + at)) * 2;
        const uint32_t function = wordAt(data + at + 4);
        if (bytes < recordHead || bytes > size - at) return false;
        if (function == 0) return true;
        if (!visit(function, ClassicRecord{data + at + recordHead, static_cast<size_t>(bytes) - recordHead})) return false;
        at += static_cast<size_t>(bytes);
    }
    return true;
}

bool fixedMode(int mode) { return mode >= MM_LOMETRIC && mode <= MM_TWIPS; }

} // namespace

bool ClassicPlayer::play(const uint8_t* data, size_t size) {
    const bool whole = eachRecord(data, size, [&](uint32_t function, const ClassicRecord& record) {
        const ClassicRow* row = findClassicRow(function);
        if (!row) return true;
        if (record.size < size_t{2} * row->words) return false;
        return row->run(*this, record) && !out.exhausted();
    });
    return whole && out.allDrawn();
}

// Under MM_ISOTROPIC the viewport is shrunk on one axis. Only where the context itself is the page: a picture that is
// fitted into a rectangle has the rectangle's proportion.
void ClassicPlayer::keepRatio() {
    if (fit == ClassicFit::context && out.state.mapMode == MM_ISOTROPIC) gdi::keepRatio(out.state.page, dpi.cx, dpi.cy);
}

void ClassicPlayer::setMapMode(int mode) {
    if (mode < MM_TEXT || mode > MM_ANISOTROPIC) return;
    PlayState& s = out.state;
    s.mapMode = mode;
    PageMapping& p = s.page;
    switch (fit) {
    case ClassicFit::context:
        if (mode == MM_TEXT) {
            p.windowWidth = p.windowHeight = p.viewportWidth = p.viewportHeight = 1;
        } else if (mode != MM_ANISOTROPIC) {
            p.windowWidth = p.windowHeight = unitsPerInch(mode);
            p.viewportWidth = dpi.cx;
            p.viewportHeight = -dpi.cy;
        }
        break;
    case ClassicFit::box:
        // The size of the picture is given; the mode says which way y points.
        if (fixedMode(mode) && p.windowHeight > 0) {
            if (!windowSet) p.windowY += p.windowHeight;
            p.windowHeight = -p.windowHeight;
        }
        break;
    case ClassicFit::free: p.windowHeight = fixedMode(mode) ? -1 : 1; break;
    }
    changed();
}

void ClassicPlayer::setWindowExtent(double width, double height) {
    if (width == 0 || height == 0) return;
    PlayState& s = out.state;
    PageMapping& p = s.page;
    if (fit == ClassicFit::free) return; // there is one that has none, or this would not be played so
    if (fit == ClassicFit::context) {
        if (s.mapMode < MM_ISOTROPIC) return;
    } else if (fixedMode(s.mapMode) && height > 0) {
        height = -height;
    }
    windowSet = true;
    p.windowWidth = width;
    p.windowHeight = height;
    keepRatio();
    changed();
}

void ClassicPlayer::setViewportOrigin(double x, double y) {
    PageMapping& p = out.state.page;
    if (fit == ClassicFit::box) {
        // Pixels of a machine that isn't there: the first one is where the picture starts, later ones count from it.
        if (!viewportOriginSet) {
            viewportReferenceOrigin = {roundAway(x), roundAway(y)};
            viewportOriginSet = true;
            return;
        }
        if (!viewportReference.cx) return;
        p.viewportX = (viewportFlippedX ? 1 : 0) + (x - viewportReferenceOrigin.x) / viewportReference.cx;
        p.viewportY = (viewportFlippedY ? 1 : 0) + (y - viewportReferenceOrigin.y) / viewportReference.cy;
    } else {
        p.viewportX = x;
        p.viewportY = y;
    }
    changed();
}

void ClassicPlayer::setViewportExtent(double width, double height) {
    if (width == 0 || height == 0) return;
    PlayState& s = out.state;
    PageMapping& p = s.page;
    if (fit == ClassicFit::free) return;
    if (fit == ClassicFit::context) {
        if (s.mapMode < MM_ISOTROPIC) return;
        p.viewportWidth = width;
        p.viewportHeight = height;
    } else {
        if (!viewportReference.cx) {
            viewportReference = {roundAway(std::abs(width)), roundAway(std::abs(height))};
            viewportFlippedX = width < 0;
            viewportFlippedY = height < 0;
            p.viewportX = viewportFlippedX ? 1 : 0;
            p.viewportY = viewportFlippedY ? 1 : 0;
        }
        p.viewportWidth = width / viewportReference.cx;
        p.viewportHeight = height / viewportReference.cy;
    }
    keepRatio();
    changed();
}

void ClassicPlayer::offsetViewport(double dx, double dy) {
    PageMapping& p = out.state.page;
    if (fit == ClassicFit::box) {
        if (!viewportReference.cx) return;
        dx /= viewportReference.cx;
        dy /= viewportReference.cy;
    }
    p.viewportX += dx;
    p.viewportY += dy;
    changed();
}

void ClassicPlayer::scaleExtent(bool window, int xNumber, int xBy, int yNumber, int yBy) {
    if (!xNumber || !xBy || !yNumber || !yBy || fit == ClassicFit::free) return;
    if (fit == ClassicFit::context && out.state.mapMode < MM_ISOTROPIC) return;
    PageMapping& p = out.state.page;
    (window ? p.windowWidth : p.viewportWidth) *= static_cast<double>(xNumber) / xBy;
    (window ? p.windowHeight : p.viewportHeight) *= static_cast<double>(yNumber) / yBy;
    keepRatio();
    changed();
}

namespace {

// The window that a file sets first; false when it sets no extent.
bool firstWindow(const uint8_t* data, size_t size, PageMapping& page) {
    bool origin = false, extent = false;
    eachRecord(data, size, [&](uint32_t function, const ClassicRecord& r) {
        if (function == 0x020B && r.size >= 4 && !origin) {
            page.windowX = r.number(1);
            page.windowY = r.number(0);
            origin = true;
        }
        if (function == 0x020C && r.size >= 4 && !extent && r.number(0) && r.number(1)) {
            page.windowWidth = r.number(1);
            page.windowHeight = r.number(0);
            extent = true;
        }
        return !(origin && extent);
    });
    return extent;
}

void startWithDefaults(Playback& out) {
    for (const unsigned stock : {BLACK_PEN, WHITE_BRUSH, SYSTEM_FONT}) out.selectStock(stock);
}

void startWithContext(HDC hDC, PlayState& s) {
    s.textColor = GetTextColor(hDC);
    s.bkColor = GetBkColor(hDC);
    s.bkMode = GetBkMode(hDC);
    s.rop2 = GetROP2(hDC);
    s.polyFillMode = GetPolyFillMode(hDC);
    s.stretchMode = GetStretchBltMode(hDC);
    s.textAlign = GetTextAlign(hDC);
    s.mapMode = GetMapMode(hDC);
    POINT at{};
    GetCurrentPositionEx(hDC, &at);
    s.position = {static_cast<double>(at.x), static_cast<double>(at.y)};
}

// Plays a file that has no window to see what it would draw on. A single line has the width of a pixel.
bool measure(HDC hDC, const std::vector<uint8_t>& bytes, Playback::Bounds& bounds) {
    ClassicPlayer player(hDC, {}, false, bytes.size(), ClassicFit::free);
    startWithDefaults(player.out);
    player.out.measuring = true;
    const bool whole = player.play(bytes.data(), bytes.size());
    bounds = player.out.bounds;
    if (bounds.right == bounds.left) ++bounds.right;
    if (bounds.bottom == bounds.top) ++bounds.bottom;
    return whole;
}

// The bytes of a live handle, kept for the time of a play.
Ref<Metafile> classicBytes(HMETAFILE hMetafile) {
    Metafile* metafile = gdiState().metafiles.find(handleValue(hMetafile));
    if (metafile && !metafile->enhanced) return Ref<Metafile>(metafile);
    SetLastError(ERROR_BAD_HANDLE);
    return {};
}

int32_t coordinate(double value) { return static_cast<int32_t>(std::clamp(value, -1073741824.0, 1073741823.0)); }

} // namespace
} // namespace kb::gdi

using namespace kb;
using namespace kb::gdi;

KB_API BOOL PlayMetaFile(HDC hDC, HMETAFILE hMetafile) {
    return guarded<BOOL>(FALSE, [&]() -> BOOL {
        const Ref<Metafile> metafile = classicBytes(hMetafile);
        if (!metafile || !findDc(hDC)) return FALSE;
        const PageMapping page = pageOf(hDC);
        ClassicPlayer player(hDC, page.map().inverse(), false, metafile->bytes.size(), ClassicFit::context);
        startWithContext(hDC, player.out.state);
        player.out.state.page = page;
        player.dpi = {GetDeviceCaps(hDC, LOGPIXELSX), GetDeviceCaps(hDC, LOGPIXELSY)};
        player.changed();
        return player.play(metafile->bytes.data(), metafile->bytes.size());
    });
}

KB_API int KbMeasureMetaFile(HMETAFILE hMetafile, RECT* pBox) {
    return guarded<int>(KB_SHAPE_NONE, [&]() -> int {
        const Ref<Metafile> metafile = classicBytes(hMetafile);
        if (!metafile || !pBox) return KB_SHAPE_NONE;
        const std::vector<uint8_t>& bytes = metafile->bytes;
        if (PageMapping page; firstWindow(bytes.data(), bytes.size(), page)) {
            *pBox = {coordinate(page.windowX), coordinate(page.windowY), coordinate(page.windowX + page.windowWidth),
                     coordinate(page.windowY + page.windowHeight)};
            return KB_SHAPE_WINDOW;
        }
        const HDC screen = CreateCompatibleDC(nullptr); // texts have a width there
        if (!screen) return KB_SHAPE_NONE;
        Playback::Bounds bounds;
        try {
            measure(screen, bytes, bounds);
        } catch (...) {
            DeleteDC(screen);
            throw;
        }
        DeleteDC(screen);
        if (bounds.empty()) return KB_SHAPE_NONE;
        *pBox = {coordinate(std::floor(bounds.left)), coordinate(std::floor(bounds.top)),
                 coordinate(std::ceil(bounds.right)), coordinate(std::ceil(bounds.bottom))};
        return KB_SHAPE_DRAWN;
    });
}

KB_API BOOL KbPlayMetaFile(HDC hDC, HMETAFILE hMetafile, const RECT* pBox, const RECT* pTarget) {
    return guarded<BOOL>(FALSE, [&]() -> BOOL {
        const Ref<Metafile> metafile = classicBytes(hMetafile);
        if (!metafile || !findDc(hDC) || !pTarget) return FALSE;
        const std::vector<uint8_t>& bytes = metafile->bytes;
        const double width = static_cast<double>(pTarget->right) - pTarget->left,
                     height = static_cast<double>(pTarget->bottom) - pTarget->top;
        if (width == 0 || height == 0) return TRUE;
        PageMapping page;
        ClassicFit fit = ClassicFit::box;
        Affine placement{width, 0, 0, height, static_cast<double>(pTarget->left), static_cast<double>(pTarget->top)};
        if (pBox && pBox->left != pBox->right && pBox->top != pBox->bottom) {
            page.windowX = pBox->left;
            page.windowY = pBox->top;
            page.windowWidth = static_cast<double>(pBox->right) - pBox->left;
            page.windowHeight = static_cast<double>(pBox->bottom) - pBox->top;
        } else if (!firstWindow(bytes.data(), bytes.size(), page)) {
            Playback::Bounds bounds;
            const bool whole = measure(hDC, bytes, bounds);
            if (bounds.empty()) return whole;
            fit = ClassicFit::free;
            const double sx = width / (bounds.right - bounds.left), sy = height / (bounds.bottom - bounds.top);
            placement = {sx, 0, 0, sy, pTarget->left - bounds.left * sx, pTarget->top - bounds.top * sy};
            page = {};
        }
        const Affine seen = placement.then(pageOf(hDC).map());
        ClassicPlayer player(hDC, placement, seen.determinant() < 0, bytes.size(), fit);
        startWithDefaults(player.out);
        player.out.state.page = page;
        player.changed();
        return player.play(bytes.data(), bytes.size());
    });
}
