// Pages of a file that show the same as a covered page, in any size and turned in any quarter, without its covers.
#pragma once

#include "apps/kann/regions.h"

#include <vector>

namespace kann {

struct PageLikeness {
    int covered, other; // pages
};
std::vector<PageLikeness> findLikePages(const WholeImage& image, const Regions& regions);

} // namespace kann
