// Start and end of the library: attach of process and threads, the shared bitmaps, registrations, screen resolution.
// Nothing here fails for want of a picture: what can't be loaded stays a 1 x 1 bitmap or an empty holder.
#include "store/library.h"
#include "kbann/library.h"
#include "resources/resource_table.h"
#include "store/shared_pictures.h"
#include "store/spin_lock.h"
#include "store/thread_slots.h"

#include <mutex>

namespace kbann {

std::atomic<uint32_t> annAttachEpoch{1};
thread_local uint32_t annThreadEpoch = 0;

kb::HandleTable<AnnObject>& annObjectTable() {
    static auto& table = *new kb::HandleTable<AnnObject>(kb::HandleKind::annotation);
    return table;
}

LibraryState& libraryState() {
    static auto& state = *new LibraryState;
    return state;
}

namespace {

constexpr double tenPointsInInches = 0.1388888888888889;
constexpr COLORREF white = 0xFFFFFF;
constexpr int kernelModule = 14;
constexpr UINT dibHeaderBytes = 40;

SpinLock lockLibrary;
SlotKey keyLibrary = noSlotKey;

struct BitmapResource {
    UINT id;
    KernelBitmap LibraryState::*field;
    bool toTrueColor; // shown on any image: at 24 bits
};
constexpr BitmapResource bitmapResources[] = {{26105, &LibraryState::lockedIcon, true},
                                              {26106, &LibraryState::defaultPoint, false},
                                              {26101, &LibraryState::defaultPushpin, true},
                                              {26102, &LibraryState::defaultPushpin2, true},
                                              {26104, &LibraryState::toolBarStrip, false}};

constexpr const char* clipboardFormatNames[] = {"KITEBENCH 11.0 Annotation", "KITEBENCH 10.0 Annotation",
                                                "KITEBENCH 9.0 Annotation"};

int loadBitmapResource(HMODULE module, UINT id, KernelBitmap& bitmap) {
    bitmap = {};
    K_InitBitmap(&bitmap, 1, 1, 1);
    const HRSRC resource = FindResourceA(module, id, RT_BITMAP);
    const auto* header = static_cast<const BITMAPINFO*>(LockResource(LoadResource(module, resource)));
    if (!header) return ERROR_INV_PARAMETER;
    const auto& info = header->bmiHeader;
    UINT colors = info.biBitCount == 4 ? 16 : info.biClrUsed;
    if (!colors && info.biBitCount <= 8) colors = 1u << info.biBitCount;
    const auto* bits = reinterpret_cast<const BYTE*>(header) + dibHeaderBytes + colors * sizeof(RGBQUAD);
    return K_BitmapFromDIB(&bitmap, header, bits);
}

void loadSharedPictures(LibraryState& state) {
    uint32_t conversion[2];
    K_GetConversionSetting(conversion);
    K_SetConversionSetting(0, 0);
    for (const auto& row : bitmapResources) {
        KernelBitmap& bitmap = state.*row.field;
        loadBitmapResource(state.hLibraryModule, row.id, bitmap);
        if (row.toTrueColor) K_ChangeBitmapDepth(&bitmap, &bitmap, 24, 0, 0, 0, 0, 0, 0);
        K_SetBitmapRgnColor(&bitmap, white, KB_REGION_NOT_COLOR);
    }
    annOpenSharedPictures();
    state.propertyAtom = AddAtomA("KBANN11NOBJECT");
    for (size_t i = 0; i < std::size(clipboardFormatNames); ++i)
        state.clipboardFormats[i] = RegisterClipboardFormatA(clipboardFormatNames[i]);
    K_SetConversionSetting(conversion[0], conversion[1]);
}

void annDetachValue(intptr_t) {
    auto& state = libraryState();
    const std::lock_guard lock(lockLibrary);
    if (--state.nLibraryUsers) return;
    keyLibrary = noSlotKey;
    annAttachEpoch.fetch_add(1, std::memory_order_release);
    K_AnnTermLibrary();
}

__attribute__((constructor)) void attachProcess() {
    auto& state = libraryState();
    annObjectTable(); // made before anything can fail
    state.hEntryModule = KbRegisterModule("kbann", annResourceTable, annResourceCount);
    K_AttachModule(kernelModule);
    DisableThreadLibraryCalls(state.hEntryModule);
}

__attribute__((destructor)) void detachProcess() {
    slotDetachAll(true);
    KbUnregisterModule(libraryState().hEntryModule);
}

} // namespace

int annAttachThread() noexcept {
    auto& state = libraryState();
    const std::lock_guard lock(lockLibrary);
    if (keyLibrary == noSlotKey || !state.nLibraryUsers) {
        const SlotKey key = slotAlloc(annDetachValue);
        if (key == noSlotKey) return 0;
        keyLibrary = key;
    }
    if (!slotGetValue(keyLibrary)) {
        if (!slotSetValue(keyLibrary, 1)) {
            if (!state.nLibraryUsers) {
                slotFree(keyLibrary);
                keyLibrary = noSlotKey;
            }
            return 0;
        }
        if (state.nLibraryUsers++ == 0) {
            if (!state.hEntryModule) state.hEntryModule = GetModuleHandleA(nullptr);
            K_AnnInitLibrary(state.hEntryModule);
        }
    }
    annThreadEpoch = annAttachEpoch.load(std::memory_order_relaxed);
    return 1;
}

} // namespace kbann

using namespace kbann;

int K_AnnInitLibrary(HMODULE hModule) {
    auto& state = libraryState();
    if (state.hLibraryModule) return 0;
    state.hLibraryModule = hModule;
    loadSharedPictures(state);
    if (const HDC screen = GetDC(nullptr)) {
        state.dScreenDpiY = GetDeviceCaps(screen, LOGPIXELSY);
        ReleaseDC(nullptr, screen);
    }
    state.dDefaultFontSize = state.dScreenDpiY * tenPointsInInches;
    KbSetLocale("");
    return 1;
}

void K_AnnTermLibrary(void) {
    auto& state = libraryState();
    if (!state.hLibraryModule) return;
    state.hLibraryModule = nullptr;
    for (const auto& row : bitmapResources) K_FreeBitmap(&(state.*row.field));
    DeleteAtom(state.propertyAtom);
    state.propertyAtom = 0;
    annCloseSharedPictures();
}
