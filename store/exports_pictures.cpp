// Exported functions: metafiles of objects, and the predefined ones.
#include "kbann/pictures.h"
#include "store/library.h"
#include "store/properties.h"
#include "store/shared_pictures.h"

using namespace kbann;

namespace {

// A holder that frees its metafile.
struct OwnedMetafile {
    OwnedMetafile() = default;
    OwnedMetafile(const OwnedMetafile&) = delete;
    OwnedMetafile& operator=(const OwnedMetafile&) = delete;
    ~OwnedMetafile() { K_FreeMetafile(&holder); }
    KernelMetafile holder{};
};

int setMetafile(HANNOBJECT hObject, HANDLE hMetafile, uint32_t nType, uint32_t uFlags) {
    if (!annFromHandle(hObject)) return ERROR_INV_PARAMETER;
    const auto store = [&](const KernelMetafile& metafile) {
        return annSetChecked(hObject, Property::metafile, {.pointer = &metafile}, uFlags);
    };
    if (nType > ANN_METAFILE_HOTSPOT) {
        KernelMetafile borrowed{};
        const int code = K_WrapMetafile(hMetafile, &borrowed);
        return code == SUCCESS ? store(borrowed) : code;
    }
    // The default itself and no copy of it: the setter knows it by its handle.
    if (nType == ANN_METAFILE_HOTSPOT && !annHasHotspotOfUser()) {
        const KernelMetafile& standard = libraryState().hotspotDefault;
        return standard.nHandle ? store(standard) : ERROR_INV_PARAMETER;
    }
    OwnedMetafile slot;
    const int code = annCopyPredefined(nType, slot.holder);
    return code == SUCCESS ? store(slot.holder) : code;
}

} // namespace

int K_AnnSetMetafile(HANNOBJECT hObject, HANDLE hMetafile, uint32_t nType, uint32_t uFlags) {
    return exported([&] { return setMetafile(hObject, hMetafile, nType, uFlags); });
}

int K_AnnGetMetafile(HANNOBJECT hObject, HANDLE* phMetafile) {
    return exported([&]() -> int {
        KernelMetafile holder{};
        const int code = phMetafile ? annGetProperty(hObject, Property::metafile, &holder) : ERROR_INV_PARAMETER;
        if (code == SUCCESS) *phMetafile = kb::toHandle<HANDLE>(holder.nHandle);
        return code;
    });
}

int K_AnnSetPredefinedMetafile(uint32_t nType, HANDLE hMetafile) {
    return exported([&]() -> int {
        if (nType > ANN_METAFILE_HOTSPOT) return ERROR_INV_PARAMETER;
        if (!hMetafile) {
            annRestorePredefined(nType);
            return SUCCESS;
        }
        KernelMetafile metafile{};
        const int code = K_WrapMetafile(hMetafile, &metafile);
        if (code == SUCCESS) annReplacePredefined(nType, metafile);
        return code;
    });
}

int K_AnnGetPredefinedMetafile(uint32_t nType, HANDLE* phMetafile, uint32_t* puKind) {
    return exported([&]() -> int {
        if (!phMetafile || !puKind) return ERROR_INV_PARAMETER;
        KernelMetafile copy{};
        const int code = annCopyPredefined(nType, copy);
        if (code != SUCCESS) return code;
        *phMetafile = kb::toHandle<HANDLE>(copy.nHandle);
        *puKind = copy.bEnhanced;
        return SUCCESS;
    });
}
