// The clipboard: streams under the library's own format, pictures as METAFILEPICT. What is given to the clipboard belongs to
// it from then on; what it doesn't take is freed here.
#include "kbann/clipboard.h"
#include "contracts/return_codes.h"
#include "kbann/auto_text.h"
#include "persist/clipboard.h"
#include "persist/metafile_form.h"
#include "persist/storage.h"
#include "platform/handle_table.h"
#include "platform/sys.h"
#include "platform/user.h"
#include "store/geometry.h"
#include "store/handles.h"
#include "store/library.h"
#include "store/tree.h"

#include <cstring>

namespace kbann {
namespace {

// The clipboard while it is open.
class OpenedClipboard {
public:
    explicit OpenedClipboard(HWND hWnd) : isOpen_(OpenClipboard(hWnd) != FALSE) {}
    ~OpenedClipboard() {
        if (isOpen_) CloseClipboard();
    }
    OpenedClipboard(const OpenedClipboard&) = delete;
    OpenedClipboard& operator=(const OpenedClipboard&) = delete;
    explicit operator bool() const { return isOpen_; }

private:
    bool isOpen_;
};

int copyStream(const SaveRequest& request) {
    HGLOBAL block = nullptr;
    if (const int code = annSaveMemory(&block, nullptr, request); code != SUCCESS) return code;
    if (SetClipboardData(libraryState().clipboardFormats[0], block)) return SUCCESS;
    GlobalFree(block);
    return ERROR_NO_MEMORY;
}

int copyPicture(AnnObject& record, const WriteFilter& filter) {
    const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, sizeof(METAFILEPICT));
    void* place = block ? GlobalLock(block) : nullptr;
    if (!place) {
        if (block) GlobalFree(block);
        return ERROR_NO_MEMORY;
    }
    const RECT& bounds = annTop(&record)->rcBounds;
    const HMETAFILE metafile = annMakeMetafile(record, filter);
    const METAFILEPICT picture{MM_TEXT, annAdd(bounds.right, -int64_t{bounds.left}),
                               annAdd(bounds.bottom, -int64_t{bounds.top}), kb::handleValue(metafile)};
    std::memcpy(place, &picture, sizeof picture);
    GlobalUnlock(block);
    if (metafile && SetClipboardData(CF_METAFILEPICT, block)) return SUCCESS;
    if (metafile) DeleteMetaFile(metafile);
    GlobalFree(block);
    return ERROR_NO_MEMORY;
}

} // namespace

int annCopyToClipboard(HANNOBJECT hObject, uint32_t uFormat, const WriteFilter& filter, bool bEmpty) {
    AnnObject* record = annFromHandle(hObject);
    if (!record) return ERROR_INV_PARAMETER;
    const OpenedClipboard clipboard(kb::toHandle<HWND>(record->hWnd));
    if (!clipboard) return ERROR_FAILURE;
    if (bEmpty) EmptyClipboard();
    switch (uFormat) {
    case ANN_FMT_WMF: return copyPicture(*record, filter);
    case ANN_FMT_NATIVE:
    case ANN_FMT_ENCODED: return copyStream({hObject, uFormat, filter, nullptr});
    default: return ERROR_FEATURE_NOT_SUPPORTED;
    }
}

int annCutToClipboard(HANNOBJECT hObject, uint32_t uFormat, const WriteFilter& filter, bool bEmpty) {
    if (const int code = annCopyToClipboard(hObject, uFormat, filter, bEmpty); code != SUCCESS) return code;
    uint32_t uFlags = ANN_FLAG_RECURSE | ANN_FLAG_CHECKMENU;
    if (filter.bSelected) uFlags |= ANN_FLAG_SELECTED;
    return annDestroy(annFromHandle(hObject), uFlags, filter.nMenuItem);
}

int annCopyFromClipboard(HWND hWnd, HANNOBJECT* phObject) {
    if (!phObject) return ERROR_INV_PARAMETER;
    const OpenedClipboard clipboard(hWnd);
    if (!clipboard) return ERROR_FAILURE;
    for (const UINT format : libraryState().clipboardFormats) {
        const auto block = static_cast<HGLOBAL>(GetClipboardData(format));
        if (!block) continue;
        // The block may be larger than the data: the readers stop at its end mark.
        const int code = annLoadMemory(GlobalLock(block), static_cast<uint32_t>(GlobalSize(block)), phObject, nullptr);
        GlobalUnlock(block);
        return code;
    }
    return ERROR_FEATURE_NOT_SUPPORTED;
}

} // namespace kbann

using namespace kbann;

extern "C" {

int K_AnnCopyToClipboard(HANNOBJECT hObject, uint32_t uFormat, BOOL bSelected, BOOL bEmpty, BOOL bCheckMenu) {
    return exported([&] {
        return annCopyToClipboard(hObject, uFormat, {bSelected != 0, bCheckMenu != 0, ANN_AUTOTEXT_MENU_COPY}, bEmpty != 0);
    });
}

int K_AnnCutToClipboard(HANNOBJECT hObject, uint32_t uFormat, BOOL bSelected, BOOL bEmpty, BOOL bCheckMenu) {
    return exported([&] {
        return annCutToClipboard(hObject, uFormat, {bSelected != 0, bCheckMenu != 0, ANN_AUTOTEXT_MENU_CUT}, bEmpty != 0);
    });
}

int K_AnnCopyFromClipboard(HWND hWnd, HANNOBJECT* phObject) {
    return exported([&] { return annCopyFromClipboard(hWnd, phObject); });
}

int K_AnnClipboardReady(BOOL* pbReady) {
    return exported([&]() -> int {
        if (!pbReady) return ERROR_INV_PARAMETER;
        *pbReady = FALSE;
        for (const UINT format : libraryState().clipboardFormats)
            if (IsClipboardFormatAvailable(format)) {
                *pbReady = TRUE;
                break;
            }
        return SUCCESS;
    });
}

} // extern "C"
