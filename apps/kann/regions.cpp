// Regions out of JSON and out of trees. The matrices of a tree only scale and shift, so the place of a redaction is
// computed side by side through its containers, as doubles, and rounded outwards once: a pixel that is covered in part is
// covered. Drawing cuts places off, so one that arithmetic has put just below a pixel's edge is drawn from the pixel before:
// nothing may be taken off there. A turned redaction counts with the upright rectangle around it.
#include "apps/kann/regions.h"

#include "apps/kann/failure.h"
#include "apps/kann/fit.h"
#include "apps/kann/stored_forms.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

namespace kann {

namespace {

using Json = nlohmann::ordered_json;

constexpr int farthest = 1 << 24;   // no image is larger
constexpr double pixelNoise = 1e-6; // what arithmetic adds to a side that stands on a pixel's edge

[[noreturn]] void refuse(const std::string& name, const std::string& what) {
    throw failure(name, ERROR_FILE_READ, "not a list of regions: " + what);
}

std::string inQuotes(std::string_view word) { return std::string("\"").append(word).append("\""); }

int wholeNumber(const Json& value, const std::string& name, const char* what) {
    if (!value.is_number_integer()) refuse(name, std::string(what) + " isn't a whole number");
    if (value.is_number_unsigned() && value.get<std::uint64_t>() > farthest) return farthest;
    return static_cast<int>(std::clamp<std::int64_t>(value.get<std::int64_t>(), -farthest, farthest));
}

// Refuses a name that stands twice in one object: a parser would take one of the two and say nothing.
Json parseOnce(const Bytes& bytes, const std::string& name) {
    std::vector<std::set<std::string>> names; // of the objects that are open
    const Json::parser_callback_t look = [&](int, Json::parse_event_t event, Json& value) {
        if (event == Json::parse_event_t::object_start) names.emplace_back();
        if (event == Json::parse_event_t::object_end) names.pop_back();
        if (event == Json::parse_event_t::key && !names.back().insert(value.get<std::string>()).second)
            refuse(name, value.dump() + " stands there twice");
        return true;
    };
    return Json::parse(bytes.begin(), bytes.end(), look, false);
}

const Json& member(const Json& object, const char* key, const std::string& name) {
    if (!object.is_object() || !object.contains(key)) refuse(name, inQuotes(key) + " is missing");
    return object[key];
}

void refuseOthers(const Json& object, std::initializer_list<std::string_view> known, const std::string& name) {
    for (const auto& item : object.items()) {
        if (std::ranges::find(known, item.key()) == known.end()) refuse(name, inQuotes(item.key()) + " isn't known");
    }
}

RECT readArea(const Json& value, const std::string& name) {
    if (!value.is_array() || value.size() != 4) refuse(name, "a region is [left, top, right, bottom]");
    const RECT area{wholeNumber(value[0], name, "a side"), wholeNumber(value[1], name, "a side"),
                    wholeNumber(value[2], name, "a side"), wholeNumber(value[3], name, "a side")};
    if (area.left >= area.right || area.top >= area.bottom) refuse(name, "the region " + value.dump() + " is empty");
    return area;
}

PageRegions readPage(const Json& value, const std::string& name) {
    PageRegions page;
    page.page = wholeNumber(member(value, "page", name), name, "a page");
    if (page.page < 1) refuse(name, "pages count from 1");
    refuseOthers(value, {"page", "size", "regions"}, name);
    if (value.contains("size")) {
        const Json& size = value["size"];
        if (!size.is_array() || size.size() != 2) refuse(name, "a size is [width, height]");
        page.width = wholeNumber(size[0], name, "a width");
        page.height = wholeNumber(size[1], name, "a height");
        if (page.width < 1 || page.height < 1) refuse(name, "a size is [width, height]");
    }
    const Json& areas = member(value, "regions", name);
    if (!areas.is_array()) refuse(name, "\"regions\" isn't a list");
    for (const Json& area : areas) page.areas.push_back(readArea(area, name));
    return page;
}

// The page's entry, made when there is none.
PageRegions& entryOf(Regions& regions, int page) {
    const auto at = std::ranges::lower_bound(regions, page, {}, &PageRegions::page);
    if (at != regions.end() && at->page == page) return *at;
    return *regions.insert(at, {page, 0, 0, {}});
}

struct Axis {
    double AnnRect::*low;
    double AnnRect::*high;
    int (*scalar)(HANNOBJECT, double*);
    int (*offset)(HANNOBJECT, double*);
};
constexpr Axis across{&AnnRect::left, &AnnRect::right, K_AnnGetScalarX, K_AnnGetOffsetX};
constexpr Axis down{&AnnRect::top, &AnnRect::bottom, K_AnnGetScalarY, K_AnnGetOffsetY};

AnnRect rectOf(HANNOBJECT object, const std::string& file) {
    AnnRect rect{};
    check(K_AnnGetRect(object, &rect, nullptr), file);
    return rect;
}

struct Interval {
    double low, high;
};

// Bounds of an object along one axis in the root's space.
Interval boundsAlong(HANNOBJECT object, const Axis& axis, HANNOBJECT* root, const std::string& file) {
    const AnnRect own = rectOf(object, file);
    double low = own.*axis.low, high = own.*axis.high;
    for (HANNOBJECT at = object;;) {
        HANNOBJECT container = nullptr;
        check(K_AnnGetContainer(at, &container), file);
        if (!container) {
            *root = at;
            return {std::min(low, high), std::max(low, high)};
        }
        // An object is scaled about its own corner, shifted by its offset, and counts from its container's corner.
        double scalar = 1, offset = 0;
        check(axis.scalar(at, &scalar), file);
        check(axis.offset(at, &offset), file);
        const double corner = rectOf(at, file).*axis.low, origin = rectOf(container, file).*axis.low;
        low = (low - corner) * scalar + offset + corner + origin;
        high = (high - corner) * scalar + offset + corner + origin;
        at = container;
    }
}

int outward(double value, double (*round)(double)) {
    return static_cast<int>(std::clamp(round(value), -static_cast<double>(farthest), static_cast<double>(farthest)));
}

int collectRedaction(HANNOBJECT object, void* user) {
    std::uint32_t type = 0;
    if (const int code = K_AnnGetType(object, &type); code != SUCCESS) return code;
    if (type == ANN_OBJECT_REDACT) static_cast<std::vector<HANNOBJECT>*>(user)->push_back(object);
    return SUCCESS;
}

void addTree(const Tree& tree, const std::string& file, const WholeImage& image, int page, FoundRegions& found,
             JobLog& log) {
    if (!tree) return;
    std::vector<HANNOBJECT> redactions;
    check(K_AnnEnumerate(tree.get(), collectRedaction, &redactions, ANN_FLAG_RECURSE, nullptr), file);
    if (redactions.empty()) return;
    if (page > image.pages) {
        throw failure(image.file.name, ERROR_PAGE_NOT_FOUND, file + " has redactions for page " + std::to_string(page));
    }
    const SIZE size = image.viewedSize(page);
    std::size_t hidden = 0;
    for (const HANNOBJECT object : redactions) {
        const RECT pixels = pixelsOf(object, size, file);
        if (!isShown(object, file)) ++hidden;
        KernelBitmap kept{};
        if (K_AnnGetBitmap(object, &kept) == SUCCESS) found.holdsPixels = true;
        entryOf(found.regions, page).areas.push_back(pixels);
    }
    if (hidden > 0) {
        log.warnings.push_back(file + ": hidden redactions are covered too: " + std::to_string(hidden) + " on page " +
                               std::to_string(page));
    }
}

// Annotation data of any form: its pages belong to the image's by their numbers.
void addStore(const WholeImage& image, InputFile file, const RegionSources& sources, FoundRegions& found, JobLog& log) {
    const bool tiff = isTiff(file);
    Store store = tiff ? Store{} : openStore(file, 1);
    const int pages = tiff ? imagePages(file) : countPages(store);
    const auto add = [&](int storePage, int imagePage) {
        if (tiff) store = openStore(file, storePage);
        addTree(loadTree(store, tiff ? 1 : storePage), file.name, image, imagePage, found, log);
    };
    if (sources.page || sources.storePage) {
        const int page = std::max(sources.page, 1);
        add(sources.storePage ? sources.storePage : pages > 1 ? page : 1, page);
        return;
    }
    for (int page = 1; page <= pages; ++page) add(page, page);
}

void addJson(const Bytes& bytes, const std::string& name, FoundRegions& found) {
    for (const PageRegions& page : readRegions(bytes, name)) {
        PageRegions& entry = entryOf(found.regions, page.page);
        if (page.width && entry.width && (page.width != entry.width || page.height != entry.height))
            throw failure(name, ERROR_INV_PARAMETER, "two sizes are told for page " + std::to_string(page.page));
        if (page.width) entry.width = page.width, entry.height = page.height;
        entry.areas.insert(entry.areas.end(), page.areas.begin(), page.areas.end());
    }
}

bool looksLikeJson(const Bytes& bytes) {
    const auto first = std::ranges::find_if(bytes, [](std::uint8_t byte) { return byte > ' '; });
    return first != bytes.end() && *first == '{';
}

} // namespace

RECT pixelsOf(HANNOBJECT object, SIZE page, const std::string& file) {
    HANNOBJECT root = nullptr;
    const Interval x = boundsAlong(object, across, &root, file), y = boundsAlong(object, down, &root, file);
    if (!std::isfinite(x.low + x.high) || !std::isfinite(y.low + y.high))
        throw failure(file, ERROR_INV_PARAMETER, "a redaction has no finite place");
    const Fit fit = fitRoot(root, page.cx, page.cy, file);
    return {outward((x.low - fit.left) * fit.scaleX, std::floor), outward((y.low - fit.top) * fit.scaleY, std::floor),
            outward((x.high - fit.left) * fit.scaleX - pixelNoise, std::ceil),
            outward((y.high - fit.top) * fit.scaleY - pixelNoise, std::ceil)};
}

bool isShown(HANNOBJECT object, const std::string& file) {
    while (object) {
        BOOL visible = FALSE;
        check(K_AnnGetVisible(object, &visible), file);
        if (!visible) return false;
        check(K_AnnGetContainer(object, &object), file);
    }
    return true;
}

Regions readRegions(const Bytes& bytes, const std::string& name) {
    const Json document = parseOnce(bytes, name);
    if (document.is_discarded()) refuse(name, "not JSON");
    if (wholeNumber(member(document, "schema", name), name, "the schema") != 1) refuse(name, "\"schema\" isn't 1");
    refuseOthers(document, {"schema", "pages"}, name);
    const Json& pages = member(document, "pages", name);
    if (!pages.is_array()) refuse(name, "\"pages\" isn't a list");
    Regions regions;
    std::set<int> seen;
    for (const Json& value : pages) {
        PageRegions page = readPage(value, name);
        PageRegions& entry = entryOf(regions, page.page);
        if (!seen.insert(page.page).second) refuse(name, "page " + std::to_string(page.page) + " stands there twice");
        entry = std::move(page);
    }
    return regions;
}

std::string regionsText(const Regions& regions) {
    Json pages = Json::array();
    for (const PageRegions& page : regions) {
        Json areas = Json::array();
        for (const RECT& area : page.areas) areas.push_back({area.left, area.top, area.right, area.bottom});
        Json entry{{"page", page.page}};
        if (page.width) entry["size"] = {page.width, page.height};
        entry["regions"] = std::move(areas);
        pages.push_back(std::move(entry));
    }
    return Json{{"schema", 1}, {"pages", std::move(pages)}}.dump() + "\n";
}

RegionSources readSources(const Arguments& arguments, const std::string& store) {
    RegionSources sources;
    sources.store = store;
    sources.regions = arguments.text("regions");
    sources.page = static_cast<int>(arguments.number("page", 0, 1, 1 << 24));
    sources.storePage = static_cast<int>(arguments.number("store-page", 0, 1, 1 << 24));
    if (store.empty() && (sources.page || sources.storePage))
        throw UsageError{"--page and --store-page go with a STORE: lists of areas and tags have pages of their own"};
    return sources;
}

FoundRegions findRegions(const WholeImage& image, const RegionSources& sources, JobLog& log) {
    FoundRegions found;
    if (!sources.regions.empty()) addJson(readAll(openInput(sources.regions)), sources.regions, found);
    if (!sources.store.empty()) {
        InputFile file = openInput(sources.store);
        if (looksLikeJson(readStart(file, 256))) {
            if (sources.page || sources.storePage)
                throw failure(file.name, ERROR_INV_PARAMETER, "a list of areas takes no --page or --store-page");
            addJson(readAll(file), file.name, found);
        } else
            addStore(image, std::move(file), sources, found, log);
    } else if (sources.regions.empty() && image.format == KB_FORMAT_TIFF) {
        addStore(image, image.file, {}, found, log);
    }
    Regions cut;
    for (PageRegions& page : found.regions) {
        const std::string number = std::to_string(page.page);
        if (page.page > image.pages) throw failure(image.file.name, ERROR_PAGE_NOT_FOUND, "page " + number);
        const SIZE size = image.viewedSize(page.page);
        if (page.width && (page.width != size.cx || page.height != size.cy)) {
            throw failure(image.file.name, ERROR_INV_PARAMETER,
                          "the regions belong to another image: page " + number + " isn't " + std::to_string(page.width) +
                              " x " + std::to_string(page.height));
        }
        PageRegions kept{page.page, size.cx, size.cy, {}};
        for (const RECT& area : page.areas) {
            const RECT inside{std::max(area.left, 0), std::max(area.top, 0), std::min<int>(area.right, size.cx),
                              std::min<int>(area.bottom, size.cy)};
            if (inside.left < inside.right && inside.top < inside.bottom) kept.areas.push_back(inside);
        }
        if (kept.areas.size() < page.areas.size()) {
            found.beside.push_back(image.file.name + ": areas that have no pixel on page " + number + ": " +
                                   std::to_string(page.areas.size() - kept.areas.size()));
        }
        if (!kept.areas.empty()) cut.push_back(std::move(kept));
    }
    found.regions = std::move(cut);
    return found;
}

} // namespace kann
