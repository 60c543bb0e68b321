// Help: the list of commands, and one command's operands and options, wrapped to the width of a terminal.
#include "apps/kann/options.h"

#include <algorithm>

namespace kann {

namespace {

constexpr std::size_t lineWidth = 78;
constexpr std::size_t helpColumn = 28;

// Breaks at blanks; further lines are indented.
void appendWrapped(std::string& out, std::string_view text, std::size_t column, std::size_t indent) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of(" \n"), text.size());
        const std::string_view word = text.substr(0, end);
        if (column > indent && column + 1 + word.size() > lineWidth) {
            out.append("\n").append(indent, ' ');
            column = indent;
        } else if (column > indent) {
            out += ' ';
            ++column;
        }
        out += word;
        column += word.size();
        const bool paragraph = text.substr(end).starts_with("\n\n");
        text.remove_prefix(std::min(end + (paragraph ? 2 : 1), text.size()));
        if (paragraph) {
            out.append("\n\n").append(indent, ' ');
            column = indent;
        }
    }
    out += '\n';
}

std::string optionHead(const OptionRow& row) {
    std::string head = row.letter ? std::string("  -") + row.letter + ", --" : "      --";
    head.append(row.name);
    if (!row.argument.empty()) head.append(" ").append(row.argument);
    return head;
}

} // namespace

std::string commandList() {
    std::string out = "usage: kann COMMAND [ARGUMENTS] [OPTIONS]\n\n";
    for (const CommandRow& command : commandRows()) {
        std::string line = "  " + std::string(command.name);
        line.resize(std::max<std::size_t>(12, line.size() + 1), ' ');
        out.append(line).append(command.summary).append("\n");
    }
    out += "\n\"kann help COMMAND\" tells more, \"kann --version\" the version.\n";
    return out;
}

std::string commandHelp(const CommandRow& command) {
    std::string out = "usage: kann " + std::string(command.name) + " " + std::string(command.synopsis) + "\n\n";
    std::string summary(command.summary);
    summary[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(summary[0])));
    appendWrapped(out, summary + ". " + std::string(command.details), 0, 0);
    out += "\n";
    for (const OptionRow* row : optionsOf(command)) {
        std::string head = optionHead(*row);
        if (head.size() + 2 > helpColumn) {
            out.append(head).append("\n").append(helpColumn, ' ');
        } else {
            head.resize(helpColumn, ' ');
            out += head;
        }
        std::string help(row->help);
        if (!row->words.empty() && row->words.find("true") == std::string_view::npos) help += ": " + std::string(row->words);
        appendWrapped(out, help, helpColumn, helpColumn);
    }
    return out;
}

} // namespace kann
