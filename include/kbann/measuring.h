/* Rulers, cross products and protractors: units, distances, angles. */
#ifndef KBANN_MEASURING_H
#define KBANN_MEASURING_H

#include "contracts/return_codes.h"
#include "kbann/constants.h"
#include "kbann/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* uUnit: ANN_UNIT_*. pszAbbrev: written behind the number, null for the unit's own; copied. uPrecision: digits behind the
 * point, 0 to 200. Objects: automation, ruler, cross product, protractor; others, and those that the flags don't let pass,
 * are passed over. They measure anew at once. ANN_FLAG_CHECKMENU tests the menu item ANN_AUTOTEXT_MENU_RULER;
 * ANN_FLAG_USER has no effect. ERROR_INV_PARAMETER: bad handle, unit or precision out of range. ERROR_NO_MEMORY: nothing
 * has changed. */
KB_API int K_AnnSetUnit(HANNOBJECT hObject, uint32_t uUnit, const char* pszAbbrev, uint32_t uPrecision, uint32_t uFlags);
/* Each out-pointer may be null. pszAbbrev has room for what K_AnnGetUnitLen gives in bytes, and its end.
 * ERROR_INV_PARAMETER: bad handle, or no length asked for. ERROR_FEATURE_NOT_SUPPORTED: another type. */
KB_API int K_AnnGetUnit(HANNOBJECT hObject, uint32_t* puUnit, char* pszAbbrev, uint32_t* puPrecision);
KB_API int K_AnnGetUnitLen(HANNOBJECT hObject, uint32_t* puLen);
/* What was measured, in the object's unit: the first and the second line; a ruler has no second, which reads 0. A protractor
 * that doesn't show its lengths measures none. One of them may be null. Objects: ruler, cross product, protractor.
 * ERROR_INV_PARAMETER: bad handle, both null. ERROR_FEATURE_NOT_SUPPORTED: another type. */
KB_API int K_AnnGetDistance(HANNOBJECT hObject, double* pdDistance, double* pdDistance2);
/* bAcute: measure the smaller angle. uAngleUnit: ANN_ANGLE_*. dArcRadius: of the arc, in the object's own space; one
 * that comes out below a pixel isn't drawn. pszAbbrev and uPrecision as above, with no blank before the abbreviation. Objects: protractor, automation; others,
 * and those that the flags don't let pass, are passed over. ANN_FLAG_CHECKMENU, ANN_FLAG_NOINVALIDATE and ANN_FLAG_USER
 * have no effect. ERROR_INV_PARAMETER: bad handle, unit or precision out of range. ERROR_NO_MEMORY: nothing has changed. */
KB_API int K_AnnSetProtractorOptions(HANNOBJECT hObject, BOOL bAcute, uint32_t uAngleUnit, const char* pszAbbrev,
                                     uint32_t uPrecision, double dArcRadius, uint32_t uFlags);
/* Each out-pointer may be null. ERROR_INV_PARAMETER: bad handle, another type. */
KB_API int K_AnnGetProtractorOptions(HANNOBJECT hObject, BOOL* pbAcute, uint32_t* puAngleUnit, uint32_t* puAbbrevLen,
                                     char* pszAbbrev, uint32_t* puPrecision, double* pdArcRadius);
/* The angle of a protractor in its angle unit. ERROR_INV_PARAMETER: bad handle, null pointer.
 * ERROR_FEATURE_NOT_SUPPORTED: another type. */
KB_API int K_AnnGetAngle(HANNOBJECT hObject, double* pdAngle);

#ifdef __cplusplus
}
#endif
#endif
