// How a command fails: a Failure carries the file, the library's return code and what went wrong, and becomes one line on
// standard error or one JSON record. Wrong usage is a kind of its own, because its exit status differs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kann {

// Exit statuses that scripts rely on. Frozen.
enum ExitStatus : int {
    exitDone = 0,
    exitFailed = 1,     // nothing was written
    exitUsage = 2,      // the command line makes no sense
    exitWarnings = 3,   // done, with warnings
    exitSomeFailed = 4, // some inputs of several
    exitLeftovers = 5   // a verification found something left
};

struct Failure {
    std::string file;
    int code; // of contracts/return_codes.h
    std::string message;
    std::optional<std::int64_t> offset; // in bytes, where a reader knows it
};

struct UsageError {
    std::string message;
};

// The library's text of a code; for codes without one a general text.
std::string codeText(int code);

// A failure with the library's text, followed by `detail` if there is one.
Failure failure(std::string_view file, int code, std::string_view detail = {});
// The same with the text of errno as detail.
Failure systemFailure(std::string_view file, int code, int errorNumber);

// Throws for anything but SUCCESS.
void check(int code, std::string_view file, std::string_view detail = {});

// "FILE: what is wrong (code -7)", with the offset behind the message when it is known.
std::string failureLine(const Failure& failure);

} // namespace kann
