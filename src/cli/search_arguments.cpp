#include "cli/search_arguments.hpp"

#include <fmt/format.h>

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
        ->type_name(type);
}

void add_choice(CLI::App& command, const std::string& name, std::string& value,
                std::vector<std::string> choices, const std::string& description) {
    add_single(command.add_option(name, value, description))->check(CLI::IsMember(choices));
}

void add_query_options(CLI::App& command, SearchArguments& arguments) {
    command
        .add_option("PATTERN", arguments.positionals,
                    "What to look for (unless -e says it), then the files and directories to look "
                    "in: the current directory when there are none")
        ->option_text("[PATH ...]");
    command.add_option("-e,--regexp", arguments.patterns, "A pattern; repeatable")
        ->allow_extra_args(false)
        ->type_name("PATTERN");
    command.add_flag("-F,--fixed-strings", arguments.fixed_strings, "Patterns are plain text");
    command.add_flag("-i,--ignore-case", arguments.ignore_case, "Ignore case");
    command.add_flag("-s,--case-sensitive", arguments.case_sensitive, "Keep case (the default)");
    command.add_flag("-S,--smart-case", arguments.smart_case,
                     "Ignore case unless the pattern has a capital");
    command.add_flag("-w,--word-regexp", arguments.words, "Match whole words only");
    command.add_flag("-x,--line-regexp", arguments.whole_lines, "Match whole lines only");
    add_list(command, "-g,--glob", arguments.globs, "GLOB",
             "Only files of this name; `!` excludes");
    add_list(command, "-t,--type", arguments.languages, "LANG", "Only files of this language");
    add_choice(command, "--source", arguments.source, {"auto", "index", "disk"},
               "Where text is read");
}

void add_result_options(CLI::App& command, SearchArguments& arguments) {
    add_number(command, "-A,--after-context", arguments.after, "Lines to show behind a match");
    add_number(command, "-B,--before-context", arguments.before, "Lines to show in front of it");
    add_number(command, "-C,--context", arguments.context, "Lines to show on both sides");
    add_number(command, "-m,--max-count", arguments.max_count, "Most matching lines of a file");
    add_number(command, "--limit", arguments.limit, "Most matching lines in all");
    auto* json = command.add_flag("--json", arguments.json, "JSON, one object a line");
    command.add_flag("-l,--files-with-matches", arguments.files_with_matches, "Paths only")
        ->excludes(json);
    command
        .add_flag("--files-without-match", arguments.files_without_match,
                  "Paths of the files without a match")
        ->excludes(json);
    command.add_flag("-c,--count", arguments.count, "Number of matching lines of each file")
        ->excludes(json);
    command.add_flag("-q,--quiet", arguments.quiet, "No output; the exit status tells");
    command.add_flag("--column", arguments.column, "Show the column of the first match");
    command.add_flag("--vimgrep", arguments.vimgrep, "A line for each match, with its column");
    command.add_flag("--heading", arguments.heading, "Paths on lines of their own");
    command.add_flag("--no-heading", arguments.no_heading, "Paths on each line");
    add_choice(command, "--color", arguments.color, {"auto", "always", "never"}, "Use colour");
    command.add_flag("-n,--line-number")->description("Line numbers are always shown");
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
    add_query_options(command, arguments);
    add_result_options(command, arguments);
}

}  // namespace codetext::cli
