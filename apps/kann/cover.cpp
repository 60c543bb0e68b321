// Rows of covered pixels.
#include "apps/kann/cover.h"

#include "apps/kann/failure.h"
#include "apps/kann/whole_image.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace kann {

namespace {

// All bits of a stored pixel, in the order of its bytes.
std::uint32_t pixelAt(const std::uint8_t* row, int x, int bits) {
    if (bits >= 8 && bits != 12) {
        std::uint32_t value = 0;
        const int bytes = bits / 8;
        for (int i = 0; i < bytes; ++i) value |= std::uint32_t{row[std::ptrdiff_t{x} * bytes + i]} << 8 * i;
        return value;
    }
    std::uint32_t value = 0;
    for (std::int64_t bit = std::int64_t{x} * bits, end = bit + bits; bit < end; ++bit)
        value = value << 1 | (row[bit / 8] >> (7 - bit % 8) & 1u);
    return value;
}

void putPixel(std::uint8_t* row, int x, int bits, std::uint32_t value) {
    if (bits >= 8 && bits != 12) {
        const int bytes = bits / 8;
        for (int i = 0; i < bytes; ++i) row[std::ptrdiff_t{x} * bytes + i] = static_cast<std::uint8_t>(value >> 8 * i);
        return;
    }
    for (int i = 0; i < bits; ++i) {
        const std::int64_t bit = std::int64_t{x} * bits + i;
        const auto mask = static_cast<std::uint8_t>(0x80 >> bit % 8);
        const bool set = value >> (bits - 1 - i) & 1;
        row[bit / 8] = static_cast<std::uint8_t>(set ? row[bit / 8] | mask : row[bit / 8] & ~mask);
    }
}

std::uint32_t coveredPixel(const KernelBitmap& b) {
    if (b.BitsPerPixel <= 8) return static_cast<std::uint32_t>(std::max(0, K_NearestPaletteIndex(&b, RGB(0, 0, 0))));
    return b.BitsPerPixel == 32 ? 0xFF000000u : 0;
}

std::uint8_t* writableRow(Bitmap& bitmap, int y, const std::string& name) {
    std::uint8_t* row = K_WritableBitmapRow(&bitmap.record, y);
    if (!row) throw failure(name, ERROR_NO_MEMORY);
    return row;
}

using Used = std::array<bool, 256>;

Used usedColors(const KernelBitmap& b) {
    Used used{};
    for (int y = 0; y < b.Height; ++y) {
        const std::uint8_t* row = K_BitmapRowPointer(&b, y);
        for (int x = 0; x < b.Width; ++x) used[pixelAt(row, x, b.BitsPerPixel) & 255u] = true;
    }
    return used;
}

std::uint32_t colorOf(const RGBQUAD& color) { return RGB(color.rgbRed, color.rgbGreen, color.rgbBlue); }

// Entries that tell of colours which no pixel shows: not black, and not the same as one that is shown.
Used idleColors(const KernelBitmap& b, const Used& used) {
    Used idle{};
    for (std::uint32_t i = 0; i < b.nColors; ++i) {
        const std::uint32_t color = colorOf(b.pPalette[i]);
        idle[i] = !used[i] && color != RGB(0, 0, 0);
        for (std::uint32_t other = 0; idle[i] && other < b.nColors; ++other)
            idle[i] = !used[other] || colorOf(b.pPalette[other]) != color;
    }
    return idle;
}

void clearPadding(Bitmap& bitmap, const std::string& name) {
    const KernelBitmap& b = bitmap.record;
    const std::int64_t used = std::int64_t{b.Width} * b.BitsPerPixel;
    for (int y = 0; y < b.Height; ++y) {
        std::uint8_t* row = writableRow(bitmap, y, name);
        if (used % 8) row[used / 8] = static_cast<std::uint8_t>(row[used / 8] & 0xFF00u >> used % 8);
        std::fill(row + (used + 7) / 8, row + b.BytesPerLine, std::uint8_t{0});
    }
}

// A fourth byte that isn't opacity is shown by nobody, and whatever stands there would go along unseen.
void blankFourthByte(Bitmap& bitmap, const std::string& name) {
    if (bitmap.record.BitsPerPixel != 32 || bitmap.record.Alpha) return;
    for (int y = 0; y < bitmap.record.Height; ++y) {
        std::uint8_t* row = writableRow(bitmap, y, name);
        for (int x = 0; x < bitmap.record.Width; ++x) row[std::ptrdiff_t{x} * 4 + 3] = 0xFF;
    }
}

// `blank` takes the place of what goes.
void dropUnusedColors(Bitmap& bitmap, const RGBQUAD& blank, const std::string& name) {
    const KernelBitmap& old = bitmap.record;
    if (old.BitsPerPixel > 8 || hasRamp(old)) return;
    const Used idle = idleColors(old, usedColors(old));
    std::array<RGBQUAD, 256> palette{};
    for (std::uint32_t i = 0; i < old.nColors; ++i) palette[i] = idle[i] ? blank : old.pPalette[i];
    Bitmap fresh;
    check(K_CreateBitmap(&fresh.record, 1, old.Width, old.Height, old.BitsPerPixel, old.Order, palette.data(),
                         old.ViewPerspective, 0, 0),
          name);
    fresh.record.nColors = old.nColors;
    fresh.record.XResolution = old.XResolution;
    fresh.record.YResolution = old.YResolution;
    for (int y = 0; y < old.Height; ++y)
        std::memcpy(writableRow(fresh, y, name), K_BitmapRowPointer(&old, y), static_cast<std::size_t>(old.BytesPerLine));
    bitmap = std::move(fresh);
}

std::optional<POINT> findOther(const KernelBitmap& b, const RECT& area, std::uint32_t wanted) {
    for (int y = area.top; y < area.bottom; ++y) {
        const std::uint8_t* row = K_BitmapRowPointer(&b, y);
        for (int x = area.left; x < area.right; ++x) {
            if (!row || pixelAt(row, x, b.BitsPerPixel) != wanted) return POINT{x, y};
        }
    }
    return {};
}

} // namespace

std::vector<RECT> storedAreas(const KernelBitmap& shape, std::span<const RECT> areas) {
    std::vector<RECT> stored;
    for (RECT area : areas) {
        K_RectToBitmapView(&shape, 0, &area);
        const RECT cut{std::max(area.left, 0), std::max(area.top, 0), std::min<int>(area.right, shape.Width),
                       std::min<int>(area.bottom, shape.Height)};
        if (cut.left < cut.right && cut.top < cut.bottom) stored.push_back(cut);
    }
    return stored;
}

COLORREF coverAreas(Bitmap& bitmap, std::span<const RECT> areas, const std::string& name) {
    const std::uint32_t covered = coveredPixel(bitmap.record);
    const RGBQUAD color = bitmap.record.BitsPerPixel <= 8 ? bitmap.record.pPalette[covered] : RGBQUAD{};
    for (const RECT& area : areas) {
        for (int y = area.top; y < area.bottom; ++y) {
            std::uint8_t* row = writableRow(bitmap, y, name);
            for (int x = area.left; x < area.right; ++x) putPixel(row, x, bitmap.record.BitsPerPixel, covered);
        }
    }
    clearPadding(bitmap, name);
    blankFourthByte(bitmap, name);
    dropUnusedColors(bitmap, areas.empty() ? RGBQUAD{} : color, name);
    return colorOf(color);
}

std::optional<POINT> findUnlike(const KernelBitmap& b, const RECT& area) {
    const std::uint8_t* row = K_BitmapRowPointer(&b, area.top);
    if (!row) return POINT{area.left, area.top};
    return findOther(b, area, pixelAt(row, area.left, b.BitsPerPixel));
}

bool hasUnseenBytes(const KernelBitmap& b) {
    if (b.BitsPerPixel != 32 || b.Alpha) return false;
    for (int y = 0; y < b.Height; ++y) {
        const std::uint8_t* row = K_BitmapRowPointer(&b, y);
        for (int x = 0; x < b.Width; ++x) {
            if (!row || row[std::ptrdiff_t{x} * 4 + 3] != 0xFF) return true;
        }
    }
    return false;
}

bool hasUnusedColors(const KernelBitmap& b) {
    if (b.BitsPerPixel > 8 || hasRamp(b)) return false;
    const Used idle = idleColors(b, usedColors(b));
    return std::ranges::find(idle, true) != idle.end();
}

} // namespace kann
