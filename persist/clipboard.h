// Trees and pictures of them on the clipboard.
#pragma once

#include "kbann/types.h"
#include "persist/native_form.h"

namespace kbann {

// Puts an object on the clipboard, as a stream (ANN_FMT_NATIVE, ANN_FMT_ENCODED) or as a picture (ANN_FMT_WMF). bEmpty: what is
// there goes first, also when the form is then refused. ERROR_INV_PARAMETER, ERROR_FAILURE (it can't be opened),
// ERROR_FEATURE_NOT_SUPPORTED (another form), ERROR_NO_MEMORY, and those of a save to memory.
int annCopyToClipboard(HANNOBJECT hObject, uint32_t uFormat, const WriteFilter& filter, bool bEmpty);
// The same, and what has been taken is destroyed. What the menu item isn't enabled for stays, whether or not the filter asks,
// unless it lies in a container that goes.
int annCutToClipboard(HANNOBJECT hObject, uint32_t uFormat, const WriteFilter& filter, bool bEmpty);
int annCopyFromClipboard(HWND hWnd, HANNOBJECT* phObject);

} // namespace kbann
