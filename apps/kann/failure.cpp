// Texts of failures. The wording of a code is the library's own; what the system knows besides (a missing file, a full
// disk) goes behind it.
#include "apps/kann/failure.h"

#include "kbann/error_table.h"

#include <cstring>

namespace kann {

std::string codeText(int code) {
    const kbann::AnnErrorRow* row = kbann::findErrorRow(code);
    return row && !row->text.empty() ? std::string(row->text) : std::string("Operation failed");
}

Failure failure(std::string_view file, int code, std::string_view detail) {
    std::string message = codeText(code);
    if (!detail.empty()) message.append(": ").append(detail);
    return {std::string(file), code, std::move(message), {}};
}

Failure systemFailure(std::string_view file, int code, int errorNumber) {
    return failure(file, code,
                   std::strerror(errorNumber)); // NOLINT(concurrency-mt-unsafe): known numbers are constant texts
}

void check(int code, std::string_view file, std::string_view detail) {
    if (code != 1) throw failure(file, code, detail);
}

std::string failureLine(const Failure& failure) {
    std::string line = failure.file + ": " + failure.message;
    if (failure.offset) line += " at byte " + std::to_string(*failure.offset);
    return line + " (code " + std::to_string(failure.code) + ")";
}

} // namespace kann
