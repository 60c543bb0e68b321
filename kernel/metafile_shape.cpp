// Box and size of a picture. The player of classic metafiles is asked what it would go by, so that a picture has the
// proportion in which it is played; what one without a window draws is taken as pixels of a screen. Such a picture keeps no
// box: the player finds its place by what it draws. Frames of enhanced metafiles: MS-EMF.
#include "kernel/metafile_shape.h"

#include "platform/handle_table.h"
#include "platform/sys.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kb {
namespace {

constexpr int screenUnitsPerInch = 96;

int measureClassic(KernelMetafile* m) {
    RECT box{};
    SetLastError(0);
    const int shape = KbMeasureMetaFile(toHandle<HMETAFILE>(m->nHandle), &box);
    if (shape == KB_SHAPE_NONE) return GetLastError() == ERROR_OUT_OF_MEMORY ? int{ERROR_NO_MEMORY} : SUCCESS;
    if (shape == KB_SHAPE_WINDOW) {
        m->nLeft = box.left;
        m->nTop = box.top;
        m->nRight = box.right;
        m->nBottom = box.bottom;
    }
    sizeFromBox(m, box, screenUnitsPerInch);
    return SUCCESS;
}

int32_t distance(int32_t a, int32_t b) {
    return static_cast<int32_t>(std::min<int64_t>(std::abs(int64_t{b} - a), std::numeric_limits<int32_t>::max()));
}

} // namespace

void sizeFromBox(KernelMetafile* m, const RECT& box, int unitsPerInch) noexcept {
    constexpr double hundredthsPerInch = 2540;
    const auto length = [unitsPerInch](int32_t from, int32_t to) {
        const double value = distance(from, to) * hundredthsPerInch / unitsPerInch + 0.5;
        return static_cast<int32_t>(std::min(value, 2147483647.0));
    };
    m->nWidth = length(box.left, box.right);
    m->nHeight = length(box.top, box.bottom);
}

int measureMetafile(MetafileBits bits, KernelMetafile* m) noexcept {
    if (!m->bEnhanced) return measureClassic(m);
    m->nWidth = distance(metafileNumber<int32_t>(bits, 24), metafileNumber<int32_t>(bits, 32));
    m->nHeight = distance(metafileNumber<int32_t>(bits, 28), metafileNumber<int32_t>(bits, 36));
    return SUCCESS;
}

} // namespace kb
