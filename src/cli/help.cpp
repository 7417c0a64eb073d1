#include "cli/help.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace codetext::cli {
namespace {

constexpr std::size_t WIDTH = 80;
constexpr std::size_t HELP_COLUMN = 30;  ///< where the descriptions begin, from 0

/// `text` in lines of at most WIDTH columns, for output that starts at the column `indent`: the
/// second and later lines begin with `indent` spaces.
std::string wrapped(std::string_view text, std::size_t indent) {
    std::string result;
    std::size_t column = indent;
    while (!text.empty()) {
        const std::size_t size = std::min(text.find(' '), text.size());
        if (column > indent && column + 1 + size > WIDTH) {
            result += '\n' + std::string(indent, ' ');
            column = indent;
        } else if (column > indent) {
            result += ' ';
            ++column;
        }
        result += text.substr(0, size);
        column += size;
        text.remove_prefix(std::min(size + 1, text.size()));
    }
    return result;
}

/// A line for a term and its description, which begins on the next line where the term is long.
std::string entry(std::string_view term, std::string_view description) {
    std::string text = fmt::format("  {}", term);
    if (text.size() + 2 > HELP_COLUMN) text += '\n' + std::string(HELP_COLUMN, ' ');
    text.resize(std::max(text.size(), HELP_COLUMN), ' ');
    return text + wrapped(description, HELP_COLUMN) + '\n';
}

std::string term_of(const Option& option) {
    std::string term =
        option.short_name == 0 ? std::string(4, ' ') : fmt::format("-{}, ", option.short_name);
    term += fmt::format("--{}", option.long_name);
    return option.value_name.empty() ? term : fmt::format("{} {}", term, option.value_name);
}

std::string options_text(const std::vector<Option>& options) {
    std::string text;
    std::string_view group;
    for (const Option& option : options) {
        if (option.group.empty()) continue;
        if (option.group != group) text += fmt::format("\n{}:\n", option.group);
        group = option.group;
        text += entry(term_of(option), option.help);
    }
    return text;
}

}  // namespace

std::string help_text(const Command& command) {
    std::string text = wrapped(command.summary, 0);
    text += fmt::format("\n\nUsage: codetext {} [OPTION...] {}\n\n", command.name, command.usage);
    for (const Positional& positional : command.positionals) {
        text += entry(positional.name, positional.help);
    }
    text += options_text(command.options);
    return command.notes.empty() ? text : fmt::format("{}\n{}\n", text, command.notes);
}

std::string program_help(const Command& program, const std::vector<Command>& commands) {
    std::string text = wrapped(program.summary, 0) + '\n';
    text += fmt::format("\nUsage: codetext {}\n\nCommands:\n", program.usage);
    for (const Command& command : commands) {
        const std::string term = fmt::format("{} {}", command.name, command.usage);
        text += entry(term, command.summary);
    }
    text += options_text(program.options);
    return fmt::format("{}\n{}\n", text, program.notes);
}

}  // namespace codetext::cli
