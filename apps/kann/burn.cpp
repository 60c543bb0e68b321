// kann burn: the tree becomes part of the pixels, which keep their depth, orientation and resolution. A TIFF keeps its other
// pages and the page's compression; the page itself is written anew, without the annotations that it carried.
#include "apps/kann/batch.h"
#include "apps/kann/commands.h"
#include "apps/kann/failure.h"
#include "apps/kann/fit.h"
#include "apps/kann/image_load.h"
#include "apps/kann/opacity_burn.h"
#include "apps/kann/output_file.h"
#include "apps/kann/page_output.h"
#include "apps/kann/picture_format.h"
#include "apps/kann/tree_source.h"
#include "apps/kann/vector_image.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>

namespace kann {

namespace {

constexpr int jpegQuality = 95; // a second coding should cost little

enum TiffTag : std::uint16_t { tagBits = 258, tagPhotometric = 262, tagProfile = 34675 };
constexpr std::uint16_t photometricInks = 5;

// What a page keeps besides its pixels. Tags that may hold a small copy of the picture aren't among them.
constexpr auto keptTags = std::to_array<std::uint16_t>({
    254,        // kind of page
    269,        // document's name
    270,        // description
    271,        // scanner's make
    272,        // ... and model
    285,        // page's name
    297,        // page's number
    305,        // software
    306,        // date
    315,        // artist
    33432,      // copyright
    tagProfile, // colour profile
});

struct TagBytes {
    std::uint16_t type = 0;
    std::uint32_t count = 0;
    Bytes bytes; // empty when the page hasn't got the tag
};

TagBytes loadTag(const char* path, std::uint16_t tag, int page) {
    KernelLoadOptions options{};
    K_DefaultLoadOptions(&options, sizeof options);
    options.nPageNumber = page;
    TagBytes value;
    HGLOBAL block = nullptr;
    const int size = K_LoadFileTag(path, tag, &value.type, &value.count, &block, &options);
    if (size <= 0 || !block) return value;
    const auto* data = static_cast<const std::uint8_t*>(GlobalLock(block));
    value.bytes.assign(data, data + size);
    GlobalFree(block);
    return value;
}

std::uint16_t firstWord(const TagBytes& value) {
    std::uint16_t word = 0;
    if (value.bytes.size() >= sizeof word) std::memcpy(&word, value.bytes.data(), sizeof word);
    return word;
}

// The queue of tags of this thread's next save, emptied again when there is none.
class QueuedTags {
public:
    QueuedTags(const InputFile& file, int page, bool withProfile) {
        const InputPath path(file);
        for (const std::uint16_t tag : keptTags) {
            if (tag == tagProfile && !withProfile) continue;
            const TagBytes value = loadTag(path.get(), tag, page);
            if (!value.bytes.empty()) check(K_SetFileTag(tag, value.type, value.count, value.bytes.data()), file.name);
        }
    }
    ~QueuedTags() {
        for (const std::uint16_t tag : keptTags) K_SetFileTag(tag, 0, 0, nullptr);
    }
    QueuedTags(const QueuedTags&) = delete;
    QueuedTags& operator=(const QueuedTags&) = delete;
};

// What the file's colours lost when they became a bitmap.
struct ColorLoss {
    bool inks = false; // they are red, green and blue now
    bool deep = false; // 16 bits of each became 8
};

ColorLoss colorLoss(const InputFile& file, int format, int page) {
    constexpr std::size_t pngDepthAt = 24, pngColorAt = 25;
    if (format == KB_FORMAT_TIFF) {
        const InputPath path(file);
        const TagBytes bits = loadTag(path.get(), tagBits, page);
        return {firstWord(loadTag(path.get(), tagPhotometric, page)) == photometricInks,
                bits.count >= 3 && firstWord(bits) > 8};
    }
    if (format != KB_FORMAT_PNG) return {};
    const Bytes start = readStart(file, pngColorAt + 1);
    return {false, start.size() > pngColorAt && start[pngDepthAt] == 16 && start[pngColorAt] != 0};
}

void burnInto(Bitmap& image, const Tree& tree, const InputFile& file, const std::string& treeName) {
    KernelBitmap& pixels = image.record;
    if ((pixels.BitsPerPixel == 12 || pixels.BitsPerPixel == 16) && K_IsGrayscaleBitmap(&pixels) == 1) {
        throw failure(file.name, ERROR_FEATURE_NOT_SUPPORTED, "grey of 12 or 16 bits takes no annotations");
    }
    measureBy(tree, resolutionOf(pixels), treeName);
    if (pixels.BitsPerPixel == 32 && pixels.Alpha) {
        realizeWithOpacity(image, tree, treeName);
    } else {
        realize(pixels, tree, false, treeName);
    }
}

// Replaces one page in a copy of the file.
void savePage(const Bitmap& image, const InputFile& file, int page, bool withProfile, OutputFile& output, JobLog& log) {
    KernelSaveOptions options{};
    K_DefaultSaveOptions(&options, sizeof options);
    options.uFlags = SAVE_REPLACEPAGE;
    options.nPageNumber = page;
    options.nCompression = imageInfo(file, page).nCompression;
    options.nQuality = jpegQuality;
    output.write(readAll(file));
    const QueuedTags tags(file, page, withProfile);
    const char* const copy = output.workPath().c_str();
    int code = K_SaveFile(copy, &image.record, KB_FORMAT_TIFF, &options);
    if (code == ERROR_FEATURE_NOT_SUPPORTED && options.nCompression != KB_COMPRESS_DEFAULT) {
        log.warnings.push_back(file.name + ": the page's compression doesn't fit, another one is taken");
        options.nCompression = KB_COMPRESS_DEFAULT;
        code = K_SaveFile(copy, &image.record, KB_FORMAT_TIFF, &options);
    }
    check(code, output.name());
}

void burn(const Job& job, const PageChoice& pages, int outFormat, JobLog& log) {
    OutputFile output(job.output);
    const InputFile file = openInput(job.input);
    const int page = pages.page;
    if (outFormat == formatPdf) {
        writePdf(job, file, pages, output, log);
        output.commit();
        return;
    }
    const Bytes start = readStart(file, recognizedBytes);
    const int format = K_RecognizeFormat(start.data(), start.size());
    Bitmap image = loadImage(file, page);
    TreeSource source(openStoreOf(job), file, pages);
    std::string whyNone;
    const Tree tree = source.load(page, whyNone);
    if (!whyNone.empty()) log.warnings.push_back(whyNone);
    if (!tree && format == outFormat) { // nothing changes, so nothing is coded anew
        output.write(readAll(file));
        output.commit();
        return;
    }
    if (tree) burnInto(image, tree, file, source.name());
    const ColorLoss loss = colorLoss(file, format, page);
    if (loss.inks) log.warnings.push_back(file.name + ": inks became red, green and blue");
    if (loss.deep) log.warnings.push_back(file.name + ": 16 bits a colour became 8");
    if (format == KB_FORMAT_TIFF && outFormat == KB_FORMAT_TIFF) {
        savePage(image, file, page, !loss.inks, output, log);
    } else {
        KernelSaveOptions save{};
        K_DefaultSaveOptions(&save, sizeof save);
        save.nQuality = jpegQuality;
        savePicture(image, outFormat, output, &save);
    }
    output.commit();
}

} // namespace

int runBurn(const Arguments& arguments) {
    const PageChoice pages = readPageChoice(arguments);
    setVectorSize(arguments);
    // With --out-dir results keep the names of their inputs, and so their formats, unless --format says otherwise.
    const PictureFormat* const named =
        arguments.has("format") ? &pictureFormatByName(arguments.text("format"), Documents::yes) : nullptr;
    const std::vector<Job> jobs = makeJobs(arguments, {true, false, true, std::string(named ? named->extension : "")});
    std::map<std::string, int> formats; // by output
    for (const Job& job : jobs) formats[job.output] = (named ? *named : pictureFormatOf(job.output, Documents::yes)).format;
    return runJobs(arguments, jobs,
                   [&pages, &formats](const Job& job, JobLog& log) { burn(job, pages, formats.at(job.output), log); });
}

} // namespace kann
