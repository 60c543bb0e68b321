// Return codes with their names and texts, for messages and for the error information of hosts. Codes of the raster
// kernel and of the raster files pass through the engine unchanged, so their common ones stand here too; those that no
// function here has a name for have an empty one. Rows run downwards from 0.
#ifndef KBANN_ERROR_TABLE_H
#define KBANN_ERROR_TABLE_H

#include "contracts/return_codes.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace kbann {

struct AnnErrorRow {
    int code;
    std::string_view name;
    std::string_view text;
};

inline constexpr auto annErrorTable = std::to_array<AnnErrorRow>({
    {.code = ERROR_FAILURE, .name = "ERROR_FAILURE", .text = "General failure"},
    {.code = ERROR_NO_MEMORY, .name = "ERROR_NO_MEMORY", .text = "Not enough memory available"},
    {.code = ERROR_INV_BITMAP, .name = "ERROR_INV_BITMAP", .text = "Invalid bitmap handle"},
    {.code = -3, .name = "", .text = "Not enough memory available"},
    {.code = ERROR_FILE_SEEK, .name = "ERROR_FILE_SEEK", .text = "Error seeking to position"},
    {.code = ERROR_FILE_WRITE, .name = "ERROR_FILE_WRITE", .text = "Error writing file"},
    {.code = ERROR_FILE_READ, .name = "ERROR_FILE_READ", .text = "Error reading file"},
    {.code = ERROR_FILE_FORMAT, .name = "ERROR_FILE_FORMAT", .text = "Invalid file format"},
    {.code = ERROR_FILE_NOT_FOUND, .name = "ERROR_FILE_NOT_FOUND", .text = "File not found"},
    {.code = ERROR_INV_PARAMETER, .name = "ERROR_INV_PARAMETER", .text = "Invalid parameter passed"},
    {.code = ERROR_FILE_OPEN, .name = "ERROR_FILE_OPEN", .text = "Not able to open file"},
    {.code = ERROR_FEATURE_NOT_SUPPORTED, .name = "ERROR_FEATURE_NOT_SUPPORTED", .text = "Feature not available"},
    {.code = -100, .name = "", .text = "User cancelled the operation"},
    {.code = ERROR_BAD_TAG, .name = "ERROR_BAD_TAG", .text = "Bad TIFF tag"},
    {.code = ERROR_ANN_LOCKED, .name = "ERROR_ANN_LOCKED", .text = "One or more annotation objects are still locked"},
    {.code = ERROR_PAGE_NOT_FOUND, .name = "ERROR_PAGE_NOT_FOUND", .text = "Page not found"},
    {.code = ERROR_DELETE_LAST_PAGE,
     .name = "ERROR_DELETE_LAST_PAGE",
     .text = "You cannot delete a page from a file containing only one page"},
    {.code = -312, .name = "", .text = "There is no hotkey"},
    {.code = -313, .name = "", .text = "Error creating the hotkey window"},
    {.code = ERROR_UNDO_STACK_EMPTY, .name = "ERROR_UNDO_STACK_EMPTY", .text = "Undo stack is empty - too many undos"},
    {.code = -317, .name = "", .text = "ActiveX error - the toolbar window was not created"},
    {.code = -404, .name = "", .text = "Tag not found"},
    {.code = ERROR_NO_UNDO_STACK, .name = "ERROR_NO_UNDO_STACK", .text = "There is no undo stack"},
    {.code = ERROR_UNDO_DISABLED, .name = "ERROR_UNDO_DISABLED", .text = "The undo is disabled"},
});

consteval bool annErrorTableIsOrdered() {
    for (std::size_t i = 1; i < annErrorTable.size(); ++i) {
        if (annErrorTable[i].code >= annErrorTable[i - 1].code) return false;
    }
    return annErrorTable.front().code == 0;
}
static_assert(annErrorTableIsOrdered(), "findErrorRow searches by halves");

// The row of a code, or null for SUCCESS and for codes that have no text here.
constexpr const AnnErrorRow* findErrorRow(int code) {
    const auto row = std::ranges::lower_bound(annErrorTable, code, std::ranges::greater{}, &AnnErrorRow::code);
    return row != annErrorTable.end() && row->code == code ? &*row : nullptr;
}

} // namespace kbann

#endif
