// kann verify: opens a redacted image and looks for anything that is left of what was covered.
#include "apps/kann/batch.h"
#include "apps/kann/commands.h"
#include "apps/kann/failure.h"
#include "apps/kann/judge.h"

namespace kann {

int runVerify(const Arguments& arguments) {
    const RegionSources sources =
        readSources(arguments, arguments.operands.size() > 1 ? arguments.operands[1] : std::string());
    if (sources.regions.empty() && sources.store.empty())
        throw UsageError{"a store, --regions or a report of \"kann redact\" has to tell what is covered"};
    const WholeImage image = readWholeImage(arguments.operands[0]);
    JobLog log; // what it holds is of no concern here: hidden redactions count like others
    const FoundRegions found = findRegions(image, sources, log);
    const std::vector<std::string> finds = judge(image, found.regions);
    for (const std::string& find : finds) printError(image.file.name + ": " + find);
    // Areas of a larger page prove nothing about the rest of this one.
    for (const std::string& line : found.beside) printError(line);
    return finds.empty() && found.beside.empty() ? exitDone : exitLeftovers;
}

} // namespace kann
