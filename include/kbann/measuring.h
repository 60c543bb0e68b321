/* Rulers, cross products and protractors: units, distances, angles. */
#ifndef KBANN_MEASURING_H
#define KBANN_MEASURING_H

#include "contracts/return_codes.h"
#include "kbann/constants.h"
#include "kbann/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* uUnit: ANN_UNIT_*. pszAbbrev: written behind the number, null for the unit's own. uPrecision: digits behind the point, 0
 * to 200. Objects: automation, ruler, cross product, protractor; others are passed over. They measure anew at once.
 * ERROR_INV_PARAMETER: bad handle, unit or precision out of range. */
KB_API int K_AnnSetUnit(HANNOBJECT hObject, uint32_t uUnit, const char* pszAbbrev, uint32_t uPrecision, uint32_t uFlags);
/* Each out-pointer may be null. pszAbbrev has room for what K_AnnGetUnitLen gives, and its end.
 * ERROR_FEATURE_NOT_SUPPORTED: another type. */
KB_API int K_AnnGetUnit(HANNOBJECT hObject, uint32_t* puUnit, char* pszAbbrev, uint32_t* puPrecision);
KB_API int K_AnnGetUnitLen(HANNOBJECT hObject, uint32_t* puLen);
/* What was measured, in the object's unit: the first and the second line. One of them may be null.
 * ERROR_FEATURE_NOT_SUPPORTED: another type. */
KB_API int K_AnnGetDistance(HANNOBJECT hObject, double* pdDistance, double* pdDistance2);
/* bAcute: measure the smaller angle. uAngleUnit: ANN_ANGLE_*. dArcRadius: of the arc, in container units; below 1 none is
 * drawn. Objects: protractor, automation. ERROR_INV_PARAMETER: bad handle, unit or precision out of range. */
KB_API int K_AnnSetProtractorOptions(HANNOBJECT hObject, BOOL bAcute, uint32_t uAngleUnit, const char* pszAbbrev,
                                     uint32_t uPrecision, double dArcRadius, uint32_t uFlags);
/* Each out-pointer may be null. ERROR_INV_PARAMETER: bad handle, another type. */
KB_API int K_AnnGetProtractorOptions(HANNOBJECT hObject, BOOL* pbAcute, uint32_t* puAngleUnit, uint32_t* puAbbrevLen,
                                     char* pszAbbrev, uint32_t* puPrecision, double* pdArcRadius);
/* The angle of a protractor in its angle unit. ERROR_FEATURE_NOT_SUPPORTED: another type. */
KB_API int K_AnnGetAngle(HANNOBJECT hObject, double* pdAngle);

#ifdef __cplusplus
}
#endif
#endif
