// Exported functions: units, distances and angles of measurement objects.
#include "kbann/auto_text.h"
#include "kbann/measuring.h"
#include "kbann/object_types.h"
#include "store/geometry.h"
#include "store/library.h"
#include "store/measure.h"
#include "store/tree.h"
#include "store/units.h"

#include <cstring>

using namespace kbann;

namespace {

constexpr uint32_t protractorFlags = ANN_FLAG_SELECTED | ANN_FLAG_NOTCONTAINER | ANN_FLAG_NOTTHIS | ANN_FLAG_RECURSE;
constexpr uint32_t unitFlags = protractorFlags | ANN_FLAG_NOINVALIDATE | ANN_FLAG_CHECKMENU;

void copyOut(const Text& text, char* out) { std::memcpy(out, text.c_str(), size_t{text.length()} + 1); }

// Changes the objects of the types that the walk reaches; they measure anew.
template <class Change> int changeEach(AnnObject& record, TypeSet types, uint32_t uFlags, int nMenuItem, Change&& change) {
    const Repaint repaint = uFlags & ANN_FLAG_NOINVALIDATE ? Repaint::none : Repaint::object;
    return annWalkPassing(&record, uFlags, false, nMenuItem, [&](AnnObject& found) -> int {
        if (!hasType(types, found.nType)) return SUCCESS;
        annUpdateBefore(found, repaint);
        change(found);
        annUpdate(found, repaint);
        return SUCCESS;
    });
}

int setUnit(HANNOBJECT hObject, uint32_t uUnit, const char* pszAbbrev, uint32_t uPrecision, uint32_t uFlags) {
    AnnObject* record = annFromHandle(hObject);
    const LengthUnit* unit = annLengthUnit(uUnit);
    if (!record || !unit || uPrecision > maxMeasurePrecision) return ERROR_INV_PARAMETER;
    Text abbreviation; // made once and first, so that no failure comes half way
    if (!abbreviation.assign(pszAbbrev ? pszAbbrev : unit->abbreviation)) return ERROR_NO_MEMORY;
    return changeEach(*record, typesMeasure, uFlags & unitFlags, ANN_AUTOTEXT_MENU_RULER, [&](AnnObject& found) {
        found.nUnit = uUnit;
        found.nUnitPrecision = uPrecision;
        found.pszUnitAbbrev = abbreviation;
    });
}

int setProtractorOptions(HANNOBJECT hObject, BOOL bAcute, uint32_t uAngleUnit, const char* pszAbbrev, uint32_t uPrecision,
                         double dArcRadius, uint32_t uFlags) {
    AnnObject* record = annFromHandle(hObject);
    const AngleUnit* unit = annAngleUnit(uAngleUnit);
    if (!record || !unit || uPrecision > maxMeasurePrecision) return ERROR_INV_PARAMETER;
    Text abbreviation;
    if (!abbreviation.assign(pszAbbrev ? pszAbbrev : unit->abbreviation)) return ERROR_NO_MEMORY;
    return changeEach(*record, typesProtractor, uFlags & protractorFlags, noMenuItem, [&](AnnObject& found) {
        found.bAcute = bAcute;
        found.nAngleUnit = uAngleUnit;
        found.pszAngleAbbrev = abbreviation;
        found.nAnglePrecision = uPrecision;
        found.dArcRadius = dArcRadius;
    });
}

} // namespace

int K_AnnSetUnit(HANNOBJECT hObject, uint32_t uUnit, const char* pszAbbrev, uint32_t uPrecision, uint32_t uFlags) {
    return exported([&] { return setUnit(hObject, uUnit, pszAbbrev, uPrecision, uFlags); });
}

int K_AnnGetUnit(HANNOBJECT hObject, uint32_t* puUnit, char* pszAbbrev, uint32_t* puPrecision) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record) return ERROR_INV_PARAMETER;
        if (!hasType(typesMeasure, record->nType)) return ERROR_FEATURE_NOT_SUPPORTED;
        if (puUnit) *puUnit = record->nUnit;
        if (pszAbbrev) copyOut(record->pszUnitAbbrev, pszAbbrev);
        if (puPrecision) *puPrecision = record->nUnitPrecision;
        return SUCCESS;
    });
}

int K_AnnGetUnitLen(HANNOBJECT hObject, uint32_t* puLen) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record || !puLen) return ERROR_INV_PARAMETER;
        if (!hasType(typesMeasure, record->nType)) return ERROR_FEATURE_NOT_SUPPORTED;
        *puLen = record->pszUnitAbbrev.length();
        return SUCCESS;
    });
}

int K_AnnGetDistance(HANNOBJECT hObject, double* pdDistance, double* pdDistance2) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record || (!pdDistance && !pdDistance2)) return ERROR_INV_PARAMETER;
        if (!record->pMeasure) return ERROR_FEATURE_NOT_SUPPORTED;
        if (pdDistance) *pdDistance = record->pMeasure->dDistance;
        if (pdDistance2) *pdDistance2 = record->pMeasure->dDistance2;
        return SUCCESS;
    });
}

int K_AnnSetProtractorOptions(HANNOBJECT hObject, BOOL bAcute, uint32_t uAngleUnit, const char* pszAbbrev,
                              uint32_t uPrecision, double dArcRadius, uint32_t uFlags) {
    return exported(
        [&] { return setProtractorOptions(hObject, bAcute, uAngleUnit, pszAbbrev, uPrecision, dArcRadius, uFlags); });
}

int K_AnnGetProtractorOptions(HANNOBJECT hObject, BOOL* pbAcute, uint32_t* puAngleUnit, uint32_t* puAbbrevLen,
                              char* pszAbbrev, uint32_t* puPrecision, double* pdArcRadius) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record || !hasType(typesProtractor, record->nType)) return ERROR_INV_PARAMETER;
        if (pbAcute) *pbAcute = record->bAcute;
        if (puAngleUnit) *puAngleUnit = record->nAngleUnit;
        if (puAbbrevLen) *puAbbrevLen = record->pszAngleAbbrev.length();
        if (pszAbbrev) copyOut(record->pszAngleAbbrev, pszAbbrev);
        if (puPrecision) *puPrecision = record->nAnglePrecision;
        if (pdArcRadius) *pdArcRadius = record->dArcRadius;
        return SUCCESS;
    });
}

int K_AnnGetAngle(HANNOBJECT hObject, double* pdAngle) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record || !pdAngle) return ERROR_INV_PARAMETER;
        if (record->nType != ANN_OBJECT_PROTRACTOR) return ERROR_FEATURE_NOT_SUPPORTED;
        *pdAngle = record->pMeasure->dAngle;
        return SUCCESS;
    });
}
