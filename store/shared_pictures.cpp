// The shared metafiles and hit masks: which resource each comes from, loading at first use, and the slots that an application
// may fill. Slots change at any time, so they are read and copied under the lock alone; glyphs and masks stay as they are
// once loaded, and are given out without a copy.
#include "store/shared_pictures.h"
#include "contracts/raster_io.h"
#include "kbann/constants.h"
#include "store/library.h"

#include <array>
#include <atomic>
#include <mutex>

namespace kbann {
namespace {

// By slot. There is no 26199, and the first numbers aren't in the order of the slots.
constexpr auto stampResources =
    std::to_array<UINT>({26176, 26177, 26179, 26180, 26178, 26181, 26182, 26183, 26184, 26185, 26186, 26187, 26188,
                         26189, 26190, 26191, 26192, 26193, 26194, 26195, 26196, 26197, 26198, 26200, 26201, 26202});
static_assert(stampResources.size() == stampSlotCount && ANN_METAFILE_HOTSPOT == stampSlotCount);

constexpr auto glyphResources = std::to_array<UINT>({26171, 26170, 26174, 26173});
static_assert(glyphResources.size() == static_cast<size_t>(Glyph::count));
constexpr auto maskResources = std::to_array<UINT>({26172, 26175});
static_assert(maskResources.size() == static_cast<size_t>(HitMask::count));
constexpr UINT hotspotResource = 26203;

struct ResourceBytes {
    const void* data = nullptr;
    size_t size = 0;
};

ResourceBytes findData(UINT id) {
    const HMODULE module = libraryState().hLibraryModule;
    const HRSRC resource = module ? FindResourceA(module, id, RT_RCDATA) : nullptr;
    if (!resource) return {};
    return {LockResource(LoadResource(module, resource)), SizeofResource(module, resource)};
}

int loadPicture(UINT id, KernelMetafile& out) {
    out = {};
    const ResourceBytes bytes = findData(id);
    return bytes.data ? K_LoadMetafileMemory(bytes.data, &out, bytes.size, 1) : ERROR_INV_PARAMETER;
}

// The metafile as an image in its own size, then in black and white.
int loadPicture(UINT id, KernelBitmap& out) {
    out = {};
    const ResourceBytes bytes = findData(id);
    if (!bytes.data) return ERROR_INV_PARAMETER;
    int code = K_LoadMemory(bytes.data, &out, 0, 0, bytes.size, nullptr, nullptr);
    if (code == SUCCESS) code = K_ChangeBitmapDepth(&out, &out, 1, 0, 0, 0, 0, 0, 0);
    if (code != SUCCESS) K_FreeBitmap(&out);
    return code;
}

void freePicture(KernelMetafile& picture) { K_FreeMetafile(&picture); }
void freePicture(KernelBitmap& picture) { K_FreeBitmap(&picture); }

template <class Picture> struct Shared {
    Picture picture{};
    std::atomic<bool> loaded{false}; // or found that it can't be

    // Under the lock.
    int load(UINT id) {
        if (loaded.load(std::memory_order_relaxed)) return SUCCESS;
        const int code = loadPicture(id, picture);
        if (code == ERROR_NO_MEMORY) return code;
        loaded.store(true, std::memory_order_release);
        return SUCCESS;
    }
    void clear() {
        freePicture(picture);
        loaded.store(false, std::memory_order_relaxed);
    }
};

struct SharedPictures {
    std::mutex lock;
    std::array<Shared<KernelMetafile>, stampSlotCount> stamps;
    std::array<Shared<KernelMetafile>, glyphResources.size()> glyphs;
    std::array<Shared<KernelBitmap>, maskResources.size()> masks;
    KernelMetafile hotspotOfUser{};
};

SharedPictures& sharedPictures() {
    static auto& pictures = *new SharedPictures;
    return pictures;
}

template <class Picture> const Picture& loadedPicture(Shared<Picture>& shared, UINT id) noexcept {
    if (!shared.loaded.load(std::memory_order_acquire)) {
        const std::lock_guard guard(sharedPictures().lock);
        shared.load(id);
    }
    return shared.picture;
}

} // namespace

const KernelMetafile& annGlyph(Glyph which) noexcept {
    const auto i = static_cast<size_t>(which);
    return loadedPicture(sharedPictures().glyphs[i], glyphResources[i]);
}

const KernelBitmap& annGlyphMask(HitMask which) noexcept {
    const auto i = static_cast<size_t>(which);
    return loadedPicture(sharedPictures().masks[i], maskResources[i]);
}

int annCopyPredefined(uint32_t nType, KernelMetafile& out) noexcept {
    out = {};
    if (nType > ANN_METAFILE_HOTSPOT) return ERROR_INV_PARAMETER;
    auto& pictures = sharedPictures();
    const std::lock_guard guard(pictures.lock);
    const KernelMetafile* source = nullptr;
    if (nType == ANN_METAFILE_HOTSPOT) {
        source = pictures.hotspotOfUser.nHandle ? &pictures.hotspotOfUser : &libraryState().hotspotDefault;
    } else {
        if (const int code = pictures.stamps[nType].load(stampResources[nType]); code != SUCCESS) return code;
        source = &pictures.stamps[nType].picture;
    }
    return source->nHandle ? K_CopyMetafile(&out, source) : ERROR_INV_PARAMETER;
}

bool annHasHotspotOfUser() noexcept {
    auto& pictures = sharedPictures();
    const std::lock_guard guard(pictures.lock);
    return pictures.hotspotOfUser.nHandle != 0;
}

void annReplacePredefined(uint32_t nType, const KernelMetafile& metafile) noexcept {
    auto& pictures = sharedPictures();
    const std::lock_guard guard(pictures.lock);
    KernelMetafile& slot = nType == ANN_METAFILE_HOTSPOT ? pictures.hotspotOfUser : pictures.stamps[nType].picture;
    if (slot.nHandle != metafile.nHandle) K_FreeMetafile(&slot); // the slot's own handle may come back
    slot = metafile;
    if (nType < stampSlotCount) pictures.stamps[nType].loaded.store(true, std::memory_order_release);
}

void annRestorePredefined(uint32_t nType) noexcept {
    auto& pictures = sharedPictures();
    const std::lock_guard guard(pictures.lock);
    if (nType == ANN_METAFILE_HOTSPOT) return K_FreeMetafile(&pictures.hotspotOfUser);
    for (auto& stamp : pictures.stamps) stamp.clear();
}

void annOpenSharedPictures() noexcept {
    annCloseSharedPictures(); // what was found missing while the library had ended may be there now
    loadPicture(hotspotResource, libraryState().hotspotDefault);
}

void annCloseSharedPictures() noexcept {
    auto& pictures = sharedPictures();
    const std::lock_guard guard(pictures.lock);
    for (auto& stamp : pictures.stamps) stamp.clear();
    for (auto& glyph : pictures.glyphs) glyph.clear();
    for (auto& mask : pictures.masks) mask.clear();
    K_FreeMetafile(&pictures.hotspotOfUser);
    K_FreeMetafile(&libraryState().hotspotDefault);
}

} // namespace kbann
