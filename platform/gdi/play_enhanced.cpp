// Walking an enhanced metafile, its header, its map modes, and the function that plays one.
#include "platform/gdi/play_enhanced.h"

#include "platform/gdi/gdi_state.h"

#include <algorithm>

namespace kb::gdi {

namespace {

constexpr uint32_t headerRecord = 1, endRecord = 14;

// The picture's frame in pixels of the recording device.
struct Frame {
    double left = 0, top = 0, width = 0, height = 0;
    double pixelsPerMmX = 1, pixelsPerMmY = 1;
};

bool readFrame(const EnhancedRecord& header, Frame& frame) {
    if (!header.has(0, 88)) return false;
    const RECT bounds = header.box(8), inHundredths = header.box(24);
    double pixelsX = header.number(72), pixelsY = header.number(76);
    double mmX = header.number(80), mmY = header.number(84);
    // Later headers know the size to a thousandth; a description may stand in its place in earlier ones.
    const size_t description = header.dword(60) ? header.dword(64) : header.size;
    if (std::min(header.size, description) >= 108 && header.number(100) > 0 && header.number(104) > 0) {
        mmX = header.number(100) / 1000.0;
        mmY = header.number(104) / 1000.0;
    }
    if (!(pixelsX > 0 && pixelsY > 0 && mmX > 0 && mmY > 0)) {
        pixelsX = pixelsY = 96; // nobody knows; a screen
        mmX = mmY = 25.4;
    }
    frame.pixelsPerMmX = pixelsX / mmX;
    frame.pixelsPerMmY = pixelsY / mmY;
    frame.left = inHundredths.left * frame.pixelsPerMmX / 100;
    frame.top = inHundredths.top * frame.pixelsPerMmY / 100;
    frame.width = (static_cast<double>(inHundredths.right) - inHundredths.left) * frame.pixelsPerMmX / 100;
    frame.height = (static_cast<double>(inHundredths.bottom) - inHundredths.top) * frame.pixelsPerMmY / 100;
    if (frame.width > 0 && frame.height > 0) return true;
    // Without a frame, the pixels that were drawn on.
    frame.left = bounds.left;
    frame.top = bounds.top;
    frame.width = static_cast<double>(bounds.right) - bounds.left + 1;
    frame.height = static_cast<double>(bounds.bottom) - bounds.top + 1;
    return frame.width > 0 && frame.height > 0;
}

Ref<Metafile> enhancedBytes(HENHMETAFILE hMetafile) {
    Metafile* metafile = gdiState().metafiles.find(handleValue(hMetafile));
    if (metafile && metafile->enhanced) return Ref<Metafile>(metafile);
    SetLastError(ERROR_BAD_HANDLE);
    return {};
}

} // namespace

bool EnhancedPlayer::play(const uint8_t* data, size_t size) {
    size_t at = 0;
    while (size - at >= 8) {
        EnhancedRecord record{data + at, size - at};
        const uint32_t type = record.dword(0), bytes = record.dword(4);
        if (bytes < 8 || bytes > size - at) return false;
        if (type == endRecord) break;
        record.size = bytes;
        if (const EnhancedRow* row = type == headerRecord ? nullptr : findEnhancedRow(type)) {
            if (bytes < row->bytes || !row->run(*this, record) || out.exhausted()) return false;
        }
        at += bytes;
    }
    return out.allDrawn();
}

void EnhancedPlayer::setMapMode(int mode) {
    if (mode < MM_TEXT || mode > MM_ANISOTROPIC) return;
    out.state.mapMode = mode;
    PageMapping& p = out.state.page;
    if (mode == MM_TEXT) {
        p.windowWidth = p.windowHeight = p.viewportWidth = p.viewportHeight = 1;
    } else if (mode != MM_ANISOTROPIC) {
        p.windowWidth = p.windowHeight = unitsPerInch(mode) / 25.4; // the viewport is a millimetre
        p.viewportWidth = pixelsPerMmX;
        p.viewportHeight = -pixelsPerMmY;
    }
    out.mapChanged();
}

void EnhancedPlayer::setExtent(bool window, double width, double height) {
    if (width == 0 || height == 0 || out.state.mapMode < MM_ISOTROPIC) return;
    PageMapping& p = out.state.page;
    (window ? p.windowWidth : p.viewportWidth) = width;
    (window ? p.windowHeight : p.viewportHeight) = height;
    keepRatio();
    out.mapChanged();
}

void EnhancedPlayer::keepRatio() {
    if (out.state.mapMode == MM_ISOTROPIC) gdi::keepRatio(out.state.page, pixelsPerMmX, pixelsPerMmY);
}

void EnhancedPlayer::setWorld(const Affine& world) {
    out.state.world = world;
    out.mapChanged();
}

} // namespace kb::gdi

using namespace kb;
using namespace kb::gdi;

KB_API BOOL PlayEnhMetaFile(HDC hDC, HENHMETAFILE hMetafile, const RECT* pRect) {
    return guarded<BOOL>(FALSE, [&]() -> BOOL {
        const Ref<Metafile> metafile = enhancedBytes(hMetafile);
        if (!metafile || !findDc(hDC) || !pRect) return FALSE;
        const std::vector<uint8_t>& bytes = metafile->bytes;
        EnhancedRecord header{bytes.data(), bytes.size()};
        header.size = std::min<size_t>(header.dword(4), bytes.size());
        Frame frame;
        const double width = static_cast<double>(pRect->right) - pRect->left,
                     height = static_cast<double>(pRect->bottom) - pRect->top;
        if (!readFrame(header, frame) || width == 0 || height == 0) return TRUE; // nothing to show
        const double sx = width / frame.width, sy = height / frame.height;
        const Affine placement{sx, 0, 0, sy, pRect->left - frame.left * sx, pRect->top - frame.top * sy};
        const Mapping& map = findDc(hDC)->state.map;
        const bool flipped = (static_cast<double>(map.viewportExtent.cx) / map.windowExtent.cx < 0) !=
                             (static_cast<double>(map.viewportExtent.cy) / map.windowExtent.cy < 0);
        EnhancedPlayer player(hDC, placement, (placement.determinant() < 0) != flipped, bytes.size());
        for (const unsigned stock : {BLACK_PEN, WHITE_BRUSH, SYSTEM_FONT}) player.out.selectStock(stock);
        player.out.setMiddle(frame.left + frame.width / 2);
        player.pixelsPerMmX = frame.pixelsPerMmX;
        player.pixelsPerMmY = frame.pixelsPerMmY;
        return player.play(bytes.data(), bytes.size());
    });
}
