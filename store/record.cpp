// Making, copying and freeing of records. Defaults stand in tables where types differ.
#include "store/record.h"
#include "contracts/raster_kernel.h"
#include "kbann/auto_text.h"
#include "kbann/objects.h"
#include "platform/user.h"
#include "store/handles.h"
#include "store/library.h"
#include "store/record_pool.h"
#include "store/units.h"

#include <new>

namespace kbann {
namespace {

constexpr COLORREF yellow = 0x00FFFF;
constexpr COLORREF firstCustomColors[16] = {0x000000, 0x000080, 0x008000, 0x008080, 0x800000, 0x800080, 0x808000, 0x808080,
                                            0xC0C0C0, 0x0000FF, 0x00FF00, 0x00FFFF, 0xFF0000, 0xFF00FF, 0xFFFF00, 0xFFFFFF};

int copyOwnedBitmap(KernelBitmap& target, const KernelBitmap& source) {
    target = {};
    if (!source.Allocated) return SUCCESS;
    int code = K_CopyBitmap(&target, &source);
    if (code == SUCCESS) code = K_PrepareOwnedBitmap(&target, 1);
    if (code != SUCCESS) K_FreeBitmap(&target);
    return code;
}

template <class Part> bool makePart(std::unique_ptr<Part>& part) {
    part.reset(new (std::nothrow) Part);
    return part != nullptr;
}

template <class Part> bool copyPart(std::unique_ptr<Part>& copy, const std::unique_ptr<Part>& source) {
    if (!source) return true;
    if (!makePart(copy)) return false;
    *copy = *source;
    return true;
}

bool makeFamilyParts(AnnObject& record) {
    switch (record.nType) {
    case ANN_OBJECT_PUSHPIN: return makePart(record.pPushpin);
    case ANN_OBJECT_RULER:
    case ANN_OBJECT_CROSSPRODUCT:
    case ANN_OBJECT_PROTRACTOR: return makePart(record.pMeasure);
    case ANN_OBJECT_AUTOMATION: return makePart(record.pAutomation);
    default: return true;
    }
}

// What the family's side record begins with.
void initFamilyPart(AnnObject& record) {
    const auto& library = libraryState();
    switch (record.nType) {
    case ANN_OBJECT_PUSHPIN:
        if (!record.bitmap.Allocated) copyOwnedBitmap(record.bitmap, library.defaultPushpin);
        copyOwnedBitmap(record.pPushpin->bitmap2, library.defaultPushpin2);
        break;
    case ANN_OBJECT_RULER:
    case ANN_OBJECT_CROSSPRODUCT:
        record.pMeasure->dGaugeLengthCopy = 30.0;
        record.dBitmapDpiX = record.dBitmapDpiY = defaultMeasureDpi;
        break;
    case ANN_OBJECT_AUTOMATION:
        std::ranges::copy(firstCustomColors, record.pAutomation->crCustomColors.begin());
        record.pAutomation->pszAutoButtonFont = library.textDialogFace;
        annMakeDialogFont(record);
        break;
    default: break;
    }
}

void freeAutomation(AutomationPart& part) {
    K_FreeMetafile(&part.autoHotspotMetafile);
    for (const uint32_t handle : part.pUndoStack)
        if (AnnObject* snapshot = annFromHandle(handle)) annFreeTree(snapshot);
    if (part.hAutoDlgFont) DeleteObject(part.hAutoDlgFont);
}

void freeFamilyParts(AnnObject& record) {
    if (record.pPushpin) K_FreeBitmap(&record.pPushpin->bitmap2);
    if (record.pAutomation) freeAutomation(*record.pAutomation);
    record.pPushpin.reset();
    record.pMeasure.reset();
    record.pAutomation.reset();
}

} // namespace

AnnObject* annNewRecord(uint32_t nType) noexcept {
    void* place = annPoolTake();
    if (!place) return nullptr;
    auto* record = new (place) AnnObject;
    record->nType = nType;
    record->hSelf = makeFamilyParts(*record) ? annObjectTable().add(record) : 0;
    if (record->hSelf) return record;
    record->~AnnObject();
    annPoolGive(place);
    return nullptr;
}

void annInitDefaults(AnnObject& record) noexcept {
    const auto& library = libraryState();
    record.dFontSize = library.dDefaultFontSize;
    record.pHandles.reset(4);
    record.pszUnitAbbrev = library.textMillimetres;
    record.pszAngleAbbrev = library.textDegree;
    initFamilyPart(record);

    switch (record.nType) {
    case ANN_OBJECT_CONTAINER:
        record.nLineStyle = ANN_LINE_NULL;
        record.dLineWidth = 0.0;
        break;
    case ANN_OBJECT_BUTTON:
        record.pszFontName = library.textDialogFace;
        record.crBack = GetSysColor(COLOR_BTNFACE);
        break;
    case ANN_OBJECT_HILITE:
        record.crBack = yellow;
        record.nFillMode = ANN_FILLMODE_TRANSLUCENT;
        record.nLineStyle = ANN_LINE_NULL;
        record.nROP2 = ANN_ROP2_AND;
        break;
    case ANN_OBJECT_PUSHPIN: record.bTransparent = 1; [[fallthrough]];
    case ANN_OBJECT_NOTE:
        record.pszFontName = library.textArial;
        record.crBack = yellow;
        record.nFillMode = ANN_FILLMODE_OPAQUE;
        record.nLineStyle = ANN_LINE_NULL;
        break;
    case ANN_OBJECT_REDACT:
        record.crBack = 0;
        record.crFore = 0xFFFFFF;
        record.nFillMode = ANN_FILLMODE_OPAQUE;
        record.nLineStyle = ANN_LINE_NULL;
        break;
    case ANN_OBJECT_TEXT: record.pszFontName = library.textArial; break;
    case ANN_OBJECT_AUTOMATION:
        record.pszFontName = library.textArial;
        record.crFore = 0x0000FF;
        break;
    case ANN_OBJECT_RULER:
    case ANN_OBJECT_CROSSPRODUCT: record.pszFontName = library.textArial; break;
    case ANN_OBJECT_POINT:
        copyOwnedBitmap(record.bitmap, library.defaultPoint);
        record.bTransparent = 1;
        break;
    case ANN_OBJECT_PROTRACTOR:
        record.pszFontName = library.textArial;
        record.uShowFlags = 0;
        break;
    case ANN_OBJECT_POINTER:
    case ANN_OBJECT_AUDIO:
    case ANN_OBJECT_ELLIPSE:
    case ANN_OBJECT_FREEHAND:
    case ANN_OBJECT_HOTSPOT:
    case ANN_OBJECT_LINE:
    case ANN_OBJECT_POLYGON:
    case ANN_OBJECT_POLYLINE:
    case ANN_OBJECT_RECT:
    case ANN_OBJECT_STAMP:
    case ANN_OBJECT_VIDEO:
    case ANN_OBJECT_FREEHANDHOTSPOT: break;
    }
}

bool annSetType(AnnObject& record, uint32_t nType) noexcept {
    if (record.nType == nType) return true;
    freeFamilyParts(record);
    record.nType = nType;
    if (!makeFamilyParts(record)) {
        record.nType = ANN_OBJECT_RECT; // a type without side records
        return false;
    }
    initFamilyPart(record);
    return true;
}

void annMakeDialogFont(AnnObject& automation) noexcept {
    AutomationPart& part = *automation.pAutomation;
    if (part.hAutoDlgFont) DeleteObject(part.hAutoDlgFont);
    const Text& own = part.pszAutoText ? (*part.pszAutoText)[ANN_AUTOTEXT_DIALOG_FONT] : libraryState().textDialogFace;
    const char* face = own ? own.c_str() : libraryState().textDialogFace.c_str();
    part.hAutoDlgFont =
        CreateFontA(static_cast<int>(part.uAutoDlgFontSize), 0, 0, 0, FW_NORMAL, 0, 0, 0, DEFAULT_CHARSET,
                    OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY, DEFAULT_PITCH | FF_DONTCARE, face);
}

namespace {

int copyPoints(AnnObject& copy, const AnnObject& source) {
    const uint32_t handles = source.pPoints.empty() ? 4 : std::max(source.nPoints(), 5u);
    if (!copy.pPoints.assign({source.pPoints.data(), source.nPoints()}) || !copy.pHandles.reset(handles))
        return ERROR_NO_MEMORY;
    copy.nHandles = std::min({source.nHandles, source.pHandles.size(), handles});
    std::copy_n(source.pHandles.data(), copy.nHandles, copy.pHandles.data());
    return SUCCESS;
}

// The copy owns what it frees: texts and metafile come along, the window procedure and the open menu stay behind.
int copyAutomation(AutomationPart& copy, const AutomationPart& source) {
    copy.dDpiX = source.dDpiX;
    copy.dDpiY = source.dDpiY;
    copy.hAutoContainer = source.hAutoContainer;
    copy.uAutoFlags = source.uAutoFlags;
    copy.hAutoObject = source.hAutoObject;
    copy.nTool = source.nTool;
    copy.crCustomColors = source.crCustomColors;
    if (!copyPart(copy.pszAutoText, source.pszAutoText) || !copyPart(copy.pTypeMenus, source.pTypeMenus))
        return ERROR_NO_MEMORY;
    copy.crNoteBack = source.crNoteBack;
    copy.crHiliteBack = source.crHiliteBack;
    copy.crRedactBack = source.crRedactBack;
    copy.pszAutoButtonFont = source.pszAutoButtonFont;
    copy.uAutoProtractorShow = source.uAutoProtractorShow;
    copy.uAutoDlgFontSize = source.uAutoDlgFontSize;
    int code = K_CopyMetafile(&copy.autoHotspotMetafile, &source.autoHotspotMetafile);
    if (code != SUCCESS) return code;
    try {
        copy.pUndoStack.assign(source.pUndoStack.size(), 0);
    } catch (const std::bad_alloc&) {
        return ERROR_NO_MEMORY;
    }
    copy.nUndoDepth = source.nUndoDepth;
    for (size_t i = 0; i < source.pUndoStack.size() && source.pUndoStack[i]; ++i) {
        const AnnObject* snapshot = annFromHandle(source.pUndoStack[i]);
        const AnnObject* made = snapshot ? annCopyTree(*snapshot, code) : nullptr;
        if (!made) return ERROR_NO_MEMORY;
        copy.pUndoStack[i] = made->hSelf;
    }
    return SUCCESS;
}

int copyOwned(AnnObject& copy, const AnnObject& source) {
    int code = copyPoints(copy, source);
    if (code == SUCCESS) code = copyOwnedBitmap(copy.bitmap, source.bitmap);
    if (code == SUCCESS) code = K_CopyMetafile(&copy.metafile, &source.metafile);
    if (code == SUCCESS && source.pPushpin) code = copyOwnedBitmap(copy.pPushpin->bitmap2, source.pPushpin->bitmap2);
    if (source.pMeasure) *copy.pMeasure = *source.pMeasure;
    if (code == SUCCESS && !copyPart(copy.pItemMenu, source.pItemMenu)) code = ERROR_NO_MEMORY;
    if (code == SUCCESS && source.pAutomation) {
        code = copyAutomation(*copy.pAutomation, *source.pAutomation);
        annMakeDialogFont(copy);
    }
    return code;
}

} // namespace

AnnObject* annCopyRecord(const AnnObject& source, int& code) noexcept {
    AnnObject* copy = annNewRecord(source.nType);
    code = copy ? SUCCESS : ERROR_NO_MEMORY;
    if (!copy) return nullptr;
    static_cast<AnnValues&>(*copy) = source;
    code = copyOwned(*copy, source);
    if (code == SUCCESS) return copy;
    annFreeRecord(copy);
    return nullptr;
}

AnnObject* annCopyTree(const AnnObject& source, int& code) noexcept {
    AnnObject* root = annCopyRecord(source, code);
    if (!root) return nullptr;
    AnnObject* parent = root; // copy of from's parent
    const AnnObject* from = source.pFirstChild;
    while (from) {
        AnnObject* copy = annCopyRecord(*from, code);
        if (!copy) {
            annFreeTree(root);
            return nullptr;
        }
        copy->pParent = parent;
        copy->pPrev = parent->pLastChild;
        (copy->pPrev ? copy->pPrev->pNext : parent->pFirstChild) = copy;
        parent->pLastChild = copy;
        if (from->pFirstChild) {
            parent = copy;
            from = from->pFirstChild;
            continue;
        }
        while (!from->pNext && from->pParent != &source) {
            from = from->pParent;
            parent = parent->pParent;
        }
        from = from->pNext;
    }
    return root;
}

void annFreeRecord(AnnObject* record) noexcept {
    if (!record) return;
    annObjectTable().remove(record->hSelf);
    K_FreeBitmap(&record->bitmap);
    K_FreeMetafile(&record->metafile);
    freeFamilyParts(*record);
    record->~AnnObject();
    annPoolGive(record);
}

void annFreeTree(AnnObject* top) noexcept {
    AnnObject* record = top;
    while (record) {
        if (AnnObject* child = record->pFirstChild) {
            record = child;
            continue;
        }
        AnnObject* parent = record == top ? nullptr : record->pParent;
        if (parent) parent->pFirstChild = record->pNext;
        annFreeRecord(record);
        record = parent;
    }
}

} // namespace kbann
