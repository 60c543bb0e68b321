// kann redact: covers areas for good. The image is written whole and new, page by page: covered pixels are filled by rows, a
// JPEG's on its coefficients. What was written is then read again and judged as `kann verify` does, before it gets its name.
#include "apps/kann/batch.h"
#include "apps/kann/commands.h"
#include "apps/kann/cover.h"
#include "apps/kann/failure.h"
#include "apps/kann/judge.h"
#include "apps/kann/output_file.h"
#include "apps/kann/regions.h"
#include "apps/kann/whole_image.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace kann {

namespace {

struct RedactOptions {
    RegionSources sources;
    std::string format, report;
    bool dryRun = false;
    bool cutsDepth = false;
};

// Pages of the result: those of the input but for previews and masks, which would show what is covered.
struct PageRow {
    int from, to;
    const PageRegions* regions; // null: nothing is covered
};

std::vector<PageRow> keptPages(const WholeImage& image, Regions& regions, JobLog& log) {
    std::vector<PageRow> rows;
    Regions kept;
    for (const int page : documentPages(image, log)) {
        const auto found = std::ranges::find(regions, page, &PageRegions::page);
        rows.push_back({page, static_cast<int>(rows.size()) + 1, nullptr});
        if (found == regions.end()) continue;
        kept.push_back(std::move(*found));
        kept.back().page = rows.back().to;
    }
    regions = std::move(kept);
    for (PageRow& row : rows) {
        const auto found = std::ranges::find(regions, row.to, &PageRegions::page);
        if (found != regions.end()) row.regions = &*found;
    }
    return rows;
}

void fillJpeg(std::span<const std::uint8_t> bytes, std::span<const RECT> areas, const std::string& name,
              OutputFile& output) {
    HGLOBAL block = nullptr;
    std::size_t size = 0;
    check(K_FillJpegAreas(bytes.data(), bytes.size(), areas.data(), static_cast<std::uint32_t>(areas.size()), RGB(0, 0, 0),
                          &block, &size),
          name);
    const std::unique_ptr<KbMemory, HGLOBAL (*)(HGLOBAL)> owner(block, GlobalFree);
    output.write(std::span(static_cast<const std::uint8_t*>(GlobalLock(block)), size));
}

// Pixels of the written page that aren't of the one colour.
void checkPage(const WholeImage& written, const PageRow& row, COLORREF color) {
    const WholePage page = loadWholePage(written, row.to);
    const KernelBitmap& b = page.bitmap.record;
    for (const RECT& area : storedAreas(b, row.regions->areas)) {
        if (findUnlike(b, area) || K_GetBitmapPixel(&b, area.top, area.left) != color)
            throw failure(written.file.name, ERROR_FAILURE, "covered pixels didn't come out covered");
    }
}

void writePage(const WholeImage& image, const PageRow& row, int format, bool cutsDepth, OutputFile& output,
               std::vector<COLORREF>& colors, JobLog& log) {
    const std::string& name = image.file.name;
    const std::span<const RECT> viewed = row.regions ? std::span<const RECT>(row.regions->areas) : std::span<const RECT>();
    if (image.losesDepth(row.from)) {
        if (!cutsDepth)
            throw failure(name, ERROR_FEATURE_NOT_SUPPORTED, "colours of more than 8 bits a sample; --depth 24 cuts them");
        log.warnings.push_back(name + ": colours of page " + std::to_string(row.from) + " are cut to 8 bits a sample");
    }
    if (image.format == KB_FORMAT_JPEG && format == KB_FORMAT_JPEG) {
        const KernelFileInfo info = image.info(row.from);
        KernelBitmap shape{};
        check(K_InitBitmap(&shape, info.nWidth, info.nHeight, info.nBitsPerPixel), name);
        shape.ViewPerspective = info.nViewPerspective;
        warnOfLosses(image, row.from, !profileOf(image, row.from, info.nBitsPerPixel == 8), log);
        fillJpeg(image.file.bytes, storedAreas(shape, viewed), name, output);
        return;
    }
    WholePage page = loadWholePage(image, row.from);
    warnOfLosses(image, row.from, page.dropsProfile, log);
    colors.push_back(coverAreas(page.bitmap, storedAreas(page.bitmap.record, viewed), name));
    addWholePage(page, format, row.to == 1, output);
    // Written as JPEG, the areas' edges have rung: they are filled once more, on the coefficients.
    if (format == KB_FORMAT_JPEG) fillJpeg(readAll(openInput(output.workPath())), viewed, name, output);
}

void redact(const Job& job, const RedactOptions& options, JobLog& log) {
    std::optional<OutputFile> output, report;
    if (!options.dryRun) output.emplace(job.output);
    if (!options.report.empty() && !options.dryRun) report.emplace(options.report);
    const WholeImage image = readWholeImage(job.input);
    FoundRegions found = findRegions(image, options.sources, log);
    log.warnings.insert(log.warnings.end(), found.beside.begin(), found.beside.end());
    if (found.holdsPixels) {
        log.warnings.push_back((job.store.empty() ? job.input : job.store) +
                               ": holds covered pixels that can be put back; it has to go too");
    }
    const std::vector<PageRow> rows = keptPages(image, found.regions, log);
    if (found.regions.empty()) throw failure(job.input, ERROR_INV_PARAMETER, "there is nothing to cover");
    if (options.dryRun) {
        log.out = regionsText(found.regions);
        return;
    }
    const int format = wholeFormat(image, options.format, job.output, job.several);
    if (rows.size() > 1 && format != KB_FORMAT_TIFF)
        throw failure(job.input, ERROR_FEATURE_NOT_SUPPORTED, "only TIFF holds several pages");
    std::vector<COLORREF> colors;
    for (const PageRow& row : rows) writePage(image, row, format, options.cutsDepth, *output, colors, log);

    InputFile written = openInput(output->workPath());
    written.name = output->name();
    const WholeImage result = wholeImageOf(std::move(written));
    for (const PageRow& row : rows) {
        if (row.regions && format != KB_FORMAT_JPEG) checkPage(result, row, colors[static_cast<std::size_t>(row.to - 1)]);
    }
    if (const std::vector<std::string> finds = judge(result, found.regions); !finds.empty())
        throw failure(output->name(), ERROR_FAILURE, "the result isn't clean: " + finds.front());
    if (report) report->write(regionsText(found.regions));
    // The report first: it's no harm alone, and a result without the report that was asked for is none.
    if (report) report->commit();
    output->commit();
}

} // namespace

int runRedact(const Arguments& arguments) {
    RedactOptions options;
    options.format = arguments.text("format");
    options.report = arguments.text("report");
    options.dryRun = arguments.has("dry-run");
    options.cutsDepth = arguments.has("depth");
    const std::vector<Job> jobs = makeJobs(arguments, {true, false, !options.dryRun, {}});
    if (jobs.size() > 1 && !options.report.empty()) throw UsageError{"--report goes with one image"};
    if (!jobs.empty()) {
        options.sources = readSources(arguments, jobs[0].store); // one store for all
        const auto refuse = [&](const std::string& other) {
            if (!options.dryRun && leadToOneFile(options.report, other))
                throw UsageError{"--report would be written over " + other};
        };
        refuse(jobs[0].output);
        for (const std::string& input : {jobs[0].input, jobs[0].store}) {
            if (input != "-") refuse(input);
        }
    }
    // A format that there isn't is told before the work.
    const bool named = jobs.size() == 1 && !jobs[0].several;
    if (!options.dryRun && (named || !options.format.empty()))
        wholeFormat({}, options.format, named ? jobs[0].output : std::string(), false);
    return runJobs(arguments, jobs, [&options](const Job& job, JobLog& log) { redact(job, options, log); });
}

} // namespace kann
