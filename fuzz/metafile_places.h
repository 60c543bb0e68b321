// The places that metafiles are played on: pixels with a clip, pixels through a mapping, a recording and a page. Whatever a file
// does, the caller's clip and states must be as before.
#pragma once

#include "platform/gdi.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace fuzz {

constexpr int placeSide = 64;

inline void leaveAsBefore(HDC dc, int states) {
    if (SaveDC(dc) != states + 1) __builtin_trap();
}

template <class Play> void playOnPixels(Play&& play) {
    std::vector<uint32_t> pixels(placeSide * placeSide, 0xFFFFFF);
    const HDC dc = KbCreateSurfaceDC(pixels.data(), placeSide, placeSide, placeSide * 4, 32, nullptr, 0);
    IntersectClipRect(dc, 4, 4, placeSide - 4, placeSide - 4);
    play(dc);
    for (size_t i = 0; i < placeSide; ++i)
        if (pixels[i] != 0xFFFFFF) __builtin_trap(); // the caller's clip has been left
    leaveAsBefore(dc, 0);
    SetMapMode(dc, MM_ANISOTROPIC);
    SetWindowExtEx(dc, 1000, 1000, nullptr);
    SetViewportExtEx(dc, placeSide, -placeSide, nullptr);
    SetViewportOrgEx(dc, 0, placeSide, nullptr);
    play(dc);
    leaveAsBefore(dc, 1);
    DeleteDC(dc);
}

template <class Play> void playIntoRecording(Play&& play) {
    const HDC recording = CreateMetaFileA(nullptr);
    SaveDC(recording);
    IntersectClipRect(recording, 0, 0, 300, 300);
    play(recording);
    leaveAsBefore(recording, 1);
    if (const HMETAFILE made = CloseMetaFile(recording)) {
        // What comes out must be a file that can be read, and be bounded as the play is.
        std::vector<uint8_t> bytes(GetMetaFileBitsEx(made, 0, nullptr));
        GetMetaFileBitsEx(made, static_cast<UINT>(bytes.size()), bytes.data());
        const HMETAFILE again = SetMetaFileBitsEx(static_cast<UINT>(bytes.size()), bytes.data());
        if (!again) __builtin_trap();
        DeleteMetaFile(again);
        DeleteMetaFile(made);
    }
}

template <class Play> void playOnPage(Play&& play) {
    const HDC page = KbCreatePdfDC([](void*, const void*, size_t) -> BOOL { return TRUE; }, nullptr);
    if (!KbStartPdfPage(page, placeSide, placeSide, 72, 72)) __builtin_trap();
    play(page);
    leaveAsBefore(page, 0);
    if (!KbStartPdfPage(page, placeSide, placeSide, 72, 72)) __builtin_trap(); // the page before has broken
    if (!KbClosePdfDC(page)) __builtin_trap();
}

// Calls play(context) on each. The fuzzer takes one that hangs on the bytes, because documents take their time.
template <class Play> void playEverywhere(const std::vector<uint8_t>& bytes, Play&& play) {
    unsigned place = 0xF;
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
    unsigned sum = 0;
    for (const uint8_t byte : bytes) sum += byte;
    place = 1u << sum % 4;
#else
    static_cast<void>(bytes);
#endif
    if (place & 3) playOnPixels(play);
    if (place & 4) playIntoRecording(play);
    if (place & 8) playOnPage(play);
}

} // namespace fuzz
