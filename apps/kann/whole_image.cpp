// Reading and writing of whole images.
#include "apps/kann/whole_image.h"

#include "apps/kann/failure.h"
#include "apps/kann/picture_format.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace kann {

namespace {

constexpr std::uint16_t tagNewSubfile = 254, tagOldSubfile = 255, tagDepth = 258, tagPhotometric = 262, tagSamples = 277,
                        tagAcross = 282, tagDown = 283, tagUnit = 296, tagProfile = 34675;
constexpr std::uint16_t tiffUndefined = 7; // type of a profile

KernelLoadOptions optionsOf(int page) {
    KernelLoadOptions options{};
    K_DefaultLoadOptions(&options, sizeof options);
    options.nPageNumber = page;
    options.uMaxPixels =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(limits().maxPixels, std::numeric_limits<std::uint32_t>::max()));
    return options;
}

std::string pageText(int page) { return page > 1 ? "page " + std::to_string(page) : std::string(); }

// Whole numbers of a tag, the two of a fraction one after the other; empty when the page hasn't got it.
std::vector<std::uint32_t> tagNumbers(const WholeImage& image, int page, std::uint16_t tag) {
    const KernelLoadOptions options = optionsOf(page);
    const InputPath path(image.file);
    std::uint16_t type = 0;
    std::uint32_t count = 0;
    HGLOBAL block = nullptr;
    if (K_LoadFileTag(path.get(), tag, &type, &count, &block, &options) <= 0) return {};
    const std::unique_ptr<KbMemory, HGLOBAL (*)(HGLOBAL)> owner(block, GlobalFree);
    const auto* bytes = static_cast<const std::uint8_t*>(GlobalLock(block));
    constexpr std::uint16_t word = 3, number = 4, fraction = 5;
    const std::size_t unit = type == word ? 2 : type == number || type == fraction ? 4 : 1;
    std::vector<std::uint32_t> numbers(type == fraction ? std::size_t{count} * 2 : count);
    for (std::size_t i = 0; i < numbers.size(); ++i) std::memcpy(&numbers[i], bytes + i * unit, unit);
    return numbers;
}

bool isRamp(const KernelBitmap& b, bool inverted) {
    const std::uint32_t colors = 1u << b.BitsPerPixel;
    if (b.nColors != colors) return false;
    for (std::uint32_t i = 0; i < colors; ++i) {
        const std::uint32_t level = (inverted ? colors - 1 - i : i) * 255 / (colors - 1);
        const RGBQUAD& color = b.pPalette[i];
        if (color.rgbRed != level || color.rgbGreen != level || color.rgbBlue != level) return false;
    }
    return true;
}

} // namespace

bool hasRamp(const KernelBitmap& b) { return b.BitsPerPixel <= 8 && (isRamp(b, false) || isRamp(b, true)); }

KernelFileInfo WholeImage::info(int page) const {
    const KernelLoadOptions options = optionsOf(page);
    KernelFileInfo result{};
    check(K_FileInfo(InputPath(file).get(), &result, 0, &options), file.name, pageText(page));
    return result;
}

SIZE WholeImage::viewedSize(int page) const {
    const KernelFileInfo stored = info(page);
    KernelBitmap shape{};
    check(K_InitBitmap(&shape, stored.nWidth, stored.nHeight, stored.nBitsPerPixel), file.name);
    shape.ViewPerspective = stored.nViewPerspective;
    SIZE size{};
    K_GetBitmapViewSize(&shape, &size.cx, &size.cy);
    return size;
}

bool WholeImage::isSidePage(int page) const {
    if (format != KB_FORMAT_TIFF) return false;
    constexpr std::uint32_t reducedOrMask = 1 | 4, oldReduced = 2;
    const auto kind = tagNumbers(*this, page, tagNewSubfile), oldKind = tagNumbers(*this, page, tagOldSubfile);
    return (!kind.empty() && kind[0] & reducedOrMask) || (!oldKind.empty() && oldKind[0] == oldReduced);
}

bool WholeImage::losesDepth(int page) const {
    if (info(page).nBitsPerPixel < 24) return false;
    if (format == KB_FORMAT_PNG) {
        constexpr std::size_t depthAt = 24;
        return file.bytes.size() > depthAt && file.bytes[depthAt] > 8;
    }
    if (format != KB_FORMAT_TIFF) return false;
    return std::ranges::any_of(tagNumbers(*this, page, tagDepth), [](std::uint32_t bits) { return bits > 8; });
}

std::vector<int> documentPages(const WholeImage& image, JobLog& log) {
    if (image.format == KB_FORMAT_TIFF) {
        const KernelLoadOptions options = optionsOf(image.pages + 1);
        KernelFileInfo info{};
        if (const int code = K_FileInfo(InputPath(image.file).get(), &info, 0, &options); code != ERROR_PAGE_NOT_FOUND)
            throw failure(image.file.name, code == SUCCESS ? ERROR_FILE_READ : code,
                          "the chain of pages breaks behind page " + std::to_string(image.pages));
    }
    std::vector<int> pages;
    for (int page = 1; page <= image.pages; ++page) {
        if (!image.isSidePage(page)) {
            pages.push_back(page);
            continue;
        }
        log.warnings.push_back(image.file.name + ": page " + std::to_string(page) +
                               " is a preview or a mask of another one and is left out");
    }
    return pages;
}

void warnOfLosses(const WholeImage& image, int page, bool dropsProfile, JobLog& log) {
    const auto warn = [&](const char* text) {
        log.warnings.push_back(image.file.name + ": " + (page > 1 ? pageText(page) + ": " : std::string()) + text);
    };
    constexpr const char* inks = "inks or colours of another kind became red, green and blue";
    if (dropsProfile) warn("the colour profile isn't sound, needs tables or doesn't fit, and is left out");
    if (image.format == KB_FORMAT_JPEG) {
        const Bytes& bytes = image.file.bytes;
        std::uint32_t bad = 0; // no area is asked for: inks alone aren't supported
        if (K_CheckJpegAreas(bytes.data(), bytes.size(), nullptr, 0, 0, &bad) == ERROR_FEATURE_NOT_SUPPORTED) warn(inks);
    }
    const KernelFileInfo info = image.info(page);
    if ((info.nXResolution > 0) != (info.nYResolution > 0))
        warn("the resolution is told along one side alone and gets lost");
    if (image.format != KB_FORMAT_TIFF) return;
    const auto first = [&](std::uint16_t tag, std::uint32_t missing) {
        const std::vector<std::uint32_t> numbers = tagNumbers(image, page, tag);
        return numbers.empty() ? missing : numbers[0];
    };
    constexpr std::uint32_t grey = 1, rgb = 2, palette = 3, chroma = 6, noUnit = 1;
    const std::uint32_t samples = first(tagSamples, 1), kind = first(tagPhotometric, samples < 3 ? grey : rgb);
    const bool isColor = kind == rgb || (kind == chroma && info.nCompression == KB_COMPRESS_JPEG);
    const std::uint32_t kept = (isColor ? 3u : 1u) + (info.nBitsPerPixel == 32 ? 1u : 0u);
    if (!isColor && kind > palette) {
        warn(inks);
    } else if (samples > kept) {
        warn("further samples of its pixels are left out");
    }
    if (first(tagUnit, 0) == noUnit && tagNumbers(image, page, tagAcross) != tagNumbers(image, page, tagDown))
        warn("how wide its pixels are against their height is told without a unit and gets lost");
}

std::optional<Bytes> profileOf(const WholeImage& image, int page, bool isGrey) {
    HGLOBAL block = nullptr;
    std::size_t size = 0;
    const int found = K_LoadColorProfile(image.file.bytes.data(), image.file.bytes.size(), page, &block, &size);
    if (found == 0) return Bytes();
    if (found != SUCCESS) return {};
    const std::unique_ptr<KbMemory, HGLOBAL (*)(HGLOBAL)> owner(block, GlobalFree);
    const auto* data = static_cast<const std::uint8_t*>(GlobalLock(block));
    constexpr std::size_t spaceAt = 16; // four letters: what samples the profile is for
    if (std::memcmp(data + spaceAt, isGrey ? "GRAY" : "RGB ", 4) != 0) return {};
    return Bytes(data, data + size);
}

WholeImage wholeImageOf(InputFile file) {
    if (!file.inMemory) {
        file.bytes = readAll(file);
        file.inMemory = true;
    }
    if (file.bytes.empty()) throw failure(file.name, ERROR_FILE_READ, "the file is empty");
    WholeImage image{std::move(file), KB_FORMAT_UNKNOWN, 1};
    image.format = K_RecognizeFormat(image.file.bytes.data(), image.file.bytes.size());
    if (image.format == KB_FORMAT_UNKNOWN) throw failure(image.file.name, ERROR_FILE_FORMAT, "not an image");
    image.pages = image.info(1).nPages;
    return image;
}

WholeImage readWholeImage(const std::string& name) { return wholeImageOf(openInput(name)); }

WholePage loadWholePage(const WholeImage& image, int page) {
    WholePage result;
    KernelFileInfo info{};
    const KernelLoadOptions options = optionsOf(page);
    const Bytes& bytes = image.file.bytes;
    const int code = K_LoadMemory(bytes.data(), &result.bitmap.record, 0, 0, bytes.size(), &options, &info);
    check(code, image.file.name, code == ERROR_NO_MEMORY ? "see --max-pixels and --max-memory" : pageText(page));
    result.compression = info.nCompression;
    const KernelBitmap& b = result.bitmap.record;
    const bool isGrey = b.BitsPerPixel <= 8 ? hasRamp(b) : b.BitsPerPixel <= 16 && b.Order == KB_ORDER_GREY;
    std::optional<Bytes> profile = profileOf(image, page, isGrey);
    result.dropsProfile = !profile;
    if (profile) result.profile = std::move(*profile);
    return result;
}

void addWholePage(const WholePage& page, int format, bool isFirst, OutputFile& output) {
    const KernelBitmap& b = page.bitmap.record;
    KernelSaveOptions options{};
    K_DefaultSaveOptions(&options, sizeof options);
    if (format == KB_FORMAT_TIFF) {
        const bool fax = page.compression == KB_COMPRESS_G3 || page.compression == KB_COMPRESS_G4;
        // What JPEG does to a covered area's edge couldn't be judged in a strip.
        options.nCompression = page.compression == KB_COMPRESS_JPEG || (fax && b.BitsPerPixel != 1)
                                   ? int{KB_COMPRESS_DEFLATE}
                                   : page.compression;
        options.uFlags = isFirst ? 0 : SAVE_INSERTPAGE;
        options.nPageNumber = isFirst ? 1 : -1;
    }
    if (!page.profile.empty()) {
        check(K_SetFileTag(tagProfile, tiffUndefined, static_cast<std::uint32_t>(page.profile.size()), page.profile.data()),
              output.name());
    }
    const int code = K_SaveFile(output.workPath().c_str(), &b, format, &options);
    K_SetFileTag(tagProfile, 0, 0, nullptr);
    check(code, output.name());
}

int wholeFormat(const WholeImage& image, const std::string& format, const std::string& output, bool several) {
    if (!format.empty()) return pictureFormatByName(format).format;
    return several ? image.format : pictureFormatOf(output).format;
}

} // namespace kann
