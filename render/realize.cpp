// Printing a tree on any context, realizing it into the pixels of an image, and taking redactions out again. What a redaction
// covers is kept in it as stored pixels and goes back bit for bit, so that the image is what it was whatever its depth,
// palette and perspective.
#include "render/realize.h"
#include "contracts/raster_kernel.h"
#include "kbann/realizing.h"
#include "store/library.h"

#include <algorithm>
#include <cstdlib>

namespace kbann {
namespace {

// Visits visible objects in drawing order; a result other than SUCCESS ends the walk and is the result.
template <class Visit> int walkVisible(AnnObject& first, bool bSiblings, Visit&& visit) {
    const AnnObject* above = first.pParent;
    for (AnnObject* record = &first;;) {
        if (record->bVisible) {
            if (const int code = visit(*record); code != SUCCESS) return code;
            if (record->pFirstChild) {
                record = record->pFirstChild;
                continue;
            }
        }
        for (;;) {
            if (record == &first && !bSiblings) return SUCCESS;
            if (record->pNext) break;
            record = record->pParent;
            if (record == above) return SUCCESS;
        }
        record = record->pNext;
    }
}

int64_t widthOf(const RECT& r) { return int64_t{r.right} - r.left; }
int64_t heightOf(const RECT& r) { return int64_t{r.bottom} - r.top; }

bool isRedaction(const AnnObject& record, const AnnMatrix& matrix) {
    return record.nType == ANN_OBJECT_REDACT && annIsDrawable(record, matrix);
}

RECT viewOf(const KernelBitmap& bitmap) {
    RECT view{};
    K_GetBitmapViewSize(&bitmap, &view.right, &view.bottom);
    return view;
}

// An object, an image, and how the one comes onto the other.
struct Fitting {
    KernelBitmap& image;
    AnnObject& object;
    RECT target;
    AnnMatrix matrix;
    bool bSiblings;

    Fitting(KernelBitmap& bitmap, const RECT* pRect, AnnObject& record)
        : image(bitmap), object(record), target(pRect ? *pRect : RECT{0, 0, bitmap.Width, bitmap.Height}),
          bSiblings(record.isContainer()) {
        const AnnObject& reference = !bSiblings && record.pParent ? *record.pParent : record;
        matrix = annFitMatrix(reference.rcBounds, target);
    }

    // Box of a redaction in viewed pixels, not cut to the image.
    RECT boxOf(const AnnObject& redaction) const { return annShapeBounds(redaction, annMul(redaction.xfToClient, matrix)); }
};

bool isUsable(const KernelBitmap* pBitmap) {
    return pBitmap && pBitmap->Allocated && pBitmap->pPixels && !pBitmap->Borrowed;
}

bool isDeepGrey(const KernelBitmap& image) {
    return (image.BitsPerPixel == 12 || image.BitsPerPixel == 16) && K_IsGrayscaleBitmap(&image);
}

// Pixels that a redaction holds already aren't overwritten: they are older than the box that was drawn since. One that lies
// beside the image covers nothing and has nothing to keep.
int keepCovered(const Fitting& fit) {
    return walkVisible(fit.object, fit.bSiblings, [&](AnnObject& record) -> int {
        if (!isRedaction(record, fit.matrix) || record.bitmap.Allocated) return SUCCESS;
        RECT box = annIntersect(fit.boxOf(record), viewOf(fit.image));
        if (annIsEmpty(box)) return SUCCESS;
        K_RectToBitmapView(&fit.image, 0, &box);
        KernelBitmap covered{};
        const int code =
            K_CopyBitmapRect(&covered, &fit.image, box.left, box.top, box.right - box.left, std::abs(box.bottom - box.top));
        if (code != SUCCESS) return code;
        K_FreeBitmap(&record.bitmap);
        record.bitmap = covered;
        return SUCCESS;
    });
}

int realize(const Fitting& fit, bool bRedactOnly) {
    if (bRedactOnly) {
        const int code = keepCovered(fit);
        if (code != SUCCESS) return code;
    }
    if (isDeepGrey(fit.image)) return ERROR_INV_PARAMETER;
    const HDC hDC = K_BitmapDC(&fit.image);
    if (!hDC) return ERROR_NO_MEMORY;
    annDrawTree(hDC, &fit.target, fit.object, &fit.matrix, {.bRedactOnly = bRedactOnly, .bSiblings = fit.bSiblings});
    return K_ReleaseBitmapDC(hDC);
}

// A context on the image that is there only while something has to be painted: between two paintings pixels may be written
// straight into the image.
class ImageContext {
public:
    explicit ImageContext(KernelBitmap& image) : image_(image) {}
    ~ImageContext() { close(); }
    ImageContext(const ImageContext&) = delete;
    ImageContext& operator=(const ImageContext&) = delete;
    HDC open() { return hDC_ ? hDC_ : hDC_ = K_BitmapDC(&image_); }
    int close() {
        const HDC hDC = std::exchange(hDC_, nullptr);
        return hDC ? K_ReleaseBitmapDC(hDC) : SUCCESS;
    }

private:
    KernelBitmap& image_;
    HDC hDC_ = nullptr;
};

// Back where they were taken from, if they still fit there: painting would go by colours, and lose which of two equal
// palette entries a pixel had, or its fourth byte. ERROR_FEATURE_NOT_SUPPORTED if they don't.
int pasteBack(const Fitting& fit, const KernelBitmap& kept, const RECT& place) {
    const auto viewed = [](const KernelBitmap& b) { return b.ViewPerspective ? b.ViewPerspective : int{KB_VIEW_TOP_LEFT}; };
    const RECT& t = fit.target; // a mirrored fit has its sides swapped
    const RECT shown{std::min(t.left, t.right), std::min(t.top, t.bottom), std::max(t.left, t.right),
                     std::max(t.top, t.bottom)};
    RECT stored = place, seen = annIntersect(place, annIntersect(shown, viewOf(fit.image)));
    K_RectToBitmapView(&fit.image, 0, &stored);
    if (viewed(kept) != viewed(fit.image) || widthOf(stored) != kept.Width || heightOf(stored) != kept.Height)
        return ERROR_FEATURE_NOT_SUPPORTED;
    if (annIsEmpty(seen)) return SUCCESS;
    K_RectToBitmapView(&fit.image, 0, &seen);
    KernelBitmap part{}; // what the target shows of it
    int code = widthOf(seen) == widthOf(stored) && heightOf(seen) == heightOf(stored)
                   ? K_CopyBitmap(&part, &kept)
                   : K_CopyBitmapRect(&part, &kept, seen.left - stored.left, seen.top - stored.top, seen.right - seen.left,
                                      seen.bottom - seen.top);
    if (code == SUCCESS) code = K_PasteBitmapRect(&fit.image, &part, seen.left, seen.top);
    K_FreeBitmap(&part);
    return code == ERROR_INV_PARAMETER ? int{ERROR_FEATURE_NOT_SUPPORTED} : code; // another depth or palette
}

int giveBack(const Fitting& fit, AnnObject& record, ImageContext& context) {
    const RECT box = fit.boxOf(record), cut = annIntersect(box, viewOf(fit.image)), kept = viewOf(record.bitmap);
    // A box that reached beyond the image has kept the part on it.
    const bool isCut = widthOf(kept) == widthOf(cut) && heightOf(kept) == heightOf(cut);
    const RECT place = isCut ? cut : box;
    int code = context.close();
    if (code != SUCCESS) return code;
    code = pasteBack(fit, record.bitmap, place);
    if (code == ERROR_FEATURE_NOT_SUPPORTED) {
        const HDC hDC = context.open();
        if (!hDC) return ERROR_NO_MEMORY;
        const PaintSettings settings(hDC, record.bitmap);
        code = K_PaintBitmap(hDC, &record.bitmap, nullptr, nullptr, &place, &fit.target, SRCCOPY);
    }
    if (code == SUCCESS) K_FreeBitmap(&record.bitmap);
    return code;
}

int unrealize(const Fitting& fit, bool bSelected) {
    if (isDeepGrey(fit.image)) return ERROR_INV_PARAMETER;
    ImageContext context(fit.image);
    bool anyLocked = false;
    int code = walkVisible(fit.object, fit.bSiblings, [&](AnnObject& record) -> int {
        if (!isRedaction(record, fit.matrix) || (bSelected && !record.bSelected) || !record.bitmap.Allocated) return SUCCESS;
        if (!record.pszLockKey) return giveBack(fit, record, context);
        anyLocked = true;
        return SUCCESS;
    });
    const int closed = context.close();
    if (code == SUCCESS) code = closed;
    return code == SUCCESS && anyLocked ? int{ERROR_ANN_LOCKED} : code;
}

} // namespace

AnnMatrix annFitMatrix(const RECT& bounds, const RECT& target) {
    const auto scale = [](int64_t to, int64_t from) { return from ? double(std::abs(to)) / double(std::abs(from)) : 1.0; };
    const int64_t width = widthOf(target);
    const double x = width < 0 ? -scale(width, widthOf(bounds)) : scale(width, widthOf(bounds));
    const double y = scale(heightOf(target), heightOf(bounds));
    return {x, 0, 0, y, target.left - bounds.left * x, target.top - bounds.top * y};
}

void annDrawTree(HDC hDC, const RECT* pRect, AnnObject& first, const AnnMatrix* pMatrix, const TreeChoice& choice) {
    const RECT clip = pRect ? *pRect : first.rcBounds;
    const AnnMatrix matrix = pMatrix ? *pMatrix : annFitMatrix(first.rcBounds, clip);
    walkVisible(first, choice.bSiblings, [&](AnnObject& record) -> int {
        if ((choice.bSelected && !record.bSelected) || (choice.bRedactOnly && record.nType != ANN_OBJECT_REDACT) ||
            (choice.nMenuItem != noMenuItem && !annMenuItemEnabled(record, choice.nMenuItem)))
            return SUCCESS;
        annDrawObject({hDC, clip, record, annMul(record.xfToClient, matrix)});
        return SUCCESS;
    });
}

} // namespace kbann

using namespace kbann;

int K_AnnPrint(HDC hDC, const RECT* pRect, HANNOBJECT hObject) {
    return exported([&]() -> int {
        AnnObject* record = annFromHandle(hObject);
        if (!record) return ERROR_INV_PARAMETER;
        annDrawTree(hDC, pRect, *record, nullptr, {.bSiblings = record->isContainer()});
        return SUCCESS;
    });
}

int K_AnnRealize(KernelBitmap* pBitmap, const RECT* pRect, HANNOBJECT hObject, BOOL bRedactOnly) {
    return exported([&]() -> int {
        AnnObject* record = annFromHandle(hObject);
        if (!record || !isUsable(pBitmap)) return ERROR_INV_PARAMETER;
        return realize({*pBitmap, pRect, *record}, bRedactOnly != 0);
    });
}

int K_AnnUnrealize(KernelBitmap* pBitmap, const RECT* pRect, HANNOBJECT hObject, BOOL bSelected) {
    return exported([&]() -> int {
        AnnObject* record = annFromHandle(hObject);
        if (!record || !isUsable(pBitmap)) return ERROR_INV_PARAMETER;
        return unrealize({*pBitmap, pRect, *record}, bSelected != 0);
    });
}
