// Judges whether an image file shows and holds nothing of what areas cover. It fails closed: what it can't judge is a find.
#pragma once

#include "apps/kann/regions.h"

#include <string>
#include <vector>

namespace kann {

// One line a find, at most a hundred; empty when the file is clean.
std::vector<std::string> judge(const WholeImage& image, const Regions& regions);

} // namespace kann
