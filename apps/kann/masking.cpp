// Trees laid on pages. The root is placed by numbers that aren't rounded; the rectangle for realizing is then its bounds in
// client pixels again, so that nothing is fitted twice.
#include "apps/kann/masking.h"

#include "apps/kann/failure.h"
#include "apps/kann/fit.h"
#include "apps/kann/regions.h"

#include <algorithm>

namespace kann {

namespace {

constexpr std::uint32_t quietly = ANN_FLAG_NOINVALIDATE;
constexpr BOOL unchanged = -1;

int collect(HANNOBJECT object, void* user) {
    static_cast<std::vector<HANNOBJECT>*>(user)->push_back(object);
    return SUCCESS;
}

std::vector<HANNOBJECT> allBelow(HANNOBJECT root, const std::string& name) {
    std::vector<HANNOBJECT> objects;
    check(K_AnnEnumerate(root, collect, &objects, ANN_FLAG_RECURSE, nullptr), name);
    return objects;
}

int showName(HANNOBJECT object, BOOL show) {
    return K_AnnSetName(object, show, reinterpret_cast<const char*>(-1), nullptr, unchanged, quietly);
}

} // namespace

LaidTree::LaidTree(const Tree& tree, SIZE page, std::string name) : root_(tree.get()), page_(page), name_(std::move(name)) {
    check(K_AnnGetRect(root_, &rect_, nullptr), name_);
    const Fit fit = fitTree(tree, page.cx, page.cy, name_);
    check(K_AnnSetScalarX(root_, fit.scaleX, quietly), name_);
    check(K_AnnSetScalarY(root_, fit.scaleY, quietly), name_);
    check(K_AnnSetOffsetX(root_, -fit.left, quietly), name_);
    check(K_AnnSetOffsetY(root_, -fit.top, quietly), name_);
    for (const HANNOBJECT object : allBelow(root_, name_)) {
        BOOL shown = FALSE;
        check(K_AnnGetName(object, &shown, nullptr, nullptr, nullptr, nullptr), name_);
        if (!shown) continue;
        check(showName(object, FALSE), name_);
        named_.push_back(object);
    }
}

LaidTree::~LaidTree() {
    for (const HANNOBJECT object : named_) showName(object, TRUE);
    AnnRect rect{};
    const bool known = K_AnnGetRect(root_, &rect, nullptr) == SUCCESS;
    if (known && (rect.right != rect_.right || rect.bottom != rect_.bottom)) K_AnnSetRect(root_, &rect_);
    K_AnnSetScalarX(root_, 1, quietly);
    K_AnnSetScalarY(root_, 1, quietly);
    K_AnnSetOffsetX(root_, 0, quietly);
    K_AnnSetOffsetY(root_, 0, quietly);
}

std::vector<Redaction> LaidTree::redactions() const {
    std::vector<Redaction> found;
    for (const HANNOBJECT object : allBelow(root_, name_)) {
        std::uint32_t type = 0;
        check(K_AnnGetType(object, &type), name_);
        if (type != ANN_OBJECT_REDACT) continue;
        const RECT box = pixelsOf(object, page_, name_);
        Redaction redaction{object,
                            {std::max(box.left, 0), std::max(box.top, 0), std::min<int>(box.right, page_.cx),
                             std::min<int>(box.bottom, page_.cy)},
                            {},
                            isShown(object, name_),
                            false};
        KernelBitmap kept{};
        if (K_AnnGetBitmap(object, &kept) == SUCCESS)
            K_GetBitmapViewSize(&kept, &redaction.kept.right, &redaction.kept.bottom);
        BOOL locked = FALSE;
        check(K_AnnGetLocked(object, &locked), name_);
        redaction.locked = locked != 0;
        found.push_back(redaction);
    }
    return found;
}

RECT LaidTree::view() const {
    RECT view{};
    check(K_AnnGetBoundingRect(root_, &view, nullptr), name_);
    if (view.right <= view.left) view.right = view.left + page_.cx;
    if (view.bottom <= view.top) view.bottom = view.top + page_.cy;
    return view;
}

std::vector<StorePage> pairPages(const Store& store, const Arguments& arguments, int imagePages) {
    const auto page = static_cast<int>(arguments.number("page", 0, 1, 1 << 24));
    const auto storePage = static_cast<int>(arguments.number("store-page", 0, 1, 1 << 24));
    const int pages = countPages(store);
    const bool oneAlone = page || storePage || pages == 1;
    const int chosenPage = std::max(page, 1), chosenStorePage = storePage ? storePage : pages > 1 ? chosenPage : 1;
    if (oneAlone && chosenPage > imagePages) throw UsageError{"--page: the image has fewer pages"};
    std::vector<StorePage> pairs;
    for (int number = 1; number <= pages; ++number) {
        const int belongs = oneAlone ? (number == chosenStorePage ? chosenPage : 0) : number;
        pairs.push_back({belongs <= imagePages ? belongs : 0, number});
    }
    return pairs;
}

void writeChanged(const WholeImage& image, const std::vector<int>& pages, const Arguments& arguments, OutputFile& output,
                  JobLog& log, const std::function<void(Bitmap&, int page)>& change) {
    const int format = wholeFormat(image, arguments.text("format"), arguments.text("output"), false);
    if (format == KB_FORMAT_JPEG)
        throw failure(output.name(), ERROR_FEATURE_NOT_SUPPORTED, "a JPEG doesn't keep pixels as they are");
    if (pages.size() > 1 && format != KB_FORMAT_TIFF)
        throw failure(image.file.name, ERROR_FEATURE_NOT_SUPPORTED, "only TIFF holds several pages");
    for (const int number : pages) {
        if (image.losesDepth(number))
            throw failure(image.file.name, ERROR_FEATURE_NOT_SUPPORTED, "colours of more than 8 bits a sample");
        WholePage page = loadWholePage(image, number);
        warnOfLosses(image, number, page.dropsProfile, log);
        change(page.bitmap, number);
        addWholePage(page, format, number == pages.front(), output);
    }
}

} // namespace kann
