#include <fmt/format.h>
#include <fmt/ranges.h>

#include "pages/completions.hpp"
#include "pages/option_values.hpp"

namespace codetext::pages {
namespace {

constexpr std::string_view HEAD =
    R"(# Completion of codetext's command line, made from its tables of options.

_codetext_offer() { mapfile -t COMPREPLY < <(compgen -W "$1" -- "$current"); }
_codetext_offer_files() { compopt -o default; }

_codetext() {
    local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local command=${COMP_WORDS[1]} word
    COMPREPLY=()
)";

// What stands between the choice of the command and the tables.
constexpr std::string_view WORD_RULES = R"(
    for word in "${COMP_WORDS[@]:2:COMP_CWORD-2}"; do
        if [[ $word == -- ]]; then
            _codetext_offer_files
            return
        fi
    done
    # bash makes a word of the "=" in --name=value.
    if [[ $current == = ]]; then
        current=
    elif [[ $before == = ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    fi
)";

constexpr std::string_view TAIL = R"(
complete -F _codetext codetext
)";

std::string all_names(const std::vector<cli::Option>& options) {
    std::vector<std::string> all;
    for (const cli::Option& option : options) {
        const std::vector<std::string> own = names(option);
        all.insert(all.end(), own.begin(), own.end());
    }
    return fmt::format("{}", fmt::join(all, " "));
}

std::string command_words(const cli::Command& program, const std::vector<cli::Command>& commands) {
    std::string words;
    for (const cli::Command& command : commands) {
        const std::string_view word = first_word(command.name);
        if (!words.ends_with(fmt::format("{} ", word))) words += fmt::format("{} ", word);
    }
    return words + all_names(program.options);
}

std::string choice_of_command(const cli::Command& program,
                              const std::vector<cli::Command>& commands) {
    std::string text = fmt::format(
        "    if ((COMP_CWORD == 1)); then\n        _codetext_offer '{}'\n        return\n    fi\n",
        command_words(program, commands));
    for (const cli::Command& command : commands) {
        if (second_word(command.name).empty()) continue;
        text += fmt::format(
            "    if [[ $command == {} ]]; then\n"
            "        if ((COMP_CWORD == 2)); then\n            _codetext_offer '{}'\n"
            "            return\n        fi\n        command+=\" ${{COMP_WORDS[2]}}\"\n    fi\n",
            first_word(command.name), second_word(command.name));
    }
    return text;
}

std::string offer_of_value(const cli::Option& option) {
    const std::vector<std::string> words = value_words(option);
    if (!words.empty()) return fmt::format("_codetext_offer '{}'; ", fmt::join(words, " "));
    return is_file(option.value_name) ? "_codetext_offer_files; " : "";
}

std::string values_of(const cli::Command& command) {
    std::string text;
    for (const cli::Option& option : command.options) {
        if (!takes_value(option)) continue;
        std::vector<std::string> cases;
        for (const std::string& name : names(option)) {
            cases.push_back(fmt::format("'{} {}'", command.name, name));
        }
        text += fmt::format("        {}) {}return ;;\n", fmt::join(cases, " | "),
                            offer_of_value(option));
    }
    return text;
}

}  // namespace

std::string bash_completion(const cli::Command& program,
                            const std::vector<cli::Command>& commands) {
    std::string values, options;
    for (const cli::Command& command : commands) {
        values += values_of(command);
        options += fmt::format("        '{}') _codetext_offer '{}' ;;\n", command.name,
                               all_names(command.options));
    }
    return fmt::format(
        "{}{}{}    case \"$command $before\" in\n{}    esac\n"
        "    if [[ $current != -* ]]; then\n        _codetext_offer_files\n"
        "        return\n    fi\n    case $command in\n{}    esac\n}}\n{}",
        HEAD, choice_of_command(program, commands), WORD_RULES, values, options, TAIL);
}

}  // namespace codetext::pages
