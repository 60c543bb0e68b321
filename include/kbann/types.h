/* Values and records of the exported interface. Coordinates of objects are doubles in the space of the container that
 * holds the object; RECT and POINT are whole pixels of the window. The records have one layout on every machine: handles
 * inside them are the 32-bit values that handles carry. */
#ifndef KBANN_TYPES_H
#define KBANN_TYPES_H

#include "platform/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* An object of any type. Not an address: a dead, foreign or made-up handle is told apart and refused. */
typedef struct AnnObjectHandle* HANNOBJECT;

typedef struct AnnPoint {
    double x, y;
} AnnPoint;

typedef struct AnnRect {
    double left, top, right, bottom;
} AnnRect;

/* x' = a x + b y + e, y' = c x + d y + f */
typedef struct AnnMatrix {
    double a, b, c, d, e, f;
} AnnMatrix;

/* Carried by ANN_EVENT_LBUTTONDOWN, ANN_EVENT_MOUSEMOVE and ANN_EVENT_LBUTTONUP. */
typedef struct AnnMouseEvent {
    int32_t bDoubleClick; /* 1 for a double click, else 0 */
    int32_t x, y;         /* pointer in client pixels; the application may change it */
    uint32_t uKeys;       /* buttons and keys: 1 left, 2 right, 4 shift, 8 control */
    int32_t bUpdatePos;   /* 0 on entry; set by the application it moves the real pointer to x, y */
} AnnMouseEvent;

/* Carried by ANN_EVENT_AUTOITEMCHANGING. */
typedef struct AnnItemChanging {
    uint32_t uStructSize; /* 24 */
    uint32_t hObject;     /* value of the object's handle: K_Ann functions take (HANNOBJECT)(uintptr_t)hObject */
    uint32_t nChange;     /* 0: about to be destroyed; 1: about to be rotated */
    int32_t bAllow;       /* 1 on entry; the application sets 0 to refuse */
    double dAngle;        /* degrees, of a rotation alone */
} AnnItemChanging;

/* How a region is wanted: the object's space times nScalarNum / nScalarDen, shifted by the offsets; then flipped or turned about
 * the middle of the object. The numbers of uViewPerspective aren't those of images. */
typedef struct AnnRgnXForm {
    uint32_t uViewPerspective; /* 0; 2 flipped; 4 a quarter turn; 8 three quarters */
    int32_t nScalarNumX, nScalarDenX;
    int32_t nScalarNumY, nScalarDenY;
    int32_t nOffsetX, nOffsetY;
} AnnRgnXForm;

/* What stored data holds. */
typedef struct AnnFileInfoRecord {
    uint32_t uStructSize; /* set to 24 by the caller */
    int32_t nOffset;      /* in: where the data begins in a file, 0 or above */
    uint32_t nVersion;    /* 13: with pages; 12: exactly one page */
    uint32_t nFormat;     /* ANN_FMT_* */
    uint32_t nTotalPages;
    uint32_t uReserved; /* nothing uses it */
} AnnFileInfoRecord;

/* Called by K_AnnEnumerate for each object found, with the user data of that call. SUCCESS goes on; any other result
 * ends the walk and becomes the result of K_AnnEnumerate. */
typedef int (*AnnEnumProc)(HANNOBJECT hObject, void* pUser);

#ifdef __cplusplus
static_assert(sizeof(AnnMouseEvent) == 20 && sizeof(AnnItemChanging) == 24 && sizeof(AnnFileInfoRecord) == 24);
}
#else
_Static_assert(sizeof(AnnMouseEvent) == 20, "layout");
_Static_assert(sizeof(AnnItemChanging) == 24, "layout");
_Static_assert(sizeof(AnnFileInfoRecord) == 24, "layout");
#endif
#endif
