// kann render: the image on white, 24 bits a pixel, and the tree drawn over it. The tree is fitted to the image by its
// root's scale and offset. Drawing reaches 8,000 pixels from the origin, so larger results are drawn in tiles, each a bitmap
// of its own with the root shifted by the tile's place.
#include "apps/kann/batch.h"
#include "apps/kann/commands.h"
#include "apps/kann/failure.h"
#include "apps/kann/image_load.h"
#include "apps/kann/output_file.h"
#include "apps/kann/picture_format.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>

namespace kann {

namespace {

constexpr int drawingReach = 8000;
constexpr int tileSide = 4096; // of results that are too large to be drawn at once

struct RenderOptions {
    int page;
    int storePage; // 0: by the image's page
    std::uint32_t userMode;
    double scale;
    std::set<std::uint32_t> select;
    int format;
};

int roundedSide(double value) { return static_cast<int>(std::clamp(std::floor(value + 0.5), 1.0, 16777216.0)); }

// 24 bits, upright, opacity worked in over white.
Bitmap onWhite(Bitmap image, const std::string& name) {
    check(K_NormalizeBitmap(&image.record), name);
    const KernelBitmap& source = image.record;
    if (source.BitsPerPixel == 24 && source.Order == KB_ORDER_BGR) return image;
    Bitmap result;
    if (source.BitsPerPixel != 32) {
        check(K_ChangeBitmapDepth(&source, &result.record, 24, 0, 0, 0, 0, 0, 0), name);
        if (result.record.Order == KB_ORDER_BGR) return result;
        image = std::move(result);
        result = Bitmap();
    }
    check(K_CreateBitmap(&result.record, 1, source.Width, source.Height, 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0),
          name);
    result.record.XResolution = source.XResolution;
    result.record.YResolution = source.YResolution;
    const int step = source.BitsPerPixel / 8;
    const int blue = source.Order == KB_ORDER_RGB ? 2 : 0;
    for (int y = 0; y < source.Height; ++y) {
        const std::uint8_t* from = K_BitmapRowPointer(&source, y);
        std::uint8_t* to = K_WritableBitmapRow(&result.record, y);
        if (!from || !to) throw failure(name, ERROR_NO_MEMORY);
        for (int x = 0; x < source.Width; ++x, from += step, to += 3) {
            const unsigned opacity = step == 4 && source.Alpha ? from[3] : 255;
            const auto over = [opacity](unsigned value) {
                return static_cast<std::uint8_t>((value * opacity + 255 * (255 - opacity) + 127) / 255);
            };
            to[0] = over(from[blue]);
            to[1] = over(from[1]);
            to[2] = over(from[2 - blue]);
        }
    }
    return result;
}

// Smaller by averaging the area that falls into a pixel, larger by repeating pixels; axis by axis.
struct AxisSpan {
    int first;
    std::vector<float> weights;
};

std::vector<AxisSpan> axisSpans(int from, int to) {
    std::vector<AxisSpan> spans(static_cast<std::size_t>(to));
    const double step = static_cast<double>(from) / to;
    for (int i = 0; i < to; ++i) {
        AxisSpan& span = spans[static_cast<std::size_t>(i)];
        const double begin = i * step, end = std::min<double>(from, (i + 1) * step);
        if (step <= 1) {
            span = {std::min(from - 1, static_cast<int>((i + 0.5) * step)), {1.0f}};
            continue;
        }
        span.first = static_cast<int>(begin);
        for (int at = span.first; at < end && at < from; ++at) {
            span.weights.push_back(
                static_cast<float>((std::min(end, at + 1.0) - std::max(begin, static_cast<double>(at))) / (end - begin)));
        }
    }
    return spans;
}

Bitmap scaled(const Bitmap& image, int width, int height, const std::string& name) {
    const KernelBitmap& source = image.record;
    Bitmap result;
    check(K_CreateBitmap(&result.record, 1, width, height, 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), name);
    const auto resolution = [](int value, int now, int before) {
        return static_cast<int>(static_cast<double>(value) * now / before + 0.5);
    };
    result.record.XResolution = resolution(source.XResolution, width, source.Width);
    result.record.YResolution = resolution(source.YResolution, height, source.Height);
    const std::vector<AxisSpan> columns = axisSpans(source.Width, width), rows = axisSpans(source.Height, height);
    std::vector<float> sums(static_cast<std::size_t>(source.Width) * 3);
    for (int y = 0; y < height; ++y) {
        const AxisSpan& row = rows[static_cast<std::size_t>(y)];
        std::ranges::fill(sums, 0.0f);
        for (std::size_t i = 0; i < row.weights.size(); ++i) {
            const std::uint8_t* from = K_BitmapRowPointer(&source, row.first + static_cast<int>(i));
            for (std::size_t x = 0; x < sums.size(); ++x) sums[x] += row.weights[i] * static_cast<float>(from[x]);
        }
        std::uint8_t* to = K_WritableBitmapRow(&result.record, y);
        for (const AxisSpan& column : columns) {
            float value[3] = {0.5f, 0.5f, 0.5f};
            for (std::size_t i = 0; i < column.weights.size(); ++i) {
                const float* sum = &sums[(static_cast<std::size_t>(column.first) + i) * 3];
                for (int c = 0; c < 3; ++c) value[c] += column.weights[i] * sum[c];
            }
            for (const float one : value) *to++ = static_cast<std::uint8_t>(std::min(one, 255.0f));
        }
    }
    return result;
}

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

// Scale and offset that put the root's rectangle on the whole image; a side without length keeps its scale.
struct Fit {
    double scaleX = 1, scaleY = 1, left = 0, top = 0;
};

Fit fitTree(const Tree& tree, const KernelBitmap& image, double scale, const std::string& name) {
    AnnRect rect{};
    check(K_AnnGetRect(tree.get(), &rect, nullptr), name);
    const auto side = [scale](double length, int pixels) {
        const double factor = pixels / length;
        return std::isfinite(factor) && factor > 0 ? factor : scale;
    };
    return {side(rect.right - rect.left, image.Width), side(rect.bottom - rect.top, image.Height), rect.left, rect.top};
}

void placeRoot(const Tree& tree, const Fit& fit, int x, int y, const std::string& name) {
    constexpr std::uint32_t flags = ANN_FLAG_NOINVALIDATE;
    check(K_AnnSetScalarX(tree.get(), fit.scaleX, flags), name);
    check(K_AnnSetScalarY(tree.get(), fit.scaleY, flags), name);
    check(K_AnnSetOffsetX(tree.get(), -fit.left - x, flags), name);
    check(K_AnnSetOffsetY(tree.get(), -fit.top - y, flags), name);
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

void measureBy(const Tree& tree, const KernelBitmap& image, const std::string& name) {
    constexpr std::uint32_t flags = ANN_FLAG_RECURSE | ANN_FLAG_NOINVALIDATE;
    if (image.XResolution > 0) check(K_AnnSetBitmapDpiX(tree.get(), image.XResolution, flags), name);
    if (image.YResolution > 0) check(K_AnnSetBitmapDpiY(tree.get(), image.YResolution, flags), name);
}

Tree treeFor(const Job& job, const InputFile& imageFile, const RenderOptions& options, std::string& name, JobLog& log) {
    Store store;
    if (job.store.empty()) {
        if (!isTiff(imageFile)) {
            log.warnings.push_back(imageFile.name + ": this format carries no annotation data");
            return {};
        }
        store = openStore(imageFile, options.storePage ? options.storePage : options.page);
    } else {
        InputFile file = openInput(job.store);
        const int tagPage = options.storePage ? options.storePage : isTiff(file) && imagePages(file) > 1 ? options.page : 1;
        store = openStore(std::move(file), tagPage);
    }
    name = store.file.name;
    if (store.data.empty()) {
        log.warnings.push_back(name + ": the page carries no annotation data");
        return {};
    }
    int page = 1;
    if (!store.inTag)
        page = options.storePage ? options.storePage : options.page > 1 && countPages(store) > 1 ? options.page : 1;
    return loadTree(store, page);
}

void render(const Job& job, const RenderOptions& options, JobLog& log) {
    OutputFile output(job.output);
    const InputFile file = openInput(job.input);
    Bitmap image = loadImage(file, options.page);
    std::string treeName = file.name;
    const Tree tree = treeFor(job, file, options, treeName, log);
    image = onWhite(std::move(image), file.name);
    if (tree) measureBy(tree, image.record, treeName);
    if (options.scale != 1) {
        const int width = roundedSide(image.record.Width * options.scale),
                  height = roundedSide(image.record.Height * options.scale);
        if (static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) > limits().maxPixels) {
            throw failure(file.name, ERROR_NO_MEMORY, "the scaled image has more pixels than --max-pixels allows");
        }
        image = scaled(image, width, height, file.name);
    }
    if (tree) {
        check(K_AnnSetUserMode(tree.get(), options.userMode), treeName);
        select(tree, options.select, treeName, log);
        drawTree(image, tree, fitTree(tree, image.record, options.scale, treeName), treeName);
    }
    savePicture(image, options.format, output);
    output.commit();
}

} // namespace

int runRender(const Arguments& arguments) {
    RenderOptions options{};
    options.page = static_cast<int>(arguments.number("page", 1, 1, 1 << 24));
    options.storePage = static_cast<int>(arguments.number("store-page", 0, 1, 1 << 24));
    options.userMode = arguments.text("mode", "run") == "design" ? ANN_USERMODE_DESIGN : ANN_USERMODE_RUN;
    options.scale = arguments.positiveReal("scale", 1);
    for (const std::string& tag : arguments.list("select")) {
        options.select.insert(static_cast<std::uint32_t>(parseNumber(tag, "--select", 0, 0xFFFFFFFFll)));
    }
    const PictureFormat& named = pictureFormatByName(arguments.text("format", "png"));
    const std::vector<Job> jobs = makeJobs(arguments, {true, false, true, std::string(named.extension)});
    options.format = arguments.has("format") || arguments.has("out-dir") || jobs.empty()
                         ? named.format
                         : pictureFormatOf(jobs[0].output).format;
    return runJobs(arguments, jobs, [&options](const Job& job, JobLog& log) { render(job, options, log); });
}

} // namespace kann
