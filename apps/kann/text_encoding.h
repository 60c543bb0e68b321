// Texts between the command line, which speaks UTF-8, and the library, which speaks windows-1252.
#pragma once

#include <string>
#include <string_view>

namespace kann {

// Throws UsageError for what has no byte there and for what isn't UTF-8. `what` names the text in the message.
std::string toCodePage(std::string_view utf8, std::string_view what);
// Bytes that windows-1252 leaves free become the control characters of the same number.
std::string toUtf8(std::string_view text);
// Line feeds become the carriage return and line feed that the library breaks lines at; those there already stay.
std::string withLineEnds(std::string_view text);

} // namespace kann
