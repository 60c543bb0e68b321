// The single record behind every handle. Behaviour is chosen by switches on nType; which properties a type has is told by
// type lists. What few objects need hangs off the record in side records, so that a plain rectangle stays under 1 KiB.
// Derived fields (marked so) hold values after the first annUpdate.
#pragma once

#include "contracts/raster_kernel.h"
#include "kbann/constants.h"
#include "kbann/types.h"
#include "store/small_array.h"
#include "store/text.h"

#include <array>
#include <memory>
#include <vector>

namespace kbann {

inline constexpr uint32_t objectTypeCount = ANN_OBJECT_LAST;
inline constexpr uint32_t menuItemCount = 299;
inline constexpr uint32_t menuTableBytes = 38;
inline constexpr uint32_t maxTreeDepth = 512;

// Of a pushpin: the picture shown while it is closed.
struct PushpinPart {
    KernelBitmap bitmap2{};
};

// Of a ruler, cross product or protractor: what was measured and where its texts stand. All derived.
struct MeasurePart {
    Text pszAngle;
    RECT rcAngleText{};
    double dAngle = 0;
    Text pszDistance;
    RECT rcDistanceText{};
    double dDistance = 0;
    Text pszDistance2;
    RECT rcDistance2Text{};
    double dDistance2 = 0;
    double dGaugeLengthCopy = 0; // under the drawing matrix once drawn
};

using MenuTable = std::array<uint8_t, menuTableBytes>;

// The menu bits that an automation has for each object type.
struct TypeMenus {
    std::array<MenuTable, objectTypeCount> menuEnable{}, menuEnableMask{};
};

// Of an automation: the state of the interaction with one window. The record's common fields are the defaults that new
// objects take.
struct AutomationPart {
    double dDpiX = 0, dDpiY = 0;
    uint32_t hAutoContainer = 0;
    uint32_t uAutoFlags = 56; // menu, drawing and undo allowed
    uint32_t hAutoObject = 0;
    uint32_t nTool = 0;
    std::array<COLORREF, 16> crCustomColors{};
    std::vector<uint32_t> pUndoStack; // handles of the snapshots, 0 from the first free entry on
    uint32_t nUndoDepth = 0;
    std::unique_ptr<std::array<Text, menuItemCount>> pszAutoText; // made when the first text is set
    COLORREF crNoteBack = 0x00FFFF, crHiliteBack = 0x00FFFF, crRedactBack = 0;
    Text pszAutoButtonFont;
    std::unique_ptr<TypeMenus> pTypeMenus; // made when the first item is set
    uint32_t uAutoProtractorShow = 0;
    uint32_t uAutoDlgFontSize = 8;
    HFONT hAutoDlgFont = nullptr;
    KernelMetafile autoHotspotMetafile{};
};

// The menu bits that an object has of its own: item i is bit 7 - i % 8 of byte i / 8.
struct ItemMenuPart {
    MenuTable itemMenuEnable{}, itemMenuEnableMask{};
};

// The plain values of a record and its texts: what a copy takes along as it stands.
struct AnnValues {
    uint32_t nType = 0;
    uint32_t hWnd = 0;
    uint32_t nActiveState = 0;
    uint32_t nUserMode = 0; // 0 design, 1 run
    uint32_t uTag = 0;
    int32_t bVisible = 0;
    int32_t bSelected = 0;
    int32_t bFontBold = 0, bFontItalic = 0, bFontStrikeThrough = 0, bFontUnderline = 0;
    uint32_t nLineStyle = 0;
    double dLineWidth = 1.0;
    uint32_t nFillPattern = 0;
    uint32_t nFillMode = 0;
    uint32_t nPolyFillMode = 0;
    uint32_t nROP2 = 0;
    double dFontSize = 0;
    COLORREF crFore = 0;
    COLORREF crBack = 0xFFFFFF;
    Text pszFontName;
    Text pszText;

    POINT ptBrushOrg{};  // derived
    RECT rcInvalid{};    // derived, what must be repainted
    AnnRect annBounds{}; // derived, the untransformed geometry
    AnnPoint quad[3]{};  // A left top, B left bottom, C right bottom
    AnnPoint ptPointerTip{}, ptPointerTail{};
    double dArrowWidth = 0, dArrowLength = 0; // derived, client pixels
    bool bDerived = false;                    // the derived fields hold for the present geometry
    bool bLoadMirror = false;                 // a reader has still to mirror the image
    bool bGroupingRead = false;               // a reader has met the field bGrouping
    AnnMatrix xfToClient{1, 0, 0, 1, 0, 0};   // derived
    AnnMatrix xfFromClient{1, 0, 0, 1, 0, 0}; // derived
    AnnPoint ptCenter{};                      // derived
    double dScalarX = 1.0, dScalarY = 1.0;
    double dOffsetX = 0.0, dOffsetY = 0.0;
    uint32_t uSerial = 0; // identity across copies

    int32_t bTransparent = 0;
    Text pszLockKey; // not null: locked
    int32_t bShowLockedIcon = 1;
    uint32_t nHyperlinkType = 0;
    uint32_t uHyperlinkParam1 = 0, uHyperlinkParam2 = 0;
    Text pszHyperlink;
    int32_t bHyperlinkMenuEnable = 0;
    uint32_t nSaveId = 0, nFatherId = 0;
    uint32_t hAutomation = 0; // of a top container
    double dBitmapDpiX = 0, dBitmapDpiY = 0;
    uint32_t nUnit = ANN_UNIT_MILIMETERS;
    uint32_t nUnitPrecision = 2;
    Text pszUnitAbbrev;
    double dGaugeLength = 30.0;
    int32_t bShowNodes = 1;
    uint32_t nGapNodes = 0;
    int32_t bAcute = 1;
    uint32_t nAngleUnit = 0;
    Text pszAngleAbbrev;
    double dArcRadius = 30.0;
    uint32_t nAnglePrecision = 2;
    uint32_t uShowFlags = ANN_SHOW_LENGTH | ANN_SHOW_GAUGE;
    int32_t bShowName = 1;
    int32_t bNameAutoAdjust = 1;
    Text pszName;
    AnnPoint ptNameOffset{};
    Text pszUser;
    COLORREF crTransparent = 0xFFFFFF;
    int32_t bGrouping = 0;

    // What walks over a whole tree look at ends the values and begins the links: one cache line of a pooled record.
    RECT rcName{};   // derived
    RECT rcBounds{}; // derived, client pixels with room for the line
};

// Boxes of all objects below a root, for hit testing (store/hit_index.h).
class HitIndex;
struct HitIndexDelete {
    void operator()(HitIndex* index) const noexcept;
};

struct AnnObject : AnnValues {
    AnnObject* pFirstChild = nullptr; // back of the z-order
    AnnObject* pNext = nullptr;
    AnnObject* pParent = nullptr;
    AnnObject* pLastChild = nullptr; // front; makes appending O(1)
    AnnObject* pPrev = nullptr;
    uint32_t hSelf = 0;    // its own handle
    uint32_t nHandles = 0; // derived

    KernelBitmap bitmap{};
    KernelMetafile metafile{};
    SmallArray<AnnPoint, 2> pPoints;
    SmallArray<POINT, 5> pHandles; // derived positions

    std::unique_ptr<PushpinPart> pPushpin;               // pushpins
    std::unique_ptr<MeasurePart> pMeasure;               // rulers, cross products, protractors
    std::unique_ptr<AutomationPart> pAutomation;         // automations
    std::unique_ptr<ItemMenuPart> pItemMenu;             // objects with menu bits of their own
    std::unique_ptr<HitIndex, HitIndexDelete> pHitIndex; // roots that were often hit

    uint32_t nPoints() const { return pPoints.size(); }
    bool isContainer() const { return nType == ANN_OBJECT_CONTAINER; }
};

static_assert(sizeof(AnnObject) <= 960, "a plain object stays under 1 KiB all told");

// A record that holds its type alone; null when memory fails. Side records of its family come with it.
AnnObject* annNewRecord(uint32_t nType) noexcept;
// Fills a new record with the defaults of its type. Strings that can't be had stay null.
void annInitDefaults(AnnObject& record) noexcept;
// Makes a record that a reader has begun as one type an object of another: its side records with their defaults, a pushpin's
// pictures among them; plain values stay. False when memory fails: the record is an empty shape then, to be freed.
bool annSetType(AnnObject& record, uint32_t nType) noexcept;
// Makes the automation's dialog font anew.
void annMakeDialogFont(AnnObject& automation) noexcept;

// Deep copy of one record without its children and links; null, with the code, on failure.
AnnObject* annCopyRecord(const AnnObject& source, int& code) noexcept;
// Deep copy of an object with all that is below it, outside any tree.
AnnObject* annCopyTree(const AnnObject& source, int& code) noexcept;

// Frees a record and its block; the handle is dead afterwards. It must be out of its tree and without children.
void annFreeRecord(AnnObject* record) noexcept;
// Frees an object and everything below it, without events or repaints.
void annFreeTree(AnnObject* record) noexcept;

// Next record of a tree in drawing order, `top` being its root; null at the end.
template <class Record> Record* annNextInTree(const Record* record, const AnnObject* top) {
    if (record->pFirstChild) return record->pFirstChild;
    while (record != top && !record->pNext) record = record->pParent;
    return record == top ? nullptr : record->pNext;
}

} // namespace kbann
