#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "pages/completions.hpp"
#include "pages/option_values.hpp"

namespace codetext::pages {
namespace {

constexpr std::string_view HEAD =
    "#compdef codetext\n# Completion of codetext's command line, made from its tables of "
    "options.\n";

/// `text` for a place within single quotes where _arguments and _describe read `[`, `]` and `:`.
std::string spec_text(std::string_view text) {
    std::string result;
    for (const char byte : text) {
        if (byte == '[' || byte == ']' || byte == ':' || byte == '\\') result += '\\';
        result += byte;
    }
    return replaced(result, '\'', R"('\'')");
}

/// A word of a list "(a b)", which zsh evaluates once more: `c#` would be a glob.
std::string list_word(std::string_view word) {
    std::string result;
    for (const char byte : word) {
        const bool is_plain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                              (byte >= '0' && byte <= '9');
        if (!is_plain) result += '\\';
        result += byte;
    }
    return result;
}

std::string action(const cli::Option& option) {
    std::vector<std::string> words;
    for (const std::string& word : value_words(option)) words.push_back(list_word(word));
    if (!words.empty()) return fmt::format("({})", fmt::join(words, " "));
    return is_file(option.value_name) ? "_files" : "";
}

/// What an option rules out: --help all else, a pattern in an option the positional of that name,
/// and one that does not add up itself.
std::string exclusion(const cli::Command& command, const cli::Option& option) {
    if (option.long_name == "help" || option.long_name == "version") return "(- *)";
    const bool is_list = std::holds_alternative<cli::List>(option.target);
    const auto same =
        std::ranges::find(command.positionals, option.value_name, &cli::Positional::name);
    if (same != command.positionals.end()) return is_list ? "(1)*" : "(1)";
    return is_list ? "*" : fmt::format("({})", fmt::join(names(option), " "));
}

std::string option_spec(const cli::Command& command, const cli::Option& option) {
    std::vector<std::string> forms = names(option);
    if (takes_value(option)) {
        forms.back() += '=';
        if (forms.size() > 1) forms.front() += '+';
    }
    const std::string form =
        forms.size() > 1 ? fmt::format("{{{}}}", fmt::join(forms, ",")) : forms.front();
    const std::string value =
        takes_value(option) ? fmt::format(":{}:{}", option.value_name, action(option)) : "";
    return fmt::format("'{}'{}'[{}]{}'", exclusion(command, option), form,
                       spec_text(brief(option.help)), value);
}

std::string positional_specs(const cli::Command& command) {
    std::string text;
    const bool is_open = command.most_positionals > command.positionals.size();
    for (const cli::Positional& positional : command.positionals) {
        const bool is_last = &positional == &command.positionals.back();
        text += fmt::format(" \\\n        '{}:{}:{}'", is_last && is_open ? "*" : "1",
                            positional.name, is_file(positional.name) ? "_files" : "");
    }
    return text;
}

std::string function_name(const cli::Command& command) {
    return "_codetext_" + replaced(command.name, ' ', "_");
}

std::string function_of(const cli::Command& command) {
    std::string text = fmt::format("\n{}() {{\n    _arguments -s -S :", function_name(command));
    for (const cli::Option& option : command.options) {
        text += fmt::format(" \\\n        {}", option_spec(command, option));
    }
    return text + positional_specs(command) + "\n}\n";
}

/// The names of the commands with what they are for; of one of two words the first.
std::string described(const std::vector<cli::Command>& commands) {
    std::string text;
    for (const cli::Command& command : commands) {
        text += fmt::format("        '{}:{}'\n", first_word(command.name),
                            spec_text(brief(command.summary)));
    }
    return text;
}

std::string case_of(const cli::Command& command) {
    const std::string_view first = first_word(command.name), second = second_word(command.name);
    if (second.empty()) return fmt::format("        {}) {} ;;\n", first, function_name(command));
    return fmt::format(
        "        {0})\n            if ((CURRENT == 2)); then\n                compadd {1}\n"
        "            elif [[ $words[2] == {1} ]]; then\n                shift words\n"
        "                ((CURRENT--))\n                {2}\n            fi\n            ;;\n",
        first, second, function_name(command));
}

std::string entry_function(const cli::Command& program, const std::vector<cli::Command>& commands) {
    std::string text =
        fmt::format("\n_codetext() {{\n    local -a commands=(\n{}    )\n", described(commands));
    text +=
        "    if ((CURRENT == 2)) && [[ $PREFIX != -* ]]; then\n        _describe command commands\n"
        "        return\n    elif ((CURRENT == 2)); then\n        _arguments :";
    for (const cli::Option& option : program.options) {
        text += fmt::format(" \\\n            {}", option_spec(program, option));
    }
    text += "\n        return\n    fi\n    shift words\n    ((CURRENT--))\n    case $words[1] in\n";
    for (const cli::Command& command : commands) text += case_of(command);
    return text + "    esac\n}\n\n_codetext \"$@\"\n";
}

}  // namespace

std::string zsh_completion(const cli::Command& program, const std::vector<cli::Command>& commands) {
    std::string text(HEAD);
    for (const cli::Command& command : commands) text += function_of(command);
    return text + entry_function(program, commands);
}

}  // namespace codetext::pages
