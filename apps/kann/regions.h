// Areas to be covered, page by page: their JSON form, which reports share, and where they come from: a file of regions, the
// redactions of a store, or those of an image's own tags. All areas count in pixels of the page as viewed, right and bottom
// excluded.
#pragma once

#include "apps/kann/batch.h"
#include "apps/kann/whole_image.h"

#include <string>
#include <vector>

namespace kann {

struct PageRegions {
    int page = 1;
    int width = 0, height = 0; // of the page as viewed; 0: not told
    std::vector<RECT> areas;
};
using Regions = std::vector<PageRegions>; // in the order of the pages, each at most once

// {"schema":1,"pages":[{"page":1,"size":[w,h],"regions":[[l,t,r,b]]}]}; "size" may be missing. Anything that isn't known is
// refused, so that a slip of the pen never means that nothing is covered. Throws Failure.
Regions readRegions(const Bytes& bytes, const std::string& name);
std::string regionsText(const Regions& regions);

struct RegionSources {
    std::string store;   // annotation data, a TIFF that carries it, or the JSON form; empty without
    std::string regions; // the JSON form; empty without
    int page = 0;        // of the image; 0: every page by its own number
    int storePage = 0;
};
// From --regions, --page and --store-page. Throws UsageError where there is no store to pick a page of.
RegionSources readSources(const Arguments& arguments, const std::string& store);

struct FoundRegions {
    Regions regions;                 // cut to the pages, empty areas left out
    bool holdsPixels = false;        // a redaction of the store keeps the pixels under it
    std::vector<std::string> beside; // areas that have no pixel on their page, a line each page
};
// Both sources together when both are there; the tags of the image when none is. Throws Failure for regions of pages that
// aren't there, of another size, or without a finite place.
FoundRegions findRegions(const WholeImage& image, const RegionSources& sources, JobLog& log);

// The pixels of a page that an object touches, not cut to it. Throws Failure for an object without a finite place.
RECT pixelsOf(HANNOBJECT object, SIZE page, const std::string& file);
// The object and all that it lies in are visible.
bool isShown(HANNOBJECT object, const std::string& file);

} // namespace kann
