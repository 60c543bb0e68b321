// The frame that every exported function enters through: first call initialises, every thread is known, handles become
// records. And what all objects share: pictures, screen resolution, default font size.
#pragma once

#include "contracts/raster_kernel.h"
#include "platform/user.h"
#include "store/handles.h"
#include "store/text.h"
#include "store/units.h"

#include <atomic>
#include <new>

namespace kbann {

struct LibraryState {
    HMODULE hLibraryModule = nullptr; // not null: initialised
    HMODULE hEntryModule = nullptr;   // from process attach
    double dScreenDpiY = 96.0;
    double dDefaultFontSize = 96.0 * 10.0 / 72.0;
    std::atomic<uint32_t> uSerialCounter{0};
    uint32_t nLibraryUsers = 0;

    KernelBitmap lockedIcon{}, defaultPoint{}, defaultPushpin{}, defaultPushpin2{}, toolBarStrip{};
    KernelMetafile hotspotDefault{}; // the other pictures: store/shared_pictures.h
    ATOM propertyAtom = 0;
    UINT clipboardFormats[3]{}; // the first is the one written

    // Texts that many records begin with.
    Text textMillimetres = Text::immortal(lengthUnits[ANN_UNIT_MILIMETERS].abbreviation);
    Text textDegree = Text::immortal(angleUnits[ANN_ANGLE_DEGREES].abbreviation);
    Text textArial = Text::immortal("Arial");
    Text textDialogFace = Text::immortal("MS Sans Serif");
};

LibraryState& libraryState();

// Makes the calling thread known, and initialises the library at the first call of the process. 1, or 0 when no slot could
// be made; the call then goes on, and the thread tries again next time.
int annAttachThread() noexcept;

// Counts up when attached threads have to attach anew.
extern std::atomic<uint32_t> annAttachEpoch;
extern thread_local uint32_t annThreadEpoch __attribute__((tls_model("initial-exec")));

// Every exported body: attach, run, turn a failed allocation into its code.
template <class Body> auto exported(Body&& body) noexcept -> decltype(body()) {
    if (annThreadEpoch != annAttachEpoch.load(std::memory_order_acquire)) annAttachThread();
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return ERROR_NO_MEMORY;
    }
}

} // namespace kbann
