// Objects that stand for something else and show a glyph: audio, video, hotspots.
#include "contracts/raster_kernel.h"
#include "platform/sys.h"
#include "render/drawing.h"
#include "store/library.h"
#include "store/shared_pictures.h"

namespace kbann {
namespace {

// The inactive audio glyph lacks the waves of the active one.
constexpr int inactiveAudioWidth = 7813, activeAudioWidth = 14982;

bool isActive(const AnnObject& record) { return record.nActiveState == ANN_ACTIVE_ENABLED; }

// A picture that is missing or broken leaves a gap, no more: the name still shows.
void play(const Drawing& d, const KernelMetafile& picture, const RECT& place) {
    if (picture.nHandle) K_PlayMetafile(d.hDC, &picture, &place);
}

const KernelMetafile& hotspotPicture(const AnnObject& record) {
    return record.metafile.nHandle ? record.metafile : libraryState().hotspotDefault;
}

} // namespace

bool annDrawAudio(const Drawing& d) {
    RECT r;
    if (!annUprightRect(d, r)) return false;
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket) return false;
    if (!isActive(d.record)) r.right = r.left + MulDiv(r.right - r.left, inactiveAudioWidth, activeAudioWidth);
    play(d, annGlyph(isActive(d.record) ? Glyph::audioActive : Glyph::audioInactive), r);
    return true;
}

bool annDrawVideo(const Drawing& d) {
    RECT r;
    if (!annUprightRect(d, r)) return false;
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket) return false;
    play(d, annGlyph(isActive(d.record) ? Glyph::videoActive : Glyph::videoInactive), r);
    return true;
}

bool annDrawHotspot(const Drawing& d) {
    RECT r;
    if (d.record.nUserMode == ANN_USERMODE_RUN || !annUprightRect(d, r)) return false;
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket) return false;
    play(d, hotspotPicture(d.record), r);
    return true;
}

bool annDrawFreehandHotspot(const Drawing& d) {
    if (d.record.nUserMode == ANN_USERMODE_RUN) return false;
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket) return false;
    const RECT box = annShapeBounds(d.record, d.matrix);
    if (annIsEmpty(box)) return true;
    if (!annClipToPolygon(d, {d.record.pPoints.data(), d.record.nPoints()})) return false;
    play(d, hotspotPicture(d.record), box);
    return true;
}

} // namespace kbann
