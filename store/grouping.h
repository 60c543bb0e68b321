// Groups of objects.
#pragma once

#include "kbann/types.h"

#include <cstdint>

namespace kbann {

// Moves the objects that the flags select into a new group container in front of the others.
int annGroup(HANNOBJECT hContainer, uint32_t uFlags, const char* pszUserList);
// Brings the content of the groups among the objects back, flat.
int annUngroup(HANNOBJECT hContainer, uint32_t uFlags, const char* pszUserList);

} // namespace kbann
