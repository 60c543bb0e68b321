// Which pixels the tree touches is found by drawing it twice: over the image as it looks on white, and over its negative. A
// pixel that comes out as it was in both has not been touched, since whatever is drawn differs from a colour or from its
// opposite.
#include "apps/kann/opacity_burn.h"

#include "apps/kann/failure.h"
#include "apps/kann/fit.h"
#include "apps/kann/page_image.h"

#include <algorithm>
#include <cstring>

namespace kann {

namespace {

Bitmap copyOf(const Bitmap& image, const std::string& name) {
    Bitmap copy;
    check(K_CopyBitmap(&copy.record, &image.record), name);
    return copy;
}

std::uint8_t* writableRow(Bitmap& image, int y, const std::string& name) {
    std::uint8_t* row = K_WritableBitmapRow(&image.record, y);
    if (!row) throw failure(name, ERROR_NO_MEMORY);
    return row;
}

std::uint8_t negative(std::uint8_t value) { return static_cast<std::uint8_t>(~value); }

} // namespace

void realizeWithOpacity(Bitmap& image, const Tree& tree, const std::string& name) {
    const Bitmap before = onWhite(copyOf(image, name), name);
    Bitmap drawn = copyOf(before, name), opposite = copyOf(before, name);
    const int width = before.record.Width, height = before.record.Height;
    for (int y = 0; y < height; ++y) {
        std::uint8_t* row = writableRow(opposite, y, name);
        std::transform(row, row + std::ptrdiff_t{width} * 3, row, negative);
    }
    realize(drawn.record, tree, false, name);
    realize(opposite.record, tree, false, name);
    check(K_NormalizeBitmap(&image.record), name);
    const int blue = image.record.Order == KB_ORDER_RGB ? 2 : 0;
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* old = K_BitmapRowPointer(&before.record, y);
        const std::uint8_t* now = K_BitmapRowPointer(&drawn.record, y);
        const std::uint8_t* other = K_BitmapRowPointer(&opposite.record, y);
        std::uint8_t* to = writableRow(image, y, name);
        for (int x = 0; x < width; ++x, old += 3, now += 3, other += 3, to += 4) {
            const std::uint8_t due[3] = {negative(old[0]), negative(old[1]), negative(old[2])};
            if (std::memcmp(now, old, 3) == 0 && std::memcmp(other, due, 3) == 0) continue;
            to[blue] = now[0];
            to[1] = now[1];
            to[2 - blue] = now[2];
            to[3] = 255;
        }
    }
}

} // namespace kann
