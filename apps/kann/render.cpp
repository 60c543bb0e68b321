// kann render: the image on white, 24 bits a pixel, and the tree drawn over it; or a PDF (page_output.h). Drawing reaches
// 8,000 pixels from the origin, so larger results are drawn in tiles, each a bitmap of its own with the root shifted by the
// tile's place.
#include "apps/kann/batch.h"
#include "apps/kann/commands.h"
#include "apps/kann/failure.h"
#include "apps/kann/fit.h"
#include "apps/kann/image_load.h"
#include "apps/kann/output_file.h"
#include "apps/kann/page_image.h"
#include "apps/kann/page_output.h"
#include "apps/kann/picture_format.h"
#include "apps/kann/tree_source.h"
#include "apps/kann/vector_image.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>
#include <vector>

namespace kann {

namespace {

constexpr int drawingReach = 8000;
constexpr int tileSide = 4096; // of results that are too large to be drawn at once

struct RenderOptions {
    PageChoice pages;
    double scale;
    std::set<std::uint32_t> select;
    int format;
};

int roundedSide(double value) { return static_cast<int>(std::clamp(std::floor(value + 0.5), 1.0, 16777216.0)); }

struct Selection {
    const std::set<std::uint32_t>* tags;
    std::set<std::uint32_t> found;
    std::vector<HANNOBJECT> objects;
};

int collectSelected(HANNOBJECT object, void* user) {
    auto* selection = static_cast<Selection*>(user);
    std::uint32_t tag = 0;
    if (const int code = K_AnnGetTag(object, &tag); code != SUCCESS) return code;
    if (!selection->tags->contains(tag)) return SUCCESS;
    selection->found.insert(tag);
    selection->objects.push_back(object);
    return SUCCESS;
}

void select(const Tree& tree, const std::set<std::uint32_t>& tags, const std::string& name, JobLog& log) {
    if (tags.empty()) return;
    Selection selection{&tags, {}, {}};
    check(K_AnnEnumerate(tree.get(), collectSelected, &selection, ANN_FLAG_RECURSE, nullptr), name);
    for (const HANNOBJECT object : selection.objects) check(K_AnnSetSelected(object, TRUE, ANN_FLAG_NOINVALIDATE), name);
    for (const std::uint32_t tag : tags) {
        if (!selection.found.contains(tag)) log.warnings.push_back(name + ": no object has the tag " + std::to_string(tag));
    }
}

void drawOn(KernelBitmap& bitmap, const Tree& tree, const std::string& name) {
    const HDC context = K_BitmapDC(&bitmap);
    if (!context) throw failure(name, ERROR_NO_MEMORY);
    const int drawn = K_AnnDraw(context, nullptr, tree.get());
    const int released = K_ReleaseBitmapDC(context);
    check(drawn, name);
    check(released, name);
}

void copyRows(const KernelBitmap& from, int fromX, int fromY, KernelBitmap& to, int toX, int toY, int width, int height,
              const std::string& name) {
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* source = K_BitmapRowPointer(&from, fromY + y);
        std::uint8_t* target = K_WritableBitmapRow(&to, toY + y);
        if (!source || !target) throw failure(name, ERROR_NO_MEMORY);
        std::memcpy(target + static_cast<std::size_t>(toX) * 3, source + static_cast<std::size_t>(fromX) * 3,
                    static_cast<std::size_t>(width) * 3);
    }
}

void drawTree(Bitmap& image, const Tree& tree, const Fit& fit, const std::string& name) {
    KernelBitmap& whole = image.record;
    if (whole.Width < drawingReach && whole.Height < drawingReach) {
        placeRoot(tree, fit, 0, 0, name);
        drawOn(whole, tree, name);
        return;
    }
    for (int y = 0; y < whole.Height; y += tileSide) {
        for (int x = 0; x < whole.Width; x += tileSide) {
            const int width = std::min(tileSide, whole.Width - x), height = std::min(tileSide, whole.Height - y);
            Bitmap tile;
            check(K_CreateBitmap(&tile.record, 1, width, height, 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), name);
            tile.record.XResolution = whole.XResolution;
            tile.record.YResolution = whole.YResolution;
            copyRows(whole, x, y, tile.record, 0, 0, width, height, name);
            placeRoot(tree, fit, x, y, name);
            drawOn(tile.record, tree, name);
            copyRows(tile.record, 0, 0, whole, x, y, width, height, name);
        }
    }
}

void render(const Job& job, const RenderOptions& options, JobLog& log) {
    OutputFile output(job.output);
    const InputFile file = openInput(job.input);
    const PageChoice& pages = options.pages;
    if (options.format == formatPdf) {
        writePdf(job, file, pages, output, log);
        output.commit();
        return;
    }
    Bitmap image = onWhite(loadImage(file, pages.page), file.name);
    TreeSource source(openStoreOf(job), file, pages);
    std::string whyNone;
    const Tree tree = source.load(pages.page, whyNone);
    if (!whyNone.empty()) log.warnings.push_back(whyNone);
    const Resolution resolution = resolutionOf(image.record);
    const int fullWidth = image.record.Width, fullHeight = image.record.Height;
    if (options.scale != 1) {
        const int width = roundedSide(image.record.Width * options.scale),
                  height = roundedSide(image.record.Height * options.scale);
        if (static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) > limits().maxPixels) {
            throw failure(file.name, ERROR_NO_MEMORY, "the scaled image has more pixels than --max-pixels allows");
        }
        image = scaled(image, width, height, file.name);
    }
    if (tree) {
        const std::string& name = source.name();
        measureBy(tree, resolution, name);
        select(tree, options.select, name, log);
        Fit fit = fitTree(tree, fullWidth, fullHeight, name); // marks count in pixels of the whole image
        fit.scaleX *= static_cast<double>(image.record.Width) / fullWidth;
        fit.scaleY *= static_cast<double>(image.record.Height) / fullHeight;
        drawTree(image, tree, fit, name);
    }
    savePicture(image, options.format, output);
    output.commit();
}

} // namespace

int runRender(const Arguments& arguments) {
    RenderOptions options{};
    options.pages = readPageChoice(arguments);
    options.scale = arguments.positiveReal("scale", 1);
    for (const std::string& tag : arguments.list("select")) {
        options.select.insert(static_cast<std::uint32_t>(parseNumber(tag, "--select", 0, 0xFFFFFFFFll)));
    }
    setVectorSize(arguments);
    const PictureFormat& named = pictureFormatByName(arguments.text("format", "png"), Documents::yes);
    const std::vector<Job> jobs = makeJobs(arguments, {true, false, true, std::string(named.extension)});
    options.format = arguments.has("format") || arguments.has("out-dir") || jobs.empty()
                         ? named.format
                         : pictureFormatOf(jobs[0].output, Documents::yes).format;
    if (options.format == formatPdf && (arguments.has("scale") || arguments.has("select"))) {
        throw UsageError{"--scale and --select don't go with a PDF"};
    }
    return runJobs(arguments, jobs, [&options](const Job& job, JobLog& log) { render(job, options, log); });
}

} // namespace kann
