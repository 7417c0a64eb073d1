#include <fmt/format.h>
#include <fmt/ranges.h>

#include "pages/completions.hpp"
#include "pages/option_values.hpp"

namespace codetext::pages {
namespace {

constexpr std::string_view HEAD =
    R"(# Completion of codetext's command line, made from its tables of options.

function __codetext_begins -d 'The words after codetext begin with these'
    set -l words (commandline -opc)
    set -e words[1]
    set -l size (count $argv)
    test (count $words) -ge $size; and test "$words[1..$size]" = "$argv"
end

function __codetext_is -d 'The words after codetext are these'
    set -l words (commandline -opc)
    set -e words[1]
    test "$words" = "$argv"
end

complete -c codetext -f
)";

std::string quoted(std::string_view text) {
    return fmt::format("'{}'", replaced(replaced(text, '\\', R"(\\)"), '\'', R"(\')"));
}

std::string value(const cli::Option& option) {
    if (!takes_value(option)) return "";
    const std::vector<std::string> words = value_words(option);
    if (!words.empty()) {
        return fmt::format(" -x -a {}", quoted(fmt::format("{}", fmt::join(words, " "))));
    }
    return is_file(option.value_name) ? " -r -F" : " -x";
}

std::string option_line(std::string_view condition, const cli::Option& option) {
    const std::string short_name =
        option.short_name == 0 ? "" : fmt::format(" -s {}", option.short_name);
    return fmt::format("complete -c codetext -n '{}'{} -l {}{} -d {}\n", condition, short_name,
                       option.long_name, value(option), quoted(brief(option.help)));
}

std::string command_lines(const cli::Command& command) {
    const std::string_view first = first_word(command.name), second = second_word(command.name);
    std::string text = fmt::format("\ncomplete -c codetext -n '__codetext_is' -a {} -d {}\n", first,
                                   quoted(brief(command.summary)));
    if (!second.empty()) {
        text += fmt::format("complete -c codetext -n '__codetext_is {}' -a {}\n", first, second);
    }
    const std::string condition = fmt::format("__codetext_begins {}", command.name);
    for (const cli::Option& option : command.options) text += option_line(condition, option);
    if (!command.positionals.empty() && is_file(command.positionals.back().name)) {
        text += fmt::format("complete -c codetext -n '{}' -F\n", condition);
    }
    return text;
}

}  // namespace

std::string fish_completion(const cli::Command& program,
                            const std::vector<cli::Command>& commands) {
    std::string text(HEAD);
    for (const cli::Option& option : program.options) text += option_line("__codetext_is", option);
    for (const cli::Command& command : commands) text += command_lines(command);
    return text;
}

}  // namespace codetext::pages
