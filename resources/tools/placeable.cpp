// The picture is drawn on a recording context behind the window that the box asks for, so that a reader without an eye for
// the placeable header sees it too.
#include "resources/tools/placeable.h"

#include "resources/tools/bytes.h"

#include <limits>
#include <stdexcept>
#include <string>

namespace kbann::pictures {
namespace {

constexpr uint32_t placeableKey = 0x9AC6CDD7;
constexpr size_t headerBytes = 22;

std::vector<uint8_t> headerOf(const RECT& box) {
    std::vector<uint8_t> bytes;
    putNumber(bytes, placeableKey, 4);
    putNumber(bytes, 0, 2);
    for (const LONG side : {box.left, box.top, box.right, box.bottom}) putNumber(bytes, static_cast<uint32_t>(side), 2);
    putNumber(bytes, unitsPerInch, 2);
    putNumber(bytes, 0, 4);
    uint32_t checksum = 0;
    for (size_t at = 0; at < bytes.size(); at += 2) checksum ^= static_cast<uint32_t>(bytes[at] | bytes[at + 1] << 8);
    putNumber(bytes, checksum, 2);
    return bytes;
}

void check(const Picture& picture) {
    using Limits = std::numeric_limits<int16_t>;
    const RECT &box = picture.box, drawn = wholeBox(boundsOf(picture.layers));
    const bool fits = box.left >= Limits::min() && box.top >= Limits::min() && box.right <= Limits::max() &&
                      box.bottom <= Limits::max() && box.right - box.left <= Limits::max() &&
                      box.bottom - box.top <= Limits::max(); // the window's extents are 16 bit as well
    const bool holds =
        drawn.left >= box.left && drawn.top >= box.top && drawn.right <= box.right && drawn.bottom <= box.bottom;
    if (!fits || !holds) throw std::runtime_error(std::string(picture.name) + ": drawn outside its box");
}

} // namespace

std::vector<uint8_t> placeableMetafile(const Picture& picture) {
    check(picture);
    const RECT& box = picture.box;
    const HDC hDC = CreateMetaFileA(nullptr);
    const bool drawn = hDC && SetMapMode(hDC, MM_ANISOTROPIC) && SetWindowOrgEx(hDC, box.left, box.top, nullptr) &&
                       SetWindowExtEx(hDC, box.right - box.left, box.bottom - box.top, nullptr) && drawPicture(hDC, picture);
    const HMETAFILE metafile = CloseMetaFile(hDC);
    std::vector<uint8_t> bytes = headerOf(box);
    const UINT size = GetMetaFileBitsEx(metafile, 0, nullptr);
    bytes.resize(headerBytes + size);
    const bool copied = size && GetMetaFileBitsEx(metafile, size, bytes.data() + headerBytes) == size;
    DeleteMetaFile(metafile);
    if (!drawn || !copied) throw std::runtime_error(std::string(picture.name) + ": can't be recorded");
    return bytes;
}

} // namespace kbann::pictures
