// The generic setter and getter over the rows of the property family.
#include "store/properties.h"
#include "contracts/raster_kernel.h"
#include "store/geometry.h"
#include "store/library.h"
#include "store/tree.h"
#include "store/units.h"

#include <cstring>

namespace kbann {
namespace {

// The row's field in a record whose type has it.
template <class Field> Field& fieldOf(AnnObject& record, const PropertyMember& member) {
    return std::visit(
        [&record](auto pointer) -> Field& {
            auto& owner = [&record]() -> auto& {
                if constexpr (requires { record.*pointer; })
                    return record;
                else if constexpr (requires { *record.pPushpin.*pointer; })
                    return *record.pPushpin;
                else
                    return *record.pAutomation;
            }
            ();
            if constexpr (std::is_same_v<std::remove_reference_t<decltype(owner.*pointer)>, Field>)
                return owner.*pointer;
            else
                __builtin_unreachable(); // the table's rows are proven to fit
        },
        member);
}

// Dependent fields change before the value itself is stored.
void adjustDependents(AnnObject& record, Property id, uint32_t value) {
    if (id == Property::rop2 && hasType(typesFillMode, record.nType) && record.nFillMode != ANN_FILLMODE_TRANSPARENT)
        record.nFillMode = value == ANN_ROP2_AND ? ANN_FILLMODE_TRANSLUCENT : ANN_FILLMODE_OPAQUE;
    if (id == Property::fillMode && hasType(typesRop2, record.nType)) {
        if (value == ANN_FILLMODE_TRANSLUCENT)
            record.nROP2 = ANN_ROP2_AND;
        else if (value == ANN_FILLMODE_OPAQUE && record.nROP2 == ANN_ROP2_AND)
            record.nROP2 = ANN_ROP2_COPY;
    }
}

enum class Stored : uint8_t { yes, skipped };

Stored storeFlag(AnnObject& record, const PropertyRow& row, uint32_t value, const char* pszUserList) {
    if (row.id == Property::selected && !annMaySelect(record)) return Stored::skipped;
    if (row.id == Property::visible && value && record.pszUser && !annUserInList(record.pszUser, pszUserList))
        return Stored::skipped;
    fieldOf<int32_t>(record, row.member) = static_cast<int32_t>(value);
    if (row.id == Property::visible && !value) record.bSelected = 0;
    return Stored::yes;
}

void storeColor(AnnObject& record, const PropertyRow& row, uint32_t value) {
    if (row.id == Property::serial) value = libraryState().uSerialCounter.fetch_add(1, std::memory_order_relaxed) + 1;
    fieldOf<uint32_t>(record, row.member) = value;
    if (row.id == Property::transparentColor) K_SetBitmapRgnColor(&record.bitmap, record.crTransparent, KB_REGION_NOT_COLOR);
}

int storeString(AnnObject& record, const PropertyRow& row, const char* value) {
    if (!fieldOf<Text>(record, row.member).assign(value)) return ERROR_NO_MEMORY;
    if (row.id == Property::text && record.nType == ANN_OBJECT_STAMP) { // a stamp shows one of the three
        K_FreeBitmap(&record.bitmap);
        K_FreeMetafile(&record.metafile);
    }
    return SUCCESS;
}

int storeBitmap(AnnObject& record, const PropertyRow& row, const KernelBitmap* value) {
    KernelBitmap& field = fieldOf<KernelBitmap>(record, row.member);
    KernelBitmap copy{}; // made first: the value may be the field itself
    int code = SUCCESS;
    if (value && value->Allocated) {
        code = K_CopyBitmap(&copy, value);
        if (code == SUCCESS) code = K_PrepareOwnedBitmap(&copy, 1);
        if (code == SUCCESS)
            code = K_SetBitmapRgnHandle(&copy, nullptr, nullptr, 0); // made at the first paint, by its own colour
        if (code != SUCCESS) K_FreeBitmap(&copy);
    }
    K_FreeBitmap(&field);
    field = copy;
    if (row.id == Property::bitmap) {
        if (record.nType == ANN_OBJECT_STAMP) record.pszText.clear();
        K_FreeMetafile(&record.metafile);
    }
    return code;
}

int storeMetafile(AnnObject& record, const KernelMetafile* value) {
    KernelMetafile copy{};
    const bool takesDefault = record.nType == ANN_OBJECT_HOTSPOT || record.nType == ANN_OBJECT_FREEHANDHOTSPOT;
    int code = SUCCESS;
    if (value && !(takesDefault && value->nHandle == libraryState().hotspotDefault.nHandle))
        code = K_CopyMetafile(&copy, value);
    K_FreeMetafile(&record.metafile);
    record.metafile = code == SUCCESS ? copy : KernelMetafile{};
    if (record.nType == ANN_OBJECT_STAMP) record.pszText.clear();
    K_FreeBitmap(&record.bitmap);
    return code;
}

void storeReal(AnnObject& record, const PropertyRow& row, double value) {
    fieldOf<double>(record, row.member) = value;
    if (row.id == Property::gaugeLength && record.pMeasure) record.pMeasure->dGaugeLengthCopy = value;
}

struct Setting {
    const PropertyRow& row;
    PropertyValue value;
    uint32_t uFlags;
    int nMenuItem;
    const char* pszUserList;
};

int setList(AnnObject* record, const Setting& s, bool bSiblings);

// One object that has passed the filter and has the property.
int setOne(AnnObject& record, const Setting& s, bool bSiblings) {
    const PropertyRow& row = s.row;
    const bool quiet = s.uFlags & ANN_FLAG_NOINVALIDATE;
    const Repaint repaint = quiet ? Repaint::none : Repaint::object;
    if (row.id != Property::selected) annUpdateBefore(record, repaint);
    adjustDependents(record, row.id, s.value.number);

    int code = SUCCESS;
    switch (row.kind) {
    case PropertyKind::flag:
        if (storeFlag(record, row, s.value.number, s.pszUserList) == Stored::skipped) return SUCCESS;
        break;
    case PropertyKind::word:
    case PropertyKind::handle: fieldOf<uint32_t>(record, row.member) = s.value.number; break;
    case PropertyKind::color: storeColor(record, row, s.value.number); break;
    case PropertyKind::string:
        code = storeString(record, row, static_cast<const char*>(s.value.pointer));
        if (code != SUCCESS) return code;
        break;
    case PropertyKind::bitmap: code = storeBitmap(record, row, static_cast<const KernelBitmap*>(s.value.pointer)); break;
    case PropertyKind::metafile: code = storeMetafile(record, static_cast<const KernelMetafile*>(s.value.pointer)); break;
    case PropertyKind::real: storeReal(record, row, s.value.real); break;
    case PropertyKind::namePoint: record.ptNameOffset = *static_cast<const AnnPoint*>(s.value.pointer); break;
    }
    annUpdate(record, row.id == Property::selected && !quiet ? Repaint::handles : repaint);
    if (code != SUCCESS) return code;

    // A member of a group is selected with the whole group; a walk through its list reaches the others anyway.
    if (row.id == Property::selected && !bSiblings && !(s.uFlags & ANN_IFLAG_NOGROUP) && record.pParent &&
        record.pParent->bGrouping) {
        Setting group = s;
        group.uFlags |= ANN_FLAG_NOTCONTAINER | ANN_IFLAG_NOGROUP;
        return setList(record.pParent->pFirstChild, group, true);
    }
    return SUCCESS;
}

int setList(AnnObject* record, const Setting& s, bool bSiblings) {
    constexpr uint32_t checks = ANN_FLAG_SELECTED | ANN_FLAG_NOTCONTAINER | ANN_FLAG_CHECKMENU | ANN_FLAG_USER;
    for (; record; record = bSiblings ? record->pNext : nullptr) {
        if (annPasses(*record, s.uFlags, checks, s.nMenuItem, s.pszUserList)) {
            if (hasType(s.row.types, record->nType)) {
                const int code = setOne(*record, s, bSiblings);
                if (code != SUCCESS) return code;
            } else if (!(s.uFlags & ANN_FLAG_RECURSE)) {
                return ERROR_FEATURE_NOT_SUPPORTED;
            }
        }
        if (s.uFlags & ANN_FLAG_RECURSE && record->pFirstChild) {
            const int code = setList(record->pFirstChild, s, true);
            if (code != SUCCESS) return code;
        }
    }
    return SUCCESS;
}

int replaceUserList(AnnObject* record, std::string_view from, const char* to, uint32_t uFlags, bool bSiblings) {
    for (; record; record = bSiblings ? record->pNext : nullptr) {
        if (annPasses(*record, uFlags, ANN_FLAG_SELECTED | ANN_FLAG_NOTCONTAINER, noMenuItem, nullptr) &&
            record->pszUser.view() == from && !record->pszUser.assign(to))
            return ERROR_NO_MEMORY;
        if (uFlags & ANN_FLAG_RECURSE && record->pFirstChild) {
            const int code = replaceUserList(record->pFirstChild, from, to, uFlags, true);
            if (code != SUCCESS) return code;
        }
    }
    return SUCCESS;
}

} // namespace

bool annMaySelect(const AnnObject& record) { return record.bVisible && !record.pszLockKey; }

int annReplaceUser(AnnObject& record, const char* pszOldUser, const char* pszNewUser, uint32_t uFlags) {
    const bool children = uFlags & ANN_FLAG_NOTTHIS;
    return replaceUserList(children ? record.pFirstChild : &record, pszOldUser ? pszOldUser : "", pszNewUser, uFlags,
                           children);
}

int annSetProperty(AnnObject* record, Property id, PropertyValue value, uint32_t uFlags, int nMenuItem,
                   const char* pszUserList) {
    if (!record) return ERROR_INV_PARAMETER;
    if (nMenuItem == noMenuItem) uFlags &= ~uint32_t{ANN_FLAG_CHECKMENU};
    const Setting setting{annPropertyRow(id), value, uFlags, nMenuItem, pszUserList};
    const bool children = uFlags & ANN_FLAG_NOTTHIS;
    return setList(children ? record->pFirstChild : record, setting, children);
}

int annSetChecked(HANNOBJECT hObject, Property id, PropertyValue value, uint32_t uFlags, const char* pszUserList) {
    AnnObject* record = annFromHandle(hObject);
    if (!record) return ERROR_INV_PARAMETER;
    const PropertyRow& row = annPropertyRow(id);
    const PropertyCheck& check = row.check;
    if (value.number > check.highest || (check.notNegative && value.real < 0)) return ERROR_INV_PARAMETER;
    if (hasType(check.refusedTypes, record->nType)) return ERROR_INV_PARAMETER;
    if (check.resolution && !(value.real >= 1.0)) value.real = defaultMeasureDpi;
    return annSetProperty(record, id, value, uFlags & 0xFF, row.menuItem, pszUserList);
}

int annGetProperty(HANNOBJECT hObject, Property id, void* out) {
    AnnObject* record = annFromHandle(hObject);
    if (!record || !out) return ERROR_INV_PARAMETER;
    const PropertyRow& row = annPropertyRow(id);
    if (!hasType(row.types, record->nType)) return ERROR_FEATURE_NOT_SUPPORTED;
    switch (row.kind) {
    case PropertyKind::flag: *static_cast<BOOL*>(out) = fieldOf<int32_t>(*record, row.member); break;
    case PropertyKind::word:
    case PropertyKind::color:
    case PropertyKind::handle: *static_cast<uint32_t*>(out) = fieldOf<uint32_t>(*record, row.member); break;
    case PropertyKind::real: *static_cast<double*>(out) = fieldOf<double>(*record, row.member); break;
    case PropertyKind::namePoint: *static_cast<AnnPoint*>(out) = record->ptNameOffset; break;
    case PropertyKind::string: {
        const Text& text = fieldOf<Text>(*record, row.member);
        std::memcpy(out, text.c_str(), size_t{text.length()} + 1);
        break;
    }
    case PropertyKind::bitmap: {
        auto& given = *static_cast<KernelBitmap*>(out);
        const KernelBitmap& field = fieldOf<KernelBitmap>(*record, row.member);
        given = field.Allocated ? field : KernelBitmap{};
        given.Borrowed = given.Allocated;
        return given.Allocated ? SUCCESS : ERROR_INV_BITMAP;
    }
    case PropertyKind::metafile: {
        auto& given = *static_cast<KernelMetafile*>(out);
        given = record->metafile;
        if (!given.nHandle && record->nType != ANN_OBJECT_STAMP) given = libraryState().hotspotDefault;
        return given.nHandle ? SUCCESS : ERROR_INV_BITMAP;
    }
    }
    return SUCCESS;
}

int annGetStringLength(HANNOBJECT hObject, Property id, uint32_t* puLength) {
    AnnObject* record = annFromHandle(hObject);
    if (!record || !puLength) return ERROR_INV_PARAMETER;
    const PropertyRow& row = annPropertyRow(id);
    if (!hasType(row.types, record->nType)) return ERROR_FEATURE_NOT_SUPPORTED;
    *puLength = fieldOf<Text>(*record, row.member).length();
    return SUCCESS;
}

} // namespace kbann
