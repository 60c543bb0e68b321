// Text of a file: its font at the scale and angle that the mapping gives, its advances in the destination's units, the
// current position that moves along. Letters are never mirrored; where the picture is, a line stands in the mirrored place
// and can still be read.
#include "platform/gdi/playback.h"

#include "platform/gdi/charsets.h"
#include "platform/gdi/font_cache.h"
#include "platform/gdi/playback_applied.h"

#include <algorithm>
#include <numbers>

namespace kb::gdi {

void decodeText(const uint8_t* bytes, size_t count, int charset, TextRun& call) {
    std::vector<double> widths;
    const bool advances = call.advance.size() >= count;
    for (size_t i = 0; i < count;) {
        uint16_t out[2];
        size_t used;
        const size_t units = decodeCharacter(bytes + i, count - i, charset, out, used);
        double width = 0;
        for (size_t k = 0; advances && k < used; ++k) width += call.advance[i + k];
        for (size_t k = 0; k < units; ++k) {
            call.text.push_back(out[k]);
            if (advances) widths.push_back(k ? 0 : width);
        }
        i += used;
    }
    call.advance = std::move(widths);
}

namespace {

// The bytes of windows-1252 for a text that has no other characters: what every destination can keep.
bool narrow(const std::vector<uint16_t>& text, bool symbols, std::string& out) {
    out.clear();
    for (const uint16_t unit : text) {
        uint16_t c = unit;
        if (symbols && (c & 0xFF00) == 0xF000) c &= 0xFF; // where symbol fonts keep their letters
        if (c < 0x80 || (c >= 0xA0 && c < 0x100) || (symbols && c < 0x100)) {
            out.push_back(static_cast<char>(c));
            continue;
        }
        int found = -1;
        for (int i = 0x80; i < 0xA0 && found < 0; ++i)
            if (unicodeOf(static_cast<uint8_t>(i)) == c) found = i;
        if (found < 0) return false;
        out.push_back(static_cast<char>(found));
    }
    return true;
}

} // namespace

void Playback::text(const TextRun& call) {
    if (!usable_ || exhausted()) return;
    const bool moves = state.textAlign & TA_UPDATECP;
    const FPoint at = moves ? state.position : call.at;
    LOGFONTA wanted = font();
    const double escape = wanted.lfEscapement % 3600 * std::numbers::pi / 1800;

    // The axes of the letters. Pages whose y points up don't turn letters over, unless the file was recorded in the mode
    // in which they follow everything.
    Affine page = state.page.map();
    if (!call.advanced) page = {std::abs(page.a), 0, 0, std::abs(page.d), 0, 0};
    const Affine linear = state.world.then(page).then(placement_).then(device_);
    const FPoint along = linear.vector(std::cos(escape), -std::sin(escape));
    const FPoint down = linear.vector(std::sin(escape), std::cos(escape));
    double scaleAlong = lengthOf(along);
    // Height across the line, however sheared.
    const double area = std::abs(linear.determinant());
    if (!(scaleAlong > 1e-9) || !std::isfinite(scaleAlong) || !(area > 0)) return;
    double scaleAcross = area / scaleAlong;
    bool mirroredAcross = along.x * down.y - along.y * down.x < 0;
    FPoint direction{along.x / scaleAlong, along.y / scaleAlong};
    bool reversed = false;
    // A line that would run to the left because of a mirroring is written from its other end.
    if (mirroredAcross && direction.x * std::cos(escape) - direction.y * std::sin(escape) < 0) {
        reversed = true;
        direction = {-direction.x, -direction.y};
        mirroredAcross = false;
    }
    // What follows is in units of the destination, whose own axes scale as well.
    const double unit = std::sqrt(std::abs(device_.determinant()));
    if (!(unit > 0)) return;
    scaleAlong /= unit;
    scaleAcross /= unit;

    int angle = roundAway(std::atan2(-direction.y, direction.x) * 1800 / std::numbers::pi);
    if (angle < 0) angle += 3600;
    if (!state.font && escape == 0 && angle == 0 && map_.upright() && std::abs(map_.a - 1) < 1e-9 &&
        std::abs(map_.d - 1) < 1e-9) {
        // the context's own font at its own size
    } else {
        wanted.lfEscapement = wanted.lfOrientation = angle;
        if (wanted.lfHeight == 0) wanted.lfHeight = -13;
        const bool cell = wanted.lfHeight > 0;
        const int height = std::clamp(roundAway(std::abs(static_cast<double>(wanted.lfHeight)) * scaleAcross), 1, 1 << 26);
        wanted.lfHeight = cell ? height : -height;
        if (wanted.lfWidth)
            wanted.lfWidth = std::clamp(roundAway(std::abs(static_cast<double>(wanted.lfWidth)) * scaleAlong), 1, 1 << 26);
    }
    if (measuring) {
        // No glyph is looked at: letters are taken as half as wide as they are high.
        const double height = wanted.lfHeight ? std::abs(static_cast<double>(wanted.lfHeight)) : 13;
        const double length = static_cast<double>(call.text.size()) * height * 0.5;
        const UINT across = state.textAlign & TA_CENTER, up = state.textAlign & TA_BASELINE;
        const double from = across == TA_CENTER ? -length / 2 : across == TA_RIGHT ? -length : 0, top = up ? -height : 0;
        const FPoint p = placed(at.x, at.y);
        for (const double x : {from, from + length})
            for (const double y : {top, top + height})
                noteBounds({p.x + direction.x * x - direction.y * y, p.y + direction.y * x + direction.x * y});
        return;
    }
    syncClip();
    syncModes();
    syncFont(wanted);
    // A face has one proportion; a stretched picture asks for another.
    const double stretch = scaleAlong / scaleAcross;
    if (!font().lfWidth && (stretch < 0.95 || stretch > 1.05)) {
        TEXTMETRICA metrics;
        if (GetTextMetricsA(hDC_, &metrics)) {
            wanted.lfWidth = std::clamp(roundAway(metrics.tmAveCharWidth * stretch), 1, 1 << 26);
            syncFont(wanted);
        }
    }

    // Each letter is as large as its font, if it can be seen.
    const double height = std::abs(static_cast<double>(wanted.lfHeight)) * unit;
    const double largest = seenPixels(seen_.left, seen_.top, seen_.right, seen_.bottom);
    const double letter = cost::letter + (raster_ ? std::min(height * height, largest) * cost::letterPixel : 0);
    if (!budget.pay(static_cast<double>(call.text.size()) * letter)) return;
    const bool symbols = wanted.lfCharSet == SYMBOL_CHARSET;
    std::string bytes;
    const bool plain = narrow(call.text, symbols, bytes);
    const auto count = static_cast<UINT>(call.text.size());
    // Advances in the destination's units, each so that the sum up to it is right.
    std::vector<INT> dx;
    double total = 0;
    if (call.advance.size() >= count && count) {
        int64_t placedSo = 0;
        for (UINT i = 0; i < count; ++i) {
            total += call.advance[i];
            const int64_t end = roundAway(total * scaleAlong);
            dx.push_back(static_cast<INT>(end - placedSo));
            placedSo = end;
        }
        total *= scaleAlong;
    } else if (count) {
        std::vector<INT> ends(count);
        SIZE size{};
        if (plain)
            GetTextExtentExPointA(hDC_, bytes.data(), static_cast<int>(count), 0, nullptr, ends.data(), &size);
        else
            textExtentsWide(hDC_, call.text.data(), count, ends.data());
        total = ends.back();
        if (state.charExtra != 0 || (state.breakCount && state.breakExtra != 0)) {
            double extra = 0;
            int64_t placedSo = 0;
            for (UINT i = 0; i < count; ++i) {
                extra += state.charExtra;
                if (state.breakCount && call.text[i] == ' ') extra += state.breakExtra / state.breakCount;
                const int64_t end = roundAway(ends[i] + extra * scaleAlong);
                dx.push_back(static_cast<INT>(end - placedSo));
                placedSo = end;
            }
            total += extra * scaleAlong;
        }
    }

    UINT align = state.textAlign & (TA_CENTER | TA_BASELINE);
    FPoint anchor = placed(at.x, at.y);
    if (reversed && (align & TA_CENTER) != TA_CENTER) align ^= TA_RIGHT;
    if (mirroredAcross) {
        if ((align & TA_BASELINE) == TA_BASELINE) {
            // The line's box lies on the other side of its base line; the base line moves so that the box stays there.
            TEXTMETRICA metrics;
            if (GetTextMetricsA(hDC_, &metrics)) {
                const double shift = metrics.tmAscent - metrics.tmDescent;
                anchor = {anchor.x - direction.y * shift, anchor.y + direction.x * shift};
            }
        } else {
            align ^= TA_BOTTOM;
        }
    }
    SetTextAlign(hDC_, align);
    const POINT point{roundAway(anchor.x), roundAway(anchor.y)};
    UINT options = call.options & (ETO_OPAQUE | ETO_CLIPPED);
    RECT box{};
    if (call.hasBox && options) {
        box = boxOf(call.box, false);
        if (!map_.upright()) {
            // A turned box is no box any more: its background is drawn as a figure.
            if (options & ETO_OPAQUE) {
                FlatPath path;
                path.moveTo(placed(call.box.left, call.box.top));
                path.lineTo(placed(call.box.right, call.box.top));
                path.lineTo(placed(call.box.right, call.box.bottom));
                path.lineTo(placed(call.box.left, call.box.bottom));
                path.close();
                selectPen(PS_NULL, 0, 0);
                selectSolid(state.bkColor);
                fillFigures(path, WINDING);
            }
            options = 0;
        }
    } else {
        options = 0;
    }
    const INT* advances = dx.empty() ? nullptr : dx.data();
    const RECT* around = options ? &box : nullptr;
    if (plain)
        drew(ExtTextOutA(hDC_, point.x, point.y, options, around, bytes.data(), count, advances));
    else
        drew(ExtTextOutW(hDC_, point.x, point.y, options, around, call.text.data(), count, advances));

    if (moves && (state.textAlign & TA_CENTER) != TA_CENTER) {
        // Along the line as the file counts it.
        double length = total / scaleAlong;
        if (state.textAlign & TA_RIGHT) length = -length;
        const Affine own = state.page.map();
        const bool up = !call.advanced && own.d < 0, left = !call.advanced && own.a < 0;
        state.position = {at.x + length * std::cos(escape) * (left ? -1 : 1),
                          at.y - length * std::sin(escape) * (up ? -1 : 1)};
    }
}

} // namespace kb::gdi
