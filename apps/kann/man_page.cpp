// The manual page in the language of man, made from the tables. What holds for all commands stands here once.
#include "apps/kann/options.h"

namespace kann {

namespace {

// Backslashes, and dots and quotes at the start of a line, mean something to the formatter; so do dashes.
std::string escaped(std::string_view text) {
    std::string out;
    for (const char c : text) {
        if (c == '\\') {
            out += "\\e";
        } else if (c == '-') {
            out += "\\-";
        } else if ((c == '.' || c == '\'') && (out.empty() || out.back() == '\n')) {
            out.append("\\&") += c;
        } else {
            out += c;
        }
    }
    for (std::size_t at = 0; (at = out.find("\n\n", at)) != std::string::npos;) out.replace(at, 2, "\n.PP\n");
    return out;
}

void appendOption(std::string& out, const OptionRow& row) {
    out += ".TP\n.B ";
    if (row.letter) out += std::string("\\-") + row.letter + ", ";
    out.append("\\-\\-").append(escaped(row.name));
    if (!row.argument.empty()) out.append(" \\fI").append(escaped(row.argument)).append("\\fR");
    out.append("\n").append(escaped(row.help));
    if (!row.words.empty()) out.append(": ").append(escaped(row.words));
    out += "\n";
}

constexpr std::string_view generalText = R"(.SH INPUTS AND OUTPUTS
An image is TIFF, PNG, JPEG, BMP, or a placeable or enhanced metafile, told by its first bytes. A store is annotation
data, or a TIFF that carries it in tag 32932, told by its first bytes too. "\-" is standard input or output. Options may
stand anywhere; "\-\-" ends them.
.PP
OUT is written under a temporary name beside it and renamed. An existing OUT is replaced and keeps its mode; a failed run
leaves it as it was. Links are followed. An OUT that is no regular file is written straight. OUT may be the input. A store
isn't written over a file that holds something else.
.PP
Texts are UTF\-8 and stored as windows\-1252; characters that it hasn't are refused.
.PP
A failure is one line on standard error, with the return code of the library. Standard output carries data alone.
)";

constexpr std::string_view statusText = R"(.SH EXIT STATUS
.TP
.B 0
Done.
.TP
.B 1
Failed; nothing was written.
.TP
.B 2
Wrong usage.
.TP
.B 3
Done, with warnings.
.TP
.B 4
Some inputs of several failed.
.TP
.B 5
A verification found something left.
)";

} // namespace

std::string manualPage() {
    std::string out =
        ".TH KANN 1 \"\" \"kann " KB_VERSION "\" \"User Commands\"\n.SH NAME\nkann \\- annotations over raster images\n";
    out += ".SH SYNOPSIS\n.B kann\n.I COMMAND\n[\\fIARGUMENTS\\fR] [\\fIOPTIONS\\fR]\n.SH COMMANDS\n";
    for (const CommandRow& command : commandRows()) {
        out += ".SS \"kann " + std::string(command.name) + " " + escaped(command.synopsis) + "\"\n";
        std::string summary(command.summary);
        summary[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(summary[0])));
        out += escaped(summary) + ".\n" + escaped(command.details) + "\n";
        const std::vector<const OptionRow*> rows = optionsOf(command);
        const std::size_t own = rows.size() - commonOptionCount();
        for (std::size_t i = 0; i < own; ++i) appendOption(out, *rows[i]);
    }
    out += ".SH OPTIONS OF EVERY COMMAND\n";
    for (std::size_t i = 0; i < commonOptionCount(); ++i) appendOption(out, optionRows()[i]);
    out.append(generalText).append(statusText);
    return out;
}

} // namespace kann
