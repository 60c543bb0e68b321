// The property family: one table of rows, two generic operations. Every exported getter and setter names a row.
#pragma once

#include "kbann/object_types.h"
#include "store/handles.h"

#include <variant>

namespace kbann {

enum class Property : uint8_t {
    visible,
    selected,
    tag,
    fontBold,
    fontItalic,
    fontStrikeThrough,
    fontUnderline,
    fontSize,
    fontName,
    foreColor,
    backColor,
    lineWidth,
    lineStyle,
    fillPattern,
    fillMode,
    polyFillMode,
    rop2,
    transparent,
    transparentColor,
    text,
    bitmap,
    secondaryBitmap,
    metafile,
    showLockedIcon,
    scalarX,
    scalarY,
    offsetX,
    offsetY,
    dpiX,
    dpiY,
    bitmapDpiX,
    bitmapDpiY,
    gaugeLength,
    showFlags,
    showNodes,
    gapNodes,
    showName,
    name,
    nameOffset,
    nameAutoAdjust,
    grouping,
    hyperlinkMenuEnable,
    tool,
    noteBack,
    hiliteBack,
    redactBack,
    window,
    userMode,
    type,
    activeState,
    serial,
    count
};

enum class PropertyKind : uint8_t { flag, word, color, string, bitmap, handle, real, metafile, namePoint };

using PropertyMember = std::variant<int32_t AnnValues::*, uint32_t AnnValues::*, double AnnValues::*, Text AnnValues::*,
                                    AnnPoint AnnValues::*, KernelBitmap AnnObject::*, KernelMetafile AnnObject::*,
                                    KernelBitmap PushpinPart::*, double AutomationPart::*, uint32_t AutomationPart::*>;

// What a setter refuses before it stores anything.
struct PropertyCheck {
    uint32_t highest = UINT32_MAX; // of a number
    bool notNegative = false;      // of a double
    bool resolution = false;       // a double below 1 is stored as 150
    TypeSet refusedTypes = 0;      // objects that the setter isn't for
};

struct PropertyRow {
    Property id;
    const char* name; // of the record's field
    PropertyKind kind;
    PropertyMember member;
    TypeSet types; // objects that have it
    int menuItem;  // tested by ANN_FLAG_CHECKMENU, or noMenuItem
    PropertyCheck check;
};

const PropertyRow& annPropertyRow(Property id);

// What a setter passes, by kind: flag, word, color and handle a number, string a text, bitmap and metafile a record or null,
// namePoint a point.
struct PropertyValue {
    uint32_t number = 0;
    double real = 0;
    const void* pointer = nullptr;
};

// The generic setter, the only place that knows how a property is applied to an object, a selection or a subtree, what must
// be repainted, and which properties depend on each other.
int annSetProperty(AnnObject* record, Property id, PropertyValue value, uint32_t uFlags, int nMenuItem,
                   const char* pszUserList);
// Whether the rules let an object be selected: it must be visible and without a lock.
bool annMaySelect(const AnnObject& record);
// With the row's own check and menu item.
int annSetChecked(HANNOBJECT hObject, Property id, PropertyValue value, uint32_t uFlags, const char* pszUserList = nullptr);

// The generic getter: reads the one object, never walks. `out` is what the row's kind gives: BOOL, uint32_t, double, char[],
// KernelBitmap, KernelMetafile, AnnPoint.
int annGetProperty(HANNOBJECT hObject, Property id, void* out);
// One user name for another on all objects of the walk that bear it; repaints nothing.
int annReplaceUser(AnnObject& record, const char* pszOldUser, const char* pszNewUser, uint32_t uFlags);
int annGetStringLength(HANNOBJECT hObject, Property id, uint32_t* puLength);

} // namespace kbann
