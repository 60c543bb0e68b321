// Reads a command line by the rows of its command. The option library does the splitting; values stay texts, and are
// read strictly and without the locale where a command asks for them.
#include "apps/kann/options.h"

#include "apps/kann/failure.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <cmath>
#include <limits>

namespace kann {

namespace {

std::string quoted(std::string_view what, std::string_view text) {
    return std::string(what) + " can't be \"" + std::string(text) + "\"";
}

} // namespace

Arguments parseArguments(const CommandRow& command, std::span<const char* const> words) {
    Arguments arguments;
    arguments.command = &command;
    CLI::App app;
    app.set_help_flag();
    app.allow_config_extras(false);
    app.add_option("operands", arguments.operands);

    struct Parsed {
        const OptionRow* row;
        CLI::Option* option;
        std::vector<std::string> values;
        bool flag = false;
    };
    const std::vector<const OptionRow*> rows = optionsOf(command);
    std::vector<Parsed> parsed(rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const OptionRow& row = *rows[i];
        std::string names = row.letter ? std::string("-") + row.letter + "," : std::string();
        names.append("--").append(row.name);
        parsed[i].row = &row;
        if (row.arity == Arity::flag) {
            parsed[i].option = app.add_flag(names, parsed[i].flag);
        } else {
            parsed[i].option = app.add_option(names, parsed[i].values);
            if (row.arity == Arity::one) {
                parsed[i].option->expected(1)->allow_extra_args(false)->multi_option_policy(
                    CLI::MultiOptionPolicy::TakeLast);
            } else {
                parsed[i].option->expected(1, 1 << 24);
            }
        }
    }

    std::vector<std::string> backwards(words.rbegin(), words.rend());
    try {
        app.parse(std::move(backwards));
    } catch (const CLI::ExtrasError&) {
        std::string unknown;
        for (const std::string& word : app.remaining()) unknown += (unknown.empty() ? "" : " ") + word;
        throw UsageError{"unknown option " + unknown};
    } catch (const CLI::ParseError& error) {
        throw UsageError{error.what()};
    }
    for (Parsed& one : parsed) {
        if (one.option->count() > 0) arguments.values.emplace(one.row->name, std::move(one.values));
    }
    if (arguments.has("help")) return arguments;
    if (arguments.operands.size() < command.minOperands || arguments.operands.size() > command.maxOperands) {
        throw UsageError{"usage: kann " + std::string(command.name) + " " + std::string(command.synopsis)};
    }
    for (const Parsed& one : parsed) {
        if (one.option->count() == 0 || one.row->words.empty()) continue;
        const std::string value = arguments.text(one.row->name);
        if (!hasWord(one.row->words, value)) {
            throw UsageError{quoted("--" + std::string(one.row->name), value) + ", only: " + std::string(one.row->words)};
        }
    }
    return arguments;
}

std::string Arguments::text(std::string_view option, std::string_view otherwise) const {
    const auto found = values.find(option);
    return found == values.end() || found->second.empty() ? std::string(otherwise) : found->second.back();
}

const std::vector<std::string>& Arguments::list(std::string_view option) const {
    static const std::vector<std::string> none;
    const auto found = values.find(option);
    return found == values.end() ? none : found->second;
}

std::int64_t Arguments::number(std::string_view option, std::int64_t otherwise, std::int64_t low, std::int64_t high) const {
    return has(option) ? parseNumber(text(option), "--" + std::string(option), low, high) : otherwise;
}

double Arguments::positiveReal(std::string_view option, double otherwise) const {
    if (!has(option)) return otherwise;
    const double value = parseReal(text(option), "--" + std::string(option));
    if (value <= 0) throw UsageError{quoted("--" + std::string(option), text(option))};
    return value;
}

std::int64_t parseNumber(std::string_view text, std::string_view what, std::int64_t low, std::int64_t high) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || value < low || value > high)
        throw UsageError{quoted(what, text)};
    return value;
}

double parseReal(std::string_view text, std::string_view what) {
    double value = 0;
    const std::string_view digits = text.starts_with('+') ? text.substr(1) : text;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc{} || end != digits.data() + digits.size() || !std::isfinite(value))
        throw UsageError{quoted(what, text)};
    return value;
}

std::vector<double> parseReals(std::string_view text, std::string_view what, std::size_t count) {
    std::vector<double> values;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        values.push_back(parseReal(text.substr(begin, end - begin), what));
        begin = end + 1;
    }
    if (values.size() != count) throw UsageError{quoted(what, text) + ", " + std::to_string(count) + " numbers are due"};
    return values;
}

bool hasWord(std::string_view words, std::string_view word) {
    while (!words.empty()) {
        const std::size_t end = std::min(words.find(' '), words.size());
        if (words.substr(0, end) == word) return true;
        words.remove_prefix(std::min(end + 1, words.size()));
    }
    return false;
}

std::uint64_t parseSize(std::string_view text, std::string_view what) {
    constexpr std::string_view units = "KMG";
    std::uint64_t factor = 1;
    std::string_view digits = text;
    if (!digits.empty()) {
        if (const std::size_t unit = units.find(digits.back()); unit != std::string_view::npos) {
            factor = std::uint64_t{1} << (10 * (unit + 1));
            digits.remove_suffix(1);
        }
    }
    const auto high =
        static_cast<std::int64_t>(static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) / factor);
    return static_cast<std::uint64_t>(parseNumber(digits, what, 1, high)) * factor;
}

} // namespace kann
