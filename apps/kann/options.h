// The command line as tables: every option is a row, every command a row with its options. Parsing, help, manual page and
// completions are made from these rows and from nothing else.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kann {

enum class Arity : std::uint8_t { flag, one, many };

// What a completion offers for a value.
enum class ValueKind : std::uint8_t { other, file, folder, words };

struct OptionRow {
    std::string_view name; // without dashes
    char letter;           // '\0' for none
    Arity arity;
    std::string_view argument; // as the help shows it
    std::string_view help;
    ValueKind kind = ValueKind::other;
    std::string_view words = {}; // for ValueKind::words, separated by blanks
};

struct Arguments;

struct CommandRow {
    std::string_view name;
    std::string_view synopsis;                 // operands and the options that matter most
    std::string_view summary;                  // one line
    std::string_view details;                  // paragraphs, separated by empty lines
    std::span<const std::string_view> options; // names of rows of optionRows()
    bool takesProperties;                      // the rows of propertyRows() are options too
    std::size_t minOperands, maxOperands;
    int (*run)(const Arguments& arguments);
};

// Options of every command, then those that commands name.
std::span<const OptionRow> optionRows();
std::size_t commonOptionCount();
// Commands in the order of the help.
std::span<const CommandRow> commandRows();
const CommandRow* findCommand(std::string_view name);
// All rows that a command takes, its own first, those of every command last.
std::vector<const OptionRow*> optionsOf(const CommandRow& command);

// What the command line held. Values are kept as text; the readers below refuse what doesn't fit with UsageError.
struct Arguments {
    const CommandRow* command = nullptr;
    std::vector<std::string> operands;
    std::map<std::string, std::vector<std::string>, std::less<>> values;

    bool has(std::string_view option) const { return values.contains(option); }
    // The value, or the given one when the option wasn't used.
    std::string text(std::string_view option, std::string_view otherwise = {}) const;
    const std::vector<std::string>& list(std::string_view option) const;
    // A whole number from `low` to `high`.
    std::int64_t number(std::string_view option, std::int64_t otherwise, std::int64_t low, std::int64_t high) const;
    // A finite number above 0.
    double positiveReal(std::string_view option, double otherwise) const;
};

// Reads the words behind the command's name. Throws UsageError.
Arguments parseArguments(const CommandRow& command, std::span<const char* const> words);

// Numbers of the command line: no locale, the whole text. Throw UsageError that names `what`.
std::int64_t parseNumber(std::string_view text, std::string_view what, std::int64_t low, std::int64_t high);
double parseReal(std::string_view text, std::string_view what);
// Is it one of the words that blanks separate?
bool hasWord(std::string_view words, std::string_view word);
// `count` reals separated by commas.
std::vector<double> parseReals(std::string_view text, std::string_view what, std::size_t count);
// A number with K, M or G behind it, in bytes.
std::uint64_t parseSize(std::string_view text, std::string_view what);

// Texts made from the tables.
std::string commandList();
std::string commandHelp(const CommandRow& command);
std::string manualPage();
std::string bashCompletion();
std::string zshCompletion();

} // namespace kann
