// Writer of placeable metafiles. The tree is drawn in client pixels, its root's rectangle being the window, so a single item
// comes out where it stands in the whole picture.
#include "persist/metafile_form.h"
#include "contracts/return_codes.h"
#include "platform/sys.h"
#include "render/realize.h"
#include "store/geometry.h"
#include "store/tree.h"

#include <algorithm>
#include <array>

namespace kbann {
namespace {

constexpr uint64_t pieceBytes = 65534; // a write of bits takes that many at a time
constexpr uint16_t unitsPerInch = 96;
constexpr size_t headerBytes = 22;

// The numbers of the header have 16 bits; a rectangle beyond them keeps its low ones.
std::array<uint8_t, headerBytes> headerOf(const RECT& bounds) {
    std::array<uint16_t, headerBytes / 2> words{0xCDD7, 0x9AC6, 0};
    size_t at = 3;
    for (const int32_t side : {bounds.left, bounds.top, bounds.right, bounds.bottom})
        words[at++] = static_cast<uint16_t>(side);
    words[at] = unitsPerInch;
    for (size_t i = 0; i + 1 < words.size(); ++i) words.back() ^= words[i];
    std::array<uint8_t, headerBytes> bytes;
    for (size_t i = 0; i < words.size(); ++i) {
        bytes[2 * i] = static_cast<uint8_t>(words[i]);
        bytes[2 * i + 1] = static_cast<uint8_t>(words[i] >> 8);
    }
    return bytes;
}

int writeBits(AnnStream& stream, const uint8_t* bits, uint64_t size) {
    for (uint64_t done = 0; done < size;) {
        const uint64_t piece = std::min(size - done, pieceBytes);
        if (!annWriteAll(stream, bits + done, piece)) return ERROR_FILE_WRITE;
        done += piece;
    }
    return annCut(stream) ? SUCCESS : ERROR_FILE_WRITE;
}

int writeMetafile(AnnStream& stream, HMETAFILE metafile, const RECT& bounds) {
    const UINT size = GetMetaFileBitsEx(metafile, 0, nullptr);
    const HGLOBAL block = size ? GlobalAlloc(GMEM_MOVEABLE, size) : nullptr;
    if (!block) return ERROR_NO_MEMORY;
    auto* bits = static_cast<uint8_t*>(GlobalLock(block));
    int code = ERROR_NO_MEMORY;
    if (bits && GetMetaFileBitsEx(metafile, size, bits) == size) {
        const auto header = headerOf(bounds);
        code = annWriteAll(stream, header.data(), header.size()) ? writeBits(stream, bits, size) : ERROR_FILE_WRITE;
    }
    GlobalUnlock(block);
    GlobalFree(block);
    return code;
}

} // namespace

HMETAFILE annMakeMetafile(AnnObject& record, const WriteFilter& filter) {
    const HDC hDC = CreateMetaFileA(nullptr);
    if (!hDC) return nullptr;
    const RECT& bounds = annTop(&record)->rcBounds;
    SetMapMode(hDC, MM_TEXT);
    SetWindowOrgEx(hDC, bounds.left, bounds.top, nullptr);
    SetWindowExtEx(hDC, annAdd(bounds.right, -int64_t{bounds.left}), annAdd(bounds.bottom, -int64_t{bounds.top}), nullptr);
    annDrawTree(hDC, nullptr, record, nullptr,
                {.bSelected = filter.bSelected,
                 .nMenuItem = filter.bCheckMenu ? filter.nMenuItem : noMenuItem,
                 .bSiblings = record.isContainer()});
    return CloseMetaFile(hDC);
}

int annSaveWmf(AnnStream& stream, AnnObject& record, const WriteFilter& filter) {
    const HMETAFILE metafile = annMakeMetafile(record, filter);
    if (!metafile) return ERROR_NO_MEMORY;
    const int code = writeMetafile(stream, metafile, annTop(&record)->rcBounds);
    DeleteMetaFile(metafile);
    return code;
}

} // namespace kbann
