/* The whole interface of kbann: annotation objects over raster images. Plain C; what holds for every function is told in
 * kbann/library.h. For C++ there are two tables besides, kbann/error_table.h and kbann/stored_fields.h. */
#ifndef KBANN_KBANN_H
#define KBANN_KBANN_H

#include "contracts/raster_io.h"
#include "contracts/raster_kernel.h"
#include "contracts/return_codes.h"
#include "kbann/auto_text.h"
#include "kbann/clipboard.h"
#include "kbann/constants.h"
#include "kbann/drawing.h"
#include "kbann/geometry.h"
#include "kbann/hit_testing.h"
#include "kbann/library.h"
#include "kbann/locks.h"
#include "kbann/measuring.h"
#include "kbann/objects.h"
#include "kbann/pictures.h"
#include "kbann/properties.h"
#include "kbann/realizing.h"
#include "kbann/storage.h"
#include "kbann/types.h"

#endif
