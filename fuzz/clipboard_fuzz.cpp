// Fuzz target of the clipboard: what another program may have put there under any of the three names is pasted; what that
// gives is copied and cut in every form, and the pictures are played. The first byte chooses the name and the forms.
#include "fuzz/metafile_places.h"
#include "fuzz/stored_round.h"

#include "contracts/raster_io.h"
#include "platform/handle_table.h"
#include "platform/user.h"

#include <array>

namespace {

using stored_round::require;

void put(UINT format, const uint8_t* data, size_t size) {
    const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, size);
    require(block);
    std::memcpy(GlobalLock(block), data, size);
    GlobalUnlock(block);
    require(OpenClipboard(nullptr) && EmptyClipboard() && SetClipboardData(format, block) && CloseClipboard());
}

HANNOBJECT paste() {
    HANNOBJECT pasted = nullptr;
    const int code = K_AnnCopyFromClipboard(nullptr, &pasted);
    require(code == SUCCESS || !pasted);
    return pasted;
}

// The picture on the clipboard, as another program would show it.
void playPicture() {
    require(OpenClipboard(nullptr));
    const auto block = static_cast<HGLOBAL>(GetClipboardData(CF_METAFILEPICT));
    require(block && GlobalSize(block) >= sizeof(METAFILEPICT));
    METAFILEPICT picture{};
    std::memcpy(&picture, GlobalLock(block), sizeof picture);
    GlobalUnlock(block);
    fuzz::playOnPixels([&picture](HDC dc) { PlayMetaFile(dc, kb::toHandle<HMETAFILE>(picture.hMF)); });
    CloseClipboard();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2 || size > 1 << 16) return 0;
    constexpr auto names =
        std::to_array<const char*>({"KITEBENCH 11.0 Annotation", "KITEBENCH 10.0 Annotation", "KITEBENCH 9.0 Annotation"});
    const uint8_t choice = data[0];
    const uint32_t form = choice & 4 ? ANN_FMT_NATIVE : ANN_FMT_ENCODED;
    const BOOL selected = (choice & 8) != 0, checkMenu = (choice & 16) != 0;
    K_SetLinkedFilePolicy(0);
    K_SetPixelLimit(1 << 16); // larger images find nothing new and cost time
    put(RegisterClipboardFormatA(names[(choice & 3) % names.size()]), data + 1, size - 1);
    const HANNOBJECT pasted = paste();
    if (!pasted) return 0;

    require(K_AnnCopyToClipboard(pasted, form, FALSE, TRUE, FALSE) == SUCCESS);
    const HANNOBJECT copied = paste();
    require(copied);
    constexpr double drawnSide = 2000; // large turned pictures take seconds, and find nothing new
    if (stored_round::liesWithin(pasted, drawnSide)) {
        require(K_AnnCopyToClipboard(pasted, ANN_FMT_WMF, selected, FALSE, checkMenu) == SUCCESS);
        playPicture();
    }

    // A cut takes one of two trees; what it leaves can be copied as before.
    if (selected) K_AnnSetSelected(copied, TRUE, ANN_FLAG_RECURSE);
    const int cut = K_AnnCutToClipboard(copied, form, selected, TRUE, checkMenu);
    uint32_t type = 0;
    if (K_AnnGetType(copied, &type) == SUCCESS) {
        require(K_AnnCopyToClipboard(copied, form, FALSE, TRUE, FALSE) == SUCCESS);
        K_AnnDestroy(copied, 0);
    }
    require(cut == SUCCESS);
    if (const HANNOBJECT last = paste()) K_AnnDestroy(last, 0);
    K_AnnDestroy(pasted, 0);
    return 0;
}
