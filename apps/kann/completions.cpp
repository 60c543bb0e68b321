// Completions for bash and zsh, made from the tables: commands, then the options of the command, then what a value can be.
#include "apps/kann/options.h"

namespace kann {

namespace {

std::string shellQuoted(std::string_view text) {
    std::string out = "'";
    for (const char c : text) {
        if (c == '\'') {
            out += "'\\''";
        } else {
            out += c;
        }
    }
    return out + "'";
}

std::string optionNames(const CommandRow& command) {
    std::string names;
    for (const OptionRow* row : optionsOf(command)) {
        names += (names.empty() ? "--" : " --") + std::string(row->name);
        if (row->letter) names += std::string(" -") + row->letter;
    }
    return names;
}

std::string commandNames() {
    std::string names;
    for (const CommandRow& command : commandRows()) names.append(command.name).append(" ");
    return names + "help";
}

// What the arguments of _arguments mean to zsh has to be kept out of the help.
std::string zshText(std::string_view text) {
    std::string out;
    for (const char c : text) {
        if (c == '[' || c == ']' || c == ':' || c == '\\') out += '\\';
        out += c;
    }
    return out;
}

std::string zshValue(const OptionRow& row) {
    if (row.arity == Arity::flag) return {};
    std::string action;
    switch (row.kind) {
    case ValueKind::file: action = "_files"; break;
    case ValueKind::folder: action = "_files -/"; break;
    case ValueKind::words: action.append("(").append(row.words).append(")"); break;
    case ValueKind::other: action = " "; break;
    }
    return std::string(":").append(zshText(row.argument)).append(":").append(action);
}

} // namespace

std::string bashCompletion() {
    std::string out =
        "# Completion of kann for bash\n_kann() {\n"
        "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} command=${COMP_WORDS[1]}\n"
        "    COMPREPLY=()\n    if [[ $COMP_CWORD -eq 1 || $COMP_CWORD -eq 2 && $command == help ]]; then\n"
        "        COMPREPLY=($(compgen -W \"" +
        commandNames() + "\" -- \"$word\"))\n        return\n    fi\n    case $command in\n";
    for (const CommandRow& command : commandRows()) {
        out += "    " + std::string(command.name) + ")\n        case $before in\n";
        for (const OptionRow* row : optionsOf(command)) {
            if (row->kind != ValueKind::words && row->kind != ValueKind::folder) continue;
            out += "        --" + std::string(row->name) + ") COMPREPLY=($(compgen " +
                   (row->kind == ValueKind::folder ? "-d" : "-W " + shellQuoted(row->words)) +
                   " -- \"$word\")); return ;;\n";
        }
        out += "        esac\n        if [[ $word == -* ]]; then\n            COMPREPLY=($(compgen -W " +
               shellQuoted(optionNames(command)) + " -- \"$word\"))\n            return\n        fi\n        ;;\n";
    }
    out += "    esac\n    COMPREPLY=($(compgen -f -- \"$word\"))\n}\ncomplete -o filenames -F _kann kann\n";
    return out;
}

std::string zshCompletion() {
    std::string out = "#compdef kann\n# Completion of kann for zsh\n_kann() {\n    local -a commands\n    commands=(\n";
    for (const CommandRow& command : commandRows()) {
        out += "        " + shellQuoted(std::string(command.name) + ":" + std::string(command.summary)) + "\n";
    }
    out +=
        "        'help:show the help of a command'\n    )\n    if (( CURRENT == 2 )); then\n        _describe command "
        "commands\n"
        "        return\n    fi\n    local command=$words[2]\n    shift words\n    (( CURRENT-- ))\n    case $command in\n";
    for (const CommandRow& command : commandRows()) {
        out += "    " + std::string(command.name) + ")\n        _arguments -S \\\n";
        for (const OptionRow* row : optionsOf(command)) {
            std::string tail("[");
            tail.append(zshText(row->help)).append("]").append(zshValue(*row));
            const std::string dash = row->arity == Arity::many ? "*-" : "-";
            out.append("            ").append(shellQuoted(dash + "-" + std::string(row->name) + tail)).append(" \\\n");
            if (row->letter) out.append("            ").append(shellQuoted(dash + row->letter + tail)).append(" \\\n");
        }
        out += "            '*:file:_files'\n        ;;\n";
    }
    out += "    help) _describe command commands ;;\n    esac\n}\n_kann \"$@\"\n";
    return out;
}

} // namespace kann
