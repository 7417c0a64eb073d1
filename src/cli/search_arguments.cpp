#include "cli/search_arguments.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <limits>
#include <stdexcept>

namespace codetext::cli {

namespace {

// The last one given counts.
CLI::Option* add_single(CLI::Option* option) {
    return option->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

/// A decimal number; -1 for any other text, a number out of range included.
std::int64_t number_of(const std::string& text) {
    std::int64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && parsed == end && number >= 0 ? number : -1;
}

std::string number_fault(const std::string& text) {
    if (number_of(text) >= 0) return "";
    return fmt::format("\"{}\" is no number from 0 to {}", text,
                       std::numeric_limits<std::int64_t>::max());
}

void add_number(CLI::App& command, const std::string& names, std::int64_t& value,
                const std::string& description) {
    const auto take = [&value](const std::string& text) { value = number_of(text); };
    add_single(command.add_option_function<std::string>(names, take, description))
        ->check(number_fault)
        ->type_name("N");
}

void add_list(CLI::App& command, const std::string& names, std::vector<std::string>& values,
              const std::string& type, const std::string& description) {
    const auto fault = [type](const std::string& text) {
        return text.empty() || text == "!" ? fmt::format("\"{}\" is no {}", text, type) : "";
    };
    command.add_option(names, values, description)
        ->allow_extra_args(false)
        ->check(fault)
        ->option_text(type);
}

void add_choice(CLI::App& command, const std::string& name, std::string& value,
                std::vector<std::string> choices, const std::string& description) {
    add_single(command.add_option(name, value, description))
        ->check(CLI::IsMember(choices))
        ->option_text(fmt::format("{}", fmt::join(choices, "|")));
}

void add_pattern_options(CLI::App& command, SearchArguments& arguments) {
    command.option_defaults()->group("What matches");
    command
        .add_option("PATTERN", arguments.positionals,
                    "A regular expression (RE2's syntax) that lines match, unless -e gives one;\n"
                    "then the files and directories to look in, or else the current directory")
        ->option_text("[PATH ...]");
    command
        .add_option("-e,--regexp", arguments.patterns,
                    "A pattern, also one that begins with `-`; repeatable: any of them matches")
        ->allow_extra_args(false)
        ->option_text("PATTERN");
    command.add_flag("-F,--fixed-strings", arguments.fixed_strings,
                     "Patterns are plain text, no regular expressions");
    command.add_flag("-i,--ignore-case", arguments.ignore_case, "Ignore case");
    command.add_flag("-s,--case-sensitive", arguments.case_sensitive, "Keep case (the default)");
    command.add_flag("-S,--smart-case", arguments.smart_case,
                     "Ignore case unless a pattern has a capital");
    command.add_flag("-w,--word-regexp", arguments.words, "Match whole words only");
    command.add_flag("-x,--line-regexp", arguments.whole_lines, "Match whole lines only");
}

void add_file_options(CLI::App& command, SearchArguments& arguments) {
    command.option_defaults()->group("Which files");
    add_list(command, "-g,--glob", arguments.globs, "GLOB",
             "Only files of this name or, where GLOB has a `/`, this path from the root;\n"
             "`!GLOB`: only others; repeatable");
    add_list(command, "-t,--type", arguments.languages, "LANG",
             "Only files of this language, such as c or python; repeatable");
    add_choice(command, "--source", arguments.source, {"auto", "index", "disk"},
               "Where text is read; auto (the default): the index, or the disk when the\n"
               "index cannot answer");
}

void add_result_options(CLI::App& command, SearchArguments& arguments) {
    command.option_defaults()->group("What is shown");
    add_number(command, "-A,--after-context", arguments.after, "N lines after each match");
    add_number(command, "-B,--before-context", arguments.before, "N lines before each match");
    add_number(command, "-C,--context", arguments.context, "N lines before and after each match");
    add_number(command, "-m,--max-count", arguments.max_count, "At most N matching lines a file");
    add_number(command, "--limit", arguments.limit,
               "At most N matching lines in all, or N files where only paths are shown");
    auto* json =
        command.add_flag("--json", arguments.json, "JSON, one object a line; columns from 0");
    command
        .add_flag("-l,--files-with-matches", arguments.files_with_matches,
                  "Only the paths of files with a match")
        ->excludes(json);
    command
        .add_flag("--files-without-match", arguments.files_without_match,
                  "Only the paths of files without a match")
        ->excludes(json);
    command
        .add_flag("-c,--count", arguments.count,
                  "Only the number of matching lines of each file with a match")
        ->excludes(json);
    command.add_flag("-q,--quiet", arguments.quiet, "Nothing; the exit status tells");
    command.add_flag("--column", arguments.column,
                     "The column of the first match, in bytes from 1");
    command.add_flag("--vimgrep", arguments.vimgrep, "A line for each match, with its column");
    command.add_flag("--heading", arguments.heading,
                     "Paths on lines of their own (the default on a terminal)");
    command.add_flag("--no-heading", arguments.no_heading,
                     "Paths on each line (the default elsewhere)");
    add_choice(command, "--color", arguments.color, {"auto", "always", "never"},
               "Colours; auto (the default) is on a terminal, unless NO_COLOR is set");
    command.add_flag("-n,--line-number")
        ->description("Changes nothing: line numbers are always shown");
    command.add_flag("--stats", arguments.stats, "What the search did, on standard error");
}

}  // namespace

void SearchArguments::settle_pattern() {
    if (!patterns.empty()) return;
    if (positionals.empty()) throw std::invalid_argument("search code: a pattern is required");
    patterns.push_back(positionals.front());
    positionals.erase(positionals.begin());
}

void add_search_options(CLI::App& command, SearchArguments& arguments) {
    add_pattern_options(command, arguments);
    add_file_options(command, arguments);
    add_result_options(command, arguments);
    command.footer(
        "Exit status: 0 for a match, 1 for none, 2 for an error.\n\nExamples:\n"
        "  codetext search code -F 'buf[len]'\n"
        "  codetext search code -t c -g '!test/**' 'EXPORT_SYMBOL\\(.*_probe\\)' drivers lib");
}

}  // namespace codetext::cli
