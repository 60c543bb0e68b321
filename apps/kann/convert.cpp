// kann convert: annotation data in another form. The paged forms take all pages along, one after the other; the others
// hold one page.
#include "apps/kann/batch.h"
#include "apps/kann/commands.h"
#include "apps/kann/failure.h"
#include "apps/kann/info.h"
#include "apps/kann/output_file.h"
#include "apps/kann/stored_forms.h"

#include <algorithm>
#include <array>

namespace kann {

namespace {

struct FormRow {
    std::string_view name;
    std::uint32_t number;
    std::string_view extension;
    bool paged;
};
constexpr auto forms = std::to_array<FormRow>({
    {"native", ANN_FMT_NATIVE, ".kba", true},
    {"coded", ANN_FMT_ENCODED, ".kbc", true},
    {"tifftag", ANN_FMT_TIFFTAG, ".tag", false},
    {"wangtag", ANN_FMT_WANGTAG, ".tag", false},
    {"wmf", ANN_FMT_WMF, ".wmf", false},
});
constexpr std::string_view jsonForm = "json";

const FormRow& formRow(std::string_view name) {
    const auto row = std::ranges::find(forms, name, &FormRow::name);
    if (row == forms.end()) throw UsageError{"--to can't be \"" + std::string(name) + "\" here"};
    return *row;
}

Tree loadPage(const Store& store, int page) {
    Tree tree = loadTree(store, page);
    if (!tree) throw failure(store.file.name, tagNotFound, "the page carries no annotation data");
    return tree;
}

Bytes convertStore(const Store& store, const FormRow& form, int page) {
    SavedPages saved(form.number, store.file.name);
    if (page > 0 || !form.paged) {
        saved.append(loadPage(store, store.inTag ? 1 : std::max(page, 1)).get());
        return saved.bytes();
    }
    bool any = !store.inTag;
    const int pages = countPagesOrImages(store);
    for (int next = 1; next <= pages; ++next) {
        any = any || !readTag(store.file, next).empty();
        saved.append(loadPageOrImage(store, next).get());
    }
    if (!any) throw failure(store.file.name, tagNotFound, "no page carries annotation data");
    return saved.bytes();
}

} // namespace

std::uint32_t storedFormNumber(std::string_view name) { return formRow(name).number; }

std::uint32_t storedFormNumber(StoreForm form) { return form == StoreForm::coded ? ANN_FMT_ENCODED : ANN_FMT_NATIVE; }

int runConvert(const Arguments& arguments) {
    if (!arguments.has("to")) throw UsageError{"--to FORM is due"};
    const std::string to = arguments.text("to");
    const bool json = to == jsonForm;
    const auto page = static_cast<int>(arguments.number("page", 0, 1, 1 << 24));
    const std::vector<Job> jobs =
        makeJobs(arguments, {false, false, true, json ? ".json" : std::string(formRow(to).extension)});
    return runJobs(arguments, jobs, [&to, json, page](const Job& job, JobLog&) {
        const Store store = openStore(openInput(job.input), std::max(page, 1));
        if (!json && to != "wmf") refuseForeignFile(job.output);
        OutputFile output(job.output);
        if (json) {
            output.write(dumpDocument(infoDocument(store, std::max(page, 1)), 2));
        } else {
            output.write(convertStore(store, formRow(to), page));
        }
        output.commit();
    });
}

} // namespace kann
