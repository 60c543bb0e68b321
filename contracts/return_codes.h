/* Return codes shared by the engine, the raster kernel and the raster file component. A code of 0 or below is a
 * failure; texts and the full table stand in kbann/error_table.h. */
#ifndef KB_CONTRACTS_RETURN_CODES_H
#define KB_CONTRACTS_RETURN_CODES_H

enum {
    SUCCESS = 1,
    ERROR_FAILURE = 0,
    ERROR_NO_MEMORY = -1,
    ERROR_INV_BITMAP = -2,
    ERROR_FILE_SEEK = -4,
    ERROR_FILE_WRITE = -5,
    ERROR_FILE_READ = -7,
    ERROR_FILE_FORMAT = -9,
    ERROR_FILE_NOT_FOUND = -10,
    ERROR_INV_PARAMETER = -13,
    ERROR_FILE_OPEN = -14,
    ERROR_FEATURE_NOT_SUPPORTED = -16,
    ERROR_BAD_TAG = -140,
    ERROR_ANN_LOCKED = -148,
    ERROR_PAGE_NOT_FOUND = -310,
    ERROR_DELETE_LAST_PAGE = -311,
    ERROR_UNDO_STACK_EMPTY = -316,
    ERROR_NO_UNDO_STACK = -406,
    ERROR_UNDO_DISABLED = -407
};

#endif
