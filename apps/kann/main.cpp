// kann: annotations over raster images from the command line. This file finds the command, sets the limits of the run and
// turns what is thrown into one line and an exit status.
#include "apps/kann/batch.h"
#include "apps/kann/failure.h"
#include "apps/kann/image_load.h"
#include "apps/kann/options.h"
#include "apps/kann/output_file.h"
#include "apps/kann/vector_image.h"
#include "platform/sys.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <new>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace kann;

void traceLine(const char* text, void*) {
    std::string line(text);
    if (!line.ends_with('\n')) line += '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

// The limit counts what is taken from now on: a build with checks has far more address space before it has done anything.
void limitMemory(std::uint64_t bytes) {
    std::ifstream file("/proc/self/statm");
    std::array<std::uint64_t, 6> pages{};
    for (std::uint64_t& one : pages) file >> one;
    const std::uint64_t now = file ? pages[5] * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)) : 0;
    struct rlimit limit {};
    if (::getrlimit(RLIMIT_DATA, &limit) != 0 || bytes > RLIM_INFINITY - 1 - now) return;
    if (limit.rlim_max == RLIM_INFINITY || now + bytes < limit.rlim_max) limit.rlim_cur = now + bytes;
    ::setrlimit(RLIMIT_DATA, &limit);
}

void setLimits(const Arguments& arguments) {
    limits().maxPixels = static_cast<std::uint64_t>(arguments.number("max-pixels", 1 << 28, 1, std::int64_t{1} << 40));
    limits().maxObjects = static_cast<std::uint64_t>(arguments.number("max-objects", 1'000'000, 1, std::int64_t{1} << 40));
    K_SetPixelLimit(limits().maxPixels);
    K_SetLinkedFilePolicy(arguments.has("linked-images") ? 1 : 0);
    K_SetVectorResolution(vectorSize().dpi);
    limitMemory(parseSize(arguments.text("max-memory", "4G"), "--max-memory"));
}

int help(std::span<const char* const> words) {
    const std::string_view topic = words.empty() ? std::string_view() : words[0];
    if (topic.empty()) {
        printOut(commandList());
    } else if (topic == "--man") {
        printOut(manualPage());
    } else if (topic == "--completion" && words.size() > 1 && std::string_view(words[1]) == "bash") {
        printOut(bashCompletion());
    } else if (topic == "--completion" && words.size() > 1 && std::string_view(words[1]) == "zsh") {
        printOut(zshCompletion());
    } else if (const CommandRow* command = findCommand(topic)) {
        printOut(commandHelp(*command));
    } else {
        throw UsageError{"no command \"" + std::string(topic) + "\"; \"kann help\" lists them"};
    }
    return exitDone;
}

// Who asks for JSON gets a failure as JSON too.
int runCommand(const Arguments& arguments) {
    if (!arguments.has("json")) return arguments.command->run(arguments);
    int status = exitFailed;
    const std::string file = arguments.operands.empty() ? std::string() : arguments.operands[0];
    const std::optional<Failure> failed = attempt(file, [&] { status = arguments.command->run(arguments); });
    if (!failed) return status;
    printOut(failureRecord(*failed)); // throws in its turn when standard output is what has failed
    printError(failureLine(*failed));
    return exitFailed;
}

int run(std::span<const char* const> words) {
    if (words.empty()) {
        const std::string list = commandList();
        std::fwrite(list.data(), 1, list.size(), stderr);
        return exitUsage;
    }
    const std::string_view name = words[0];
    if (name == "--version") {
        printOut("kann " KB_VERSION "\n");
        return exitDone;
    }
    if (name == "help" || name == "--help" || name == "-h") return help(words.subspan(1));
    const CommandRow* command = findCommand(name);
    if (!command) throw UsageError{"no command \"" + std::string(name) + "\"; \"kann help\" lists them"};
    const Arguments arguments = parseArguments(*command, words.subspan(1));
    if (arguments.has("help")) {
        printOut(commandHelp(*command));
        return exitDone;
    }
    setLimits(arguments);
    if (arguments.has("trace")) KbSetDebugSink(traceLine, nullptr);
    cleanUpOnSignals();
    return runCommand(arguments);
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(std::span<const char* const>(argv + 1, argc > 0 ? static_cast<std::size_t>(argc - 1) : 0));
    } catch (const UsageError& error) {
        printError(error.message);
        return exitUsage;
    } catch (const Failure& error) {
        printError(failureLine(error));
    } catch (const std::bad_alloc&) {
        printError("not enough memory, see --max-memory (code -1)");
    } catch (const std::exception& error) {
        printError(error.what());
    }
    return exitFailed;
}
