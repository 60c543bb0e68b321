// The traversal, the state that every object's drawing sets up and takes down, and what lies on top of an object: handles,
// locked icon, name.
#include "contracts/raster_kernel.h"
#include "kbann/drawing.h"
#include "kbann/object_types.h"
#include "render/drawing.h"
#include "store/handles.h"
#include "store/library.h"

#include <algorithm>

namespace kbann {
namespace {

constexpr int32_t maxPenWidth = 32'000;

// Patterns 1 to 6.
constexpr int hatchStyles[] = {HS_BDIAGONAL, HS_CROSS, HS_DIAGCROSS, HS_FDIAGONAL, HS_HORIZONTAL, HS_VERTICAL};

HPEN makePen(const AnnObject& record, const AnnMatrix& matrix) {
    const int32_t width = std::min(annRound(annScale(record.dLineWidth, matrix)), maxPenWidth);
    const uint32_t style = record.nLineStyle <= ANN_LINE_NULL ? record.nLineStyle : uint32_t{ANN_LINE_SOLID};
    return CreatePen(static_cast<int>(style), width > 1 ? width : 0, record.crFore);
}

HBRUSH makeBrush(const AnnObject& record) {
    if (record.nFillPattern >= 1 && record.nFillPattern <= std::size(hatchStyles))
        return CreateHatchBrush(hatchStyles[record.nFillPattern - 1], record.crFore);
    if (record.nFillMode != ANN_FILLMODE_TRANSPARENT) return CreateSolidBrush(record.crBack);
    constexpr LOGBRUSH hollow{BS_NULL, 0, 0};
    return CreateBrushIndirect(&hollow);
}

// Seven by seven pixels around each handle, whatever the object's own modes.
void drawHandles(HDC hDC, const RECT& clip, const AnnObject& record) {
    const int saved = SaveDC(hDC);
    IntersectClipRect(hDC, clip.left, clip.top, clip.right, clip.bottom);
    SelectObject(hDC, GetStockObject(BLACK_PEN));
    SelectObject(hDC, GetStockObject(WHITE_BRUSH));
    SetROP2(hDC, R2_COPYPEN);
    for (uint32_t i = record.nHandles; i-- > 0;) {
        const POINT& p = record.pHandles[i];
        Rectangle(hDC, annAdd(p.x, -3), annAdd(p.y, -3), annAdd(p.x, 4), annAdd(p.y, 4));
    }
    RestoreDC(hDC, saved);
}

void drawLockedIcon(const Drawing& d) {
    const AnnObject& record = d.record;
    const bool hotspot = record.nType == ANN_OBJECT_HOTSPOT || record.nType == ANN_OBJECT_FREEHANDHOTSPOT;
    if (!record.bShowLockedIcon || (hotspot && record.nUserMode == ANN_USERMODE_RUN)) return;
    const KernelBitmap& icon = libraryState().lockedIcon;
    if (!icon.Allocated) return;
    const DrawBracket bracket(d.hDC, d.clip, record, d.matrix);
    if (!bracket) return;
    RECT place;
    annDeviceRect(record, d.matrix, place, nullptr, 0);
    const AnnMatrix& m = d.matrix;
    const double w = icon.Width, h = icon.Height;
    place.right = annAdd(place.left, annRound(w * m.a + h * m.b));
    place.bottom = annAdd(place.top, annRound(w * m.c + h * m.d));
    K_PaintBitmapRgn(d.hDC, &icon, nullptr, nullptr, &place, &d.clip, SRCCOPY);
}

void drawName(const Drawing& d) {
    const AnnObject& record = d.record;
    const DrawBracket bracket(d.hDC, d.clip, record, d.matrix);
    if (!bracket) return;
    const FontSelection font(d.hDC, annMakeFont(d.matrix, record, 0));
    if (!font) return;
    SetTextAlign(d.hDC, TA_LEFT | TA_TOP);
    RECT bounds, name;
    annDeviceRect(record, d.matrix, bounds, &name, 0);
    TextOutA(d.hDC, name.left, name.top, record.pszName.c_str(), static_cast<int>(record.pszName.length()));
}

bool drawByType(const Drawing& d) {
    switch (d.record.nType) {
    case ANN_OBJECT_CONTAINER:
    case ANN_OBJECT_HILITE:
    case ANN_OBJECT_RECT:
    case ANN_OBJECT_REDACT: return annDrawRectShape(d);
    case ANN_OBJECT_POINTER: return annDrawPointer(d);
    case ANN_OBJECT_BUTTON: return annDrawButton(d);
    case ANN_OBJECT_ELLIPSE: return annDrawEllipse(d);
    case ANN_OBJECT_FREEHAND:
    case ANN_OBJECT_LINE:
    case ANN_OBJECT_POLYLINE: return annDrawOpenLine(d);
    case ANN_OBJECT_POLYGON: return annDrawPolygon(d);
    case ANN_OBJECT_NOTE: return annDrawNote(d);
    case ANN_OBJECT_TEXT: return annDrawText(d);
    case ANN_OBJECT_POINT: return annDrawPoint(d);
    case ANN_OBJECT_PUSHPIN: return annDrawPushpin(d);
    case ANN_OBJECT_STAMP: return annDrawStamp(d);
    case ANN_OBJECT_AUDIO: return annDrawAudio(d);
    case ANN_OBJECT_VIDEO: return annDrawVideo(d);
    case ANN_OBJECT_HOTSPOT: return annDrawHotspot(d);
    case ANN_OBJECT_FREEHANDHOTSPOT: return annDrawFreehandHotspot(d);
    case ANN_OBJECT_RULER:
    case ANN_OBJECT_CROSSPRODUCT:
    case ANN_OBJECT_PROTRACTOR: return annDrawMeasurement(d);
    case ANN_OBJECT_AUTOMATION: return true;
    }
    return false;
}

void drawWithAttachments(HDC hDC, const RECT& clip, AnnObject& record) {
    if (!annIsDrawable(record, record.xfToClient)) return;
    const Drawing d{hDC, clip, record, record.xfToClient};
    annDrawObject(d);
    if (record.bSelected && record.nUserMode == ANN_USERMODE_DESIGN) drawHandles(hDC, clip, record);
    if (record.pszLockKey) drawLockedIcon(d);
}

} // namespace

bool annBeginDraw(HDC hDC, const RECT& clip, const AnnObject& record, DrawTools& tools, const AnnMatrix& matrix) {
    tools.saved = SaveDC(hDC);
    IntersectClipRect(hDC, clip.left, clip.top, clip.right, clip.bottom);
    tools.pen = makePen(record, matrix);
    tools.brush = makeBrush(record);
    SetBrushOrgEx(hDC, record.ptBrushOrg.x, record.ptBrushOrg.y, nullptr);
    if (tools.pen) SelectObject(hDC, tools.pen);
    if (tools.brush) SelectObject(hDC, tools.brush);
    SetTextColor(hDC, record.crFore);
    SetBkColor(hDC, record.crBack);
    SetBkMode(hDC, record.nFillMode == ANN_FILLMODE_TRANSPARENT ? TRANSPARENT : OPAQUE);
    SetROP2(hDC, record.nROP2 == ANN_ROP2_AND ? R2_MASKPEN : record.nROP2 == ANN_ROP2_XOR ? R2_XORPEN : R2_COPYPEN);
    SetPolyFillMode(hDC, record.nPolyFillMode ? ALTERNATE : WINDING);
    return tools.pen && tools.brush;
}

void annEndDraw(HDC hDC, const DrawTools& tools) {
    RestoreDC(hDC, tools.saved);
    if (tools.pen) DeleteObject(tools.pen);
    if (tools.brush) DeleteObject(tools.brush);
}

bool annDrawObject(const Drawing& d) {
    if (!annIsDrawable(d.record, d.matrix) || !drawByType(d)) return false;
    if (annShowsName(d.record)) drawName(d);
    return true;
}

int annDrawList(HDC hDC, const RECT* pRect, AnnObject* first) {
    RECT clips[maxTreeDepth + 1]; // of the list on each level
    clips[0] = pRect ? *pRect : first->rcInvalid;
    uint32_t level = 0;
    for (AnnObject* record = first;;) {
        const RECT clip = record->bVisible ? annIntersect(clips[level], record->rcInvalid) : RECT{};
        if (!annIsEmpty(clip)) {
            drawWithAttachments(hDC, clip, *record);
            if (record->pFirstChild && level < maxTreeDepth) {
                clips[++level] = clip;
                record = record->pFirstChild;
                continue;
            }
        }
        while (!record->pNext) {
            if (level-- == 0) return SUCCESS;
            record = record->pParent;
        }
        record = record->pNext;
    }
}

} // namespace kbann

int K_AnnDraw(HDC hDC, const RECT* pRect, HANNOBJECT hObject) {
    return kbann::exported([&]() -> int {
        kbann::AnnObject* record = kbann::annFromHandle(hObject);
        return record ? kbann::annDrawList(hDC, pRect, record) : ERROR_INV_PARAMETER;
    });
}
