// Jobs share nothing but the library: each one's trees, bitmaps and memory file belong to the thread that runs it. Output
// waits until all earlier inputs have had their turn, so that it doesn't depend on the number of jobs.
#include "apps/kann/batch.h"

#include "apps/kann/failure.h"
#include "apps/kann/image_load.h"

#include <nlohmann/json.hpp>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <thread>
#include <unistd.h>

namespace kann {

namespace {

struct JobResult {
    JobLog log;
    std::optional<Failure> failure;
};

JobResult runJob(const Job& job, bool quiet, const std::function<void(const Job&, JobLog&)>& work) {
    JobResult result;
    result.log.quiet = quiet;
    result.failure = attempt(job.input, [&] { work(job, result.log); });
    if (result.failure) result.log.out.clear();
    return result;
}

void printWarnings(const JobLog& log) {
    if (log.quiet) return;
    for (const std::string& warning : log.warnings) printError(warning);
}

std::vector<std::string> linesOf(const std::string& listName) {
    const Bytes bytes = readAll(openInput(listName));
    std::vector<std::string> lines;
    std::string line;
    for (const std::uint8_t byte : bytes) {
        if (byte != '\n') {
            line += static_cast<char>(byte);
            continue;
        }
        if (!line.empty()) lines.push_back(std::move(line));
        line.clear();
    }
    if (!line.empty()) lines.push_back(std::move(line));
    return lines;
}

} // namespace

void printError(const std::string& line) {
    std::string whole = "kann: " + line;
    for (char& c : whole)
        if (static_cast<unsigned char>(c) < ' ') c = '?'; // a file's name may hold line ends
    whole += '\n';                                        // in one piece, so that lines of several threads don't mix
    std::fwrite(whole.data(), 1, whole.size(), stderr);
}

void printOut(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        throw systemFailure("standard output", ERROR_FILE_WRITE, errno);
    }
}

std::vector<Job> makeJobs(const Arguments& arguments, const BatchRules& rules) {
    std::vector<std::string> inputs = arguments.operands;
    std::string store = arguments.text("store");
    const std::size_t alone = rules.hasStore ? 2 : 1; // operands of one job
    const bool several =
        arguments.has("out-dir") || arguments.has("files-from") || (!rules.hasOutput && inputs.size() > alone);
    if (arguments.has("files-from")) {
        for (std::string& line : linesOf(arguments.text("files-from"))) inputs.push_back(std::move(line));
    } else if (!several && rules.hasStore && inputs.size() == 2 && store.empty()) {
        store = inputs.back();
        inputs.pop_back();
    }
    const std::string usage =
        "usage: kann " + std::string(arguments.command->name) + " " + std::string(arguments.command->synopsis);
    if (inputs.empty() && arguments.has("files-from")) return {};
    if (inputs.empty() || (rules.needsStore && store.empty())) throw UsageError{usage};
    if (rules.hasOutput && several && !arguments.has("out-dir")) throw UsageError{"--files-from needs --out-dir"};
    if (rules.hasOutput && several && arguments.has("output")) throw UsageError{"-o doesn't go with --out-dir"};
    if (rules.hasOutput && !several && (inputs.size() != 1 || !arguments.has("output"))) throw UsageError{usage};
    if (inputs.size() == 1 && inputs[0] == "-" && store == "-")
        throw UsageError{"standard input can't be both image and store"};

    std::vector<Job> jobs;
    std::set<std::string> outputs;
    for (const std::string& input : inputs) {
        Job job{input, store, arguments.text("output"), several};
        if (several && rules.hasOutput) {
            std::filesystem::path name = std::filesystem::path(input).filename();
            if (input == "-" || name.empty()) throw UsageError{"--out-dir has no name for the result of \"" + input + "\""};
            if (!rules.resultExtension.empty()) name.replace_extension(rules.resultExtension);
            job.output = (std::filesystem::path(arguments.text("out-dir")) / name).string();
            if (!outputs.insert(job.output).second) throw UsageError{"two inputs would be written to " + job.output};
        }
        jobs.push_back(std::move(job));
    }
    return jobs;
}

int runJobs(const Arguments& arguments, const std::vector<Job>& jobs, const std::function<void(const Job&, JobLog&)>& work) {
    const auto threads = std::min<std::size_t>(static_cast<std::size_t>(arguments.number("jobs", 1, 1, 256)), jobs.size());
    const bool quiet = arguments.has("quiet");
    const bool progress = jobs.size() > 1 && !quiet && (arguments.has("progress") || ::isatty(STDERR_FILENO) == 1);
    const bool records = arguments.has("json");

    std::vector<std::optional<JobResult>> results(jobs.size());
    std::size_t failed = 0, printed = 0;
    bool warned = false;
    std::optional<Failure> lost; // standard output broke
    std::mutex mutex;
    std::atomic<std::size_t> next{0};
    const auto deliver = [&](std::size_t index, JobResult result) {
        const std::scoped_lock lock(mutex);
        results[index] = std::move(result);
        for (; printed < jobs.size() && results[printed]; ++printed) {
            const JobResult ready = std::move(*results[printed]);
            results[printed] = JobResult{};
            printWarnings(ready.log);
            warned = warned || !ready.log.warnings.empty();
            if (ready.failure) {
                ++failed;
                printError(failureLine(*ready.failure));
            }
            try {
                if (!lost) printOut(ready.failure && records ? failureRecord(*ready.failure) : ready.log.out);
            } catch (Failure& caught) {
                lost = std::move(caught);
            }
            if (!progress) continue;
            std::string line("[");
            line.append(std::to_string(printed + 1)).append("/").append(std::to_string(jobs.size())).append("] ");
            printError(line + jobs[printed].input);
        }
    };
    const auto takeJobs = [&] {
        for (std::size_t index = next++; index < jobs.size(); index = next++)
            deliver(index, runJob(jobs[index], quiet, work));
    };
    if (threads <= 1) {
        takeJobs();
    } else {
        std::vector<std::jthread> pool;
        for (std::size_t i = 0; i < threads; ++i) pool.emplace_back(takeJobs);
    }
    if (lost) throw std::move(*lost);
    if (failed > 0) return failed == jobs.size() ? exitFailed : exitSomeFailed;
    return warned ? exitWarnings : exitDone;
}

std::optional<Failure> attempt(const std::string& file, const std::function<void()>& work) {
    try {
        work();
    } catch (Failure& caught) {
        return std::move(caught);
    } catch (const std::bad_alloc&) {
        return failure(file, ERROR_NO_MEMORY, "see --max-memory");
    } catch (const std::exception& caught) {
        return failure(file, ERROR_FAILURE, caught.what());
    }
    return {};
}

std::string failureRecord(const Failure& failure) {
    nlohmann::ordered_json record;
    record["file"] = failure.file;
    record["code"] = failure.code;
    record["message"] = failure.message;
    record["offset"] = failure.offset ? nlohmann::ordered_json(*failure.offset) : nlohmann::ordered_json();
    return record.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

int finish(const JobLog& log) {
    printOut(log.out);
    printWarnings(log);
    return log.warnings.empty() ? exitDone : exitWarnings;
}

} // namespace kann
