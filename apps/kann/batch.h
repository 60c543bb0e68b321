// One input or many: the loop that all commands over files share. It names the outputs, runs jobs at once when asked,
// keeps their output in the order of the inputs, and turns what happened into the exit status.
#pragma once

#include "apps/kann/failure.h"
#include "apps/kann/options.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kann {

// What one input has to say, put out when its turn comes.
struct JobLog {
    bool quiet = false;
    std::string out;                   // standard output
    std::vector<std::string> warnings; // "FILE: text"
};

struct Job {
    std::string input;
    std::string store;  // second operand or --store, empty without
    std::string output; // empty for commands without -o
    bool several = false;
};

// How a command names its operands and results.
struct BatchRules {
    bool hasStore;               // a second operand is a store
    bool needsStore;             // ... and can't be left out
    bool hasOutput;              // -o or --out-dir is due
    std::string resultExtension; // with --out-dir; empty keeps the input's own
};

// Throws UsageError when the command line doesn't fit the rules.
std::vector<Job> makeJobs(const Arguments& arguments, const BatchRules& rules);

// Runs them; a failed one doesn't stop the others. Gives the exit status.
int runJobs(const Arguments& arguments, const std::vector<Job>& jobs, const std::function<void(const Job&, JobLog&)>& work);

// Runs work on a file and gives what it failed with, lack of memory too. Wrong usage goes on as it is.
std::optional<Failure> attempt(const std::string& file, const std::function<void()>& work);

// A failure as one line of JSON.
std::string failureRecord(const Failure& failure);

// For commands on one file: prints warnings and gives the exit status.
int finish(const JobLog& log);

// One line on standard error, "kann: " in front.
void printError(const std::string& line);
// Throws when standard output can't take it.
void printOut(const std::string& text);

} // namespace kann
