// The parts of a judgement: what the file holds beside its pages, the covered pixels themselves, colours that only they
// had, annotation data, and other pages that show the same.
#include "apps/kann/judge.h"

#include "apps/kann/cover.h"
#include "apps/kann/failure.h"
#include "apps/kann/page_likeness.h"
#include "apps/kann/stored_forms.h"
#include "apps/kann/stored_text.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace kann {

namespace {

constexpr std::size_t mostFinds = 100;

struct KindRow {
    int kind;
    std::string_view text;
};
constexpr auto kinds = std::to_array<KindRow>({
    {KB_LEFT_PART, "isn't part of the picture"},
    {KB_LEFT_IMAGE, "is or may hold a second image"},
    {KB_LEFT_BYTES, "bytes that belong to nothing"},
    {KB_LEFT_BEHIND, "bytes behind the end of the image"},
    {KB_LEFT_SLACK, "data that isn't shown"},
    {KB_LEFT_PROFILE, "a colour profile that holds more than its colours, isn't sound or doesn't fit"},
    {KB_LEFT_CODING, "coded in a way that can't be judged"},
});

std::string hexadecimal(std::uint32_t number) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%X", number);
    return text.data();
}

std::string codeName(int format, std::uint32_t code) {
    switch (format) {
    case KB_FORMAT_TIFF: return "tag " + std::to_string(code);
    case KB_FORMAT_JPEG: return "marker FF" + hexadecimal(code);
    default: break;
    }
    std::string letters = "chunk ";
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto letter = static_cast<char>(code >> shift & 0xFFu);
        letters += letter > ' ' && letter < 127 ? letter : '?';
    }
    return letters;
}

struct Finds {
    const WholeImage& image;
    std::vector<std::string> lines;
    std::vector<int> taggedPages; // with annotation data, which is judged apart

    void add(int page, const std::string& text) {
        if (lines.size() >= mostFinds) return;
        lines.push_back((page && image.pages > 1 ? "page " + std::to_string(page) + ": " : std::string()) + text);
    }
};

int tellLeftover(const KernelLeftover* leftover, void* user) {
    auto& finds = *static_cast<Finds*>(user);
    if (finds.image.format == KB_FORMAT_TIFF && leftover->nKind == KB_LEFT_PART && leftover->uCode == ANN_TAG_TIFF) {
        finds.taggedPages.push_back(leftover->nPage);
        return SUCCESS;
    }
    const auto row = std::ranges::find(kinds, leftover->nKind, &KindRow::kind);
    std::string text = leftover->uCode ? codeName(finds.image.format, leftover->uCode) + ": " : std::string();
    text +=
        std::string(row == kinds.end() ? "something unknown" : row->text) + ", at byte " + std::to_string(leftover->uOffset);
    finds.add(leftover->nPage, text);
    return SUCCESS;
}

bool holdsImages(const StoredNode& node) {
    const auto isImage = [](const nlohmann::ordered_json& value) { return value.is_object() && value.contains("sha256"); };
    return std::ranges::any_of(node.fields, isImage) || std::ranges::any_of(node.children, holdsImages);
}

// Annotation data may stay when it is a tree without any picture and nothing more than that tree.
void judgeAnnotations(Finds& finds, int page) {
    try {
        const Store store = openStore(finds.image.file, page);
        const Tree tree = loadTree(store, 1);
        if (!tree || (store.form != StoreForm::native && store.form != StoreForm::coded)) {
            finds.add(page, "annotation data that can't be judged");
            return;
        }
        const Bytes text = saveTree(tree.get(), ANN_FMT_NATIVE, {}, 0, 1, store.file.name);
        const StoredNode root = readStoredTree({reinterpret_cast<const char*>(text.data()), text.size()});
        if (holdsImages(root)) finds.add(page, "annotation data with pixels");
        if (saveTree(tree.get(), storedFormNumber(store.form), {}, 0, 1, store.file.name) != store.data)
            finds.add(page, "annotation data with more in it than its tree");
    } catch (const Failure& error) {
        finds.add(page, "annotation data that can't be judged: " + error.message);
    } catch (const std::runtime_error& error) {
        finds.add(page, std::string("annotation data that can't be judged: ") + error.what());
    }
}

std::string areaText(const RECT& area) {
    return std::to_string(area.left) + "," + std::to_string(area.top) + "," + std::to_string(area.right) + "," +
           std::to_string(area.bottom);
}

void judgeJpegAreas(Finds& finds, const PageRegions& regions) {
    const KernelFileInfo info = finds.image.info(1);
    KernelBitmap shape{};
    check(K_InitBitmap(&shape, info.nWidth, info.nHeight, info.nBitsPerPixel), finds.image.file.name);
    shape.ViewPerspective = info.nViewPerspective;
    const std::vector<RECT> areas = storedAreas(shape, regions.areas);
    const Bytes& bytes = finds.image.file.bytes;
    std::uint32_t bad = 0;
    check(K_CheckJpegAreas(bytes.data(), bytes.size(), areas.data(), static_cast<std::uint32_t>(areas.size()), RGB(0, 0, 0),
                           &bad),
          finds.image.file.name);
    if (bad > 0) finds.add(1, "covered areas aren't black in " + std::to_string(bad) + " blocks or more");
}

void judgeAreas(Finds& finds, const PageRegions& regions) {
    if (finds.image.format == KB_FORMAT_JPEG) return judgeJpegAreas(finds, regions);
    const WholePage page = loadWholePage(finds.image, regions.page);
    const KernelBitmap& b = page.bitmap.record;
    for (const RECT& area : regions.areas) {
        const std::vector<RECT> stored = storedAreas(b, {&area, 1});
        if (stored.empty() || findUnlike(b, stored[0]))
            finds.add(regions.page, "the area " + areaText(area) + " isn't of one colour");
    }
}

// On any page, covered or not: what was covered on one may be carried out on another.
void judgeUnseen(Finds& finds, int page) {
    if (finds.image.format == KB_FORMAT_JPEG) return; // has neither
    const WholePage loaded = loadWholePage(finds.image, page);
    if (hasUnseenBytes(loaded.bitmap.record)) finds.add(page, "a fourth byte of the pixels that isn't shown");
    if (hasUnusedColors(loaded.bitmap.record)) finds.add(page, "the palette has colours that no pixel shows");
}

} // namespace

std::vector<std::string> judge(const WholeImage& image, const Regions& regions) {
    Finds finds{image, {}, {}};
    try {
        const Bytes& bytes = image.file.bytes;
        check(K_FindLeftovers(bytes.data(), bytes.size(), tellLeftover, &finds), image.file.name);
        for (const int page : finds.taggedPages) judgeAnnotations(finds, page);
        if (regions.empty()) finds.add(0, "there are no areas to judge by");
        for (const PageRegions& page : regions) judgeAreas(finds, page);
        for (int page = 1; page <= image.pages; ++page) judgeUnseen(finds, page);
        for (const PageLikeness& likeness : findLikePages(image, regions)) {
            finds.add(likeness.other,
                      "looks like page " + std::to_string(likeness.covered) + " and isn't covered where that one is");
        }
    } catch (const Failure& error) {
        finds.add(0, "can't be judged: " + error.message);
    }
    return finds.lines;
}

} // namespace kann
