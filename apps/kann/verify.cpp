// kann verify: opens a redacted image and looks for anything that is left of what was covered.
#include "apps/kann/batch.h"
#include "apps/kann/commands.h"
#include "apps/kann/failure.h"
#include "apps/kann/judge.h"

namespace kann {

int runVerify(const Arguments& arguments) {
    RegionSources sources;
    sources.regions = arguments.text("regions");
    sources.store = arguments.operands.size() > 1 ? arguments.operands[1] : std::string();
    sources.page = static_cast<int>(arguments.number("page", 0, 1, 1 << 24));
    sources.storePage = static_cast<int>(arguments.number("store-page", 0, 1, 1 << 24));
    if (sources.regions.empty() && sources.store.empty())
        throw UsageError{"a store, --regions or a report of \"kann redact\" has to tell what is covered"};
    const WholeImage image = readWholeImage(arguments.operands[0]);
    JobLog log; // what it holds is of no concern here: hidden redactions count like others
    const std::vector<std::string> finds = judge(image, findRegions(image, sources, log).regions);
    for (const std::string& find : finds) printError(image.file.name + ": " + find);
    return finds.empty() ? exitDone : exitLeftovers;
}

} // namespace kann
