// Metafiles and hit masks that all objects share. Only the hotspot's default is loaded with the library; the others when they
// are first asked for, as most programs never show them. A picture that can't be loaded is empty; one for which memory
// failed is tried again next time.
#pragma once

#include "contracts/raster_kernel.h"

#include <cstdint>

namespace kbann {

inline constexpr uint32_t stampSlotCount = 26;

enum class Glyph : uint8_t { audioInactive, audioActive, videoInactive, videoActive, count };
enum class HitMask : uint8_t { audio, video, count };

// Borrowed until the library ends.
const KernelMetafile& annGlyph(Glyph which) noexcept;
// Black where the glyph is hit; 1 bit, in the size of its metafile on a screen (about 100 pixels wide).
const KernelBitmap& annGlyphMask(HitMask which) noexcept;

// A copy of a predefined metafile, the caller's: 0 to 25 a stamp, 26 the hotspot picture that is in force. ERROR_INV_PARAMETER
// for other numbers and an empty slot.
int annCopyPredefined(uint32_t nType, KernelMetafile& out) noexcept;
// Whether the application has put a hotspot picture in the place of the default.
bool annHasHotspotOfUser() noexcept;
// The slot (0 to 26) takes over the holder and frees what it had.
void annReplacePredefined(uint32_t nType, const KernelMetafile& metafile) noexcept;
// The library's own again: of all stamps for 0 to 25, of hotspots for 26.
void annRestorePredefined(uint32_t nType) noexcept;

// Called by the library's start and end.
void annOpenSharedPictures() noexcept;
void annCloseSharedPictures() noexcept;

} // namespace kbann
