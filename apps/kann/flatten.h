// Trees for forms that hold no nested containers.
#pragma once

#include "kbann/kbann.h"

#include <string>

namespace kann {

// Brings what lies in nested containers, and what has a scale or an offset of its own, to where it stands in the root's space. The
// containers stay; with them the tree would be drawn elsewhere now. Throws Failure.
void bringToRoot(HANNOBJECT root, const std::string& name);

} // namespace kann
