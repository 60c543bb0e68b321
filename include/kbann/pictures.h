/* Metafiles in objects, and the library's predefined ones. Bitmaps of objects are properties (kbann/properties.h). */
#ifndef KBANN_PICTURES_H
#define KBANN_PICTURES_H

#include "contracts/return_codes.h"
#include "kbann/constants.h"
#include "kbann/types.h"
#include "platform/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Gives stamps, hotspots and freehand hotspots a metafile. nType: 0 to 25 a predefined stamp, 26 the hotspot picture;
 * hMetafile isn't looked at then. From 27 up, as ANN_METAFILE_USER, hMetafile (HMETAFILE or HENHMETAFILE), which is copied
 * and stays the caller's. The hotspot default on a hotspot empties the field, so that it shows the default. uFlags: ANN_FLAG_*,
 * which objects below hObject it goes to as well; with ANN_FLAG_RECURSE those of other types are passed over.
 * ERROR_INV_PARAMETER: bad handle, empty slot, null or dead metafile; the objects stay as they were.
 * ERROR_FEATURE_NOT_SUPPORTED: another type. ERROR_NO_MEMORY: the object for which the copy failed is left without a
 * metafile, those before it have the new one. */
KB_API int K_AnnSetMetafile(HANNOBJECT hObject, HANDLE hMetafile, uint32_t nType, uint32_t uFlags);
/* The object's metafile, borrowed; of a hotspot without one the default. ERROR_INV_BITMAP: a stamp without metafile.
 * ERROR_INV_PARAMETER: bad handle, null pointer. ERROR_FEATURE_NOT_SUPPORTED: another type. *phMetafile stays as it was after
 * a failure. */
KB_API int K_AnnGetMetafile(HANNOBJECT hObject, HANDLE* phMetafile);
/* Replaces a predefined metafile (0 to 26); the library owns hMetafile afterwards. Null brings the library's own back: all
 * stamps at once for 0 to 25. ERROR_INV_PARAMETER: number out of range, dead metafile. ERROR_NO_MEMORY. After a failure the
 * slot is as it was and hMetafile the caller's. */
KB_API int K_AnnSetPredefinedMetafile(uint32_t nType, HANDLE hMetafile);
/* A copy of a predefined metafile (0 to 26), the caller's. *puKind: 0 classic (DeleteMetaFile), 1 enhanced
 * (DeleteEnhMetaFile). ERROR_INV_PARAMETER: number out of range, empty slot, null pointer. ERROR_NO_MEMORY. */
KB_API int K_AnnGetPredefinedMetafile(uint32_t nType, HANDLE* phMetafile, uint32_t* puKind);

#ifdef __cplusplus
}
#endif
#endif
