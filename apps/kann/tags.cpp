// kann attach, extract, detach: annotation data in the tag of a TIFF page. A copy of the file is edited, whose pixels and
// other tags stay where they are.
#include "apps/kann/batch.h"
#include "apps/kann/commands.h"
#include "apps/kann/failure.h"
#include "apps/kann/image_load.h"
#include "apps/kann/output_file.h"
#include "apps/kann/stored_forms.h"

#include <limits>

namespace kann {

namespace {

constexpr std::uint16_t tiffBytes = 1; // the tag's type

struct TagOptions {
    int page;
    int storePage;    // 0: by the image's page
    std::string form; // empty: the store's own
};

TagOptions readOptions(const Arguments& arguments) {
    return {static_cast<int>(arguments.number("page", 1, 1, 1 << 24)),
            static_cast<int>(arguments.number("store-page", 0, 1, 1 << 24)), arguments.text("as")};
}

InputFile openTiff(const std::string& name, int page) {
    InputFile image = openInput(name);
    if (!isTiff(image)) throw failure(name, ERROR_FILE_FORMAT, "not a TIFF");
    if (page > imagePages(image)) throw failure(name, ERROR_PAGE_NOT_FOUND, "page " + std::to_string(page));
    return image;
}

// The image with another value in the tag; none takes the tag out.
void writeTag(const InputFile& image, int page, const Bytes& data, OutputFile& output) {
    if (data.size() > std::numeric_limits<std::uint32_t>::max()) throw failure(image.name, ERROR_NO_MEMORY);
    output.write(readAll(image));
    const std::string& copy = output.workPath();
    const auto count = static_cast<std::uint32_t>(data.size());
    check(K_RewriteFileTag(copy.c_str(), page, ANN_TAG_TIFF, tiffBytes, count, data.empty() ? nullptr : data.data()),
          image.name);
}

Bytes tagData(const Job& job, const TagOptions& options) {
    InputFile file = openInput(job.store);
    const int tagPage = options.storePage ? options.storePage : isTiff(file) && imagePages(file) > 1 ? options.page : 1;
    const Store store = openStore(std::move(file), tagPage);
    if (store.data.empty()) throw failure(job.store, tagNotFound, "the page carries no annotation data");
    const int pages = countPages(store);
    const int page = store.inTag ? 1 : options.storePage ? options.storePage : pages > 1 ? options.page : 1;
    const Tree tree = loadTree(store, page);
    if (!tree) throw failure(job.store, tagNotFound, "the page carries no annotation data");
    if (store.form == StoreForm::wang && options.form.empty()) return store.data; // marks of other tools stay as they are
    const std::uint32_t form = options.form.empty() ? storedFormNumber(store.form) : storedFormNumber(options.form);
    return saveTree(tree.get(), form, {}, 0, 1, job.store);
}

} // namespace

int runAttach(const Arguments& arguments) {
    const TagOptions options = readOptions(arguments);
    return runJobs(arguments, makeJobs(arguments, {true, true, true, {}}), [&options](const Job& job, JobLog&) {
        const InputFile image = openTiff(job.input, options.page);
        const Bytes data = tagData(job, options);
        OutputFile output(job.output);
        writeTag(image, options.page, data, output);
        output.commit();
    });
}

int runExtract(const Arguments& arguments) {
    const TagOptions options = readOptions(arguments);
    return runJobs(arguments, makeJobs(arguments, {false, false, true, ".kba"}), [&options](const Job& job, JobLog&) {
        const InputFile image = openTiff(job.input, options.page);
        const Bytes data = readTag(image, options.page);
        if (data.empty()) throw failure(job.input, tagNotFound, "the page carries no annotation data");
        refuseForeignFile(job.output);
        OutputFile output(job.output);
        output.write(data);
        output.commit();
    });
}

int runDetach(const Arguments& arguments) {
    const TagOptions options = readOptions(arguments);
    return runJobs(arguments, makeJobs(arguments, {false, false, true, {}}), [&options](const Job& job, JobLog& log) {
        const InputFile image = openTiff(job.input, options.page);
        OutputFile output(job.output);
        // A tag that can't be read goes too.
        const bool holdsData = !readTag(image, options.page).empty();
        writeTag(image, options.page, {}, output);
        if (!holdsData && readAll(openInput(output.workPath())) == readAll(image))
            log.warnings.push_back(job.input + ": the page carries no annotation data");
        output.commit();
    });
}

} // namespace kann
