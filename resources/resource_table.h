// The library's linked-in resources: pictures under the numbers by which the engine asks for them. The table itself is
// made at build time from the readable pictures in this folder.
#pragma once

#include "platform/sys.h"

namespace kbann {

extern const KbResourceEntry annResourceTable[];
extern const unsigned annResourceCount;

} // namespace kbann
