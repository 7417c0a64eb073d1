#include "cli/search_arguments.hpp"

#include <fmt/format.h>

#include <cerrno>
#include <fstream>
#include <iostream>
#include <limits>
#include <system_error>

#include "cli/foreign_options.hpp"

namespace codetext::cli {

namespace {

using Options = std::vector<Option>;

const std::vector<std::string_view> SORT_KEYS = {"path", "modified", "created", "none"};

/// The lines of a file of patterns.
std::vector<std::string> patterns_in(const std::string& file) {
    std::ifstream opened;
    if (file != "-") {
        opened.open(file, std::ios::binary);
        if (!opened) throw std::system_error(errno, std::generic_category(), file);
    }
    std::istream& in = file == "-" ? std::cin : opened;
    std::vector<std::string> patterns;
    for (std::string line; std::getline(in, line);) {
        if (line.ends_with('\r')) line.pop_back();
        patterns.push_back(line);
    }
    if (in.bad()) throw std::system_error(errno, std::generic_category(), file);
    return patterns;
}

Options pattern_options(SearchArguments& a) {
    constexpr std::string_view GROUP = "What matches";
    return {
        {'e', "regexp", "PATTERN", GROUP,
         "A pattern, also one that begins with `-`; repeatable: a line matches that any of them "
         "matches",
         List{&a.patterns}},
        {'f', "file", "FILE", GROUP,
         "Patterns from a file, one on each line; `-`: from standard input",
         List{&a.pattern_files}},
        {'F', "fixed-strings", "", GROUP, "Patterns are plain text, not regular expressions",
         Flag{&a.fixed_strings}},
        {'i', "ignore-case", "", GROUP, "Ignore case",
         Flag{&a.ignore_case, {&a.case_sensitive, &a.smart_case}}},
        {'s', "case-sensitive", "", GROUP,
         "Do not ignore case (the default); of -i, -s and -S the last one counts",
         Flag{&a.case_sensitive, {&a.ignore_case, &a.smart_case}}},
        {'S', "smart-case", "", GROUP, "Ignore case unless a pattern has a capital letter",
         Flag{&a.smart_case, {&a.case_sensitive, &a.ignore_case}}},
        {'w', "word-regexp", "", GROUP, "Match whole words only", Flag{&a.words, {&a.whole_lines}}},
        {'x', "line-regexp", "", GROUP, "Match whole lines only", Flag{&a.whole_lines, {&a.words}}},
        {'v', "invert-match", "", GROUP, "Lines that no pattern matches", Flag{&a.invert}},
        {0, "and", "PATTERN", GROUP,
         "Only files in which PATTERN matches too, on any line; repeatable", List{&a.also}},
        {0, "not", "PATTERN", GROUP, "Only files in which PATTERN matches nowhere; repeatable",
         List{&a.never}},
    };
}

Options file_options(SearchArguments& a) {
    constexpr std::string_view GROUP = "Which files";
    return {
        {'g', "glob", "GLOB", GROUP,
         "Only files that GLOB matches; `!GLOB`: only others. Without a `/`, GLOB is compared with "
         "names in any directory, otherwise with paths from the current directory. Repeatable: the "
         "last one that matches a file decides",
         List{&a.globs}},
        {0, "iglob", "GLOB", GROUP, "As -g, in any case of its letters; comes after all of -g",
         List{&a.iglobs}},
        {'d', "max-depth", "N", GROUP,
         "Only files at most N directories deep: 1 is the searched directory itself",
         Number{&a.max_depth}},
        {'t', "type", "TYPE", GROUP, "Only files of this type, such as c or py; repeatable",
         List{&a.types}},
        {'T', "type-not", "TYPE", GROUP, "No files of this type; repeatable", List{&a.types_out}},
        {0, "max-filesize", "N", GROUP,
         "No files that had more than N bytes when they were indexed; K, M and G stand for KiB, "
         "MiB "
         "and GiB",
         Number{&a.max_filesize, 0, std::numeric_limits<std::int64_t>::max(), true}},
        {0, "type-list", "", GROUP, "List the types and their file names, and search nothing",
         Flag{&a.type_list}},
        {0, "files", "", GROUP, "List the files that would be searched, and search nothing",
         Flag{&a.files}},
        {'a', "text", "", GROUP, "Search binary files too, as if they were text (on the disk)",
         Flag{&a.text}},
        {0, "source", "SOURCE", GROUP,
         "Where text is read: index, disk, or auto (the default): the index, or the disk when the "
         "index cannot answer",
         Choice{&a.source, {"auto", "index", "disk"}}},
        {0, "fresh", "", GROUP,
         "Take in all changes first: at once where `codetext watch` runs, else by a refresh of the "
         "index",
         Flag{&a.fresh, {&a.no_fresh}}},
        {0, "fresh-after", "SECONDS", GROUP,
         "As --fresh, where the last run of the indexer began so long ago or longer",
         Number{&a.fresh_after, 0, 1'000'000'000}},
        {0, "no-fresh", "", GROUP, "Neither of both", Flag{&a.no_fresh, {&a.fresh}}},
    };
}

Options amount_options(SearchArguments& a) {
    constexpr std::string_view GROUP = "How much is shown";
    return {
        {'A', "after-context", "N", GROUP, "Also N lines after each match", Number{&a.after}},
        {'B', "before-context", "N", GROUP, "Also N lines before each match", Number{&a.before}},
        {'C', "context", "N", GROUP,
         "Also N lines before and after each match; -A and -B override it", Number{&a.context}},
        {'m', "max-count", "N", GROUP, "At most N matching lines of each file",
         Number{&a.max_count}},
        {0, "limit", "N", GROUP,
         "At most N matching lines in all; N files with -c, -l or --files-without-match",
         Number{&a.limit}},
        {0, "max-bytes", "N", GROUP, "At most N bytes of output, in whole lines",
         Number{&a.max_bytes}},
        {0, "passthru", "", GROUP, "All lines of all files, matching or not", Flag{&a.passthru}},
        {'l', "files-with-matches", "", GROUP, "Only the paths of files with a match",
         Flag{&a.files_with_matches, {&a.files_without_match, &a.count, &a.count_matches}}},
        {0, "files-without-match", "", GROUP, "Only the paths of files without a match",
         Flag{&a.files_without_match, {&a.files_with_matches, &a.count, &a.count_matches}}},
        {'c', "count", "", GROUP, "Only the number of matching lines of each file with a match",
         Flag{&a.count, {&a.files_with_matches, &a.files_without_match, &a.count_matches}}},
        {0, "count-matches", "", GROUP, "Only the number of matches of each file with a match",
         Flag{&a.count_matches, {&a.files_with_matches, &a.files_without_match, &a.count}}},
        {0, "include-zero", "", GROUP, "With -c or --count-matches, also files without a match",
         Flag{&a.include_zero}},
        {'q', "quiet", "", GROUP, "Nothing; the exit status tells", Flag{&a.quiet}},
    };
}

Options form_options(SearchArguments& a) {
    constexpr std::string_view GROUP = "How it is shown";
    return {
        {'o', "only-matching", "", GROUP, "The matches alone, one on each line",
         Flag{&a.only_matching}},
        {'r', "replace", "TEXT", GROUP,
         "TEXT in place of each match, in the output alone; `$1` and `$name` are groups of the "
         "pattern, `$0` is the match",
         Text{&a.replacement, &a.replaces}},
        {0, "column", "", GROUP, "With the column of the first match, in bytes from 1",
         Flag{&a.column}},
        {'b', "byte-offset", "", GROUP, "With the place of each line in its file, in bytes from 0",
         Flag{&a.byte_offset}},
        {0, "vimgrep", "", GROUP, "One line for each match, with its column", Flag{&a.vimgrep}},
        {0, "json", "", GROUP,
         "JSON, one object on each line; `start` and `end` count bytes from 0, `column` counts "
         "characters from 0, a byte-order mark too",
         Flag{&a.json}},
        {'n', "line-number", "", GROUP, "With line numbers (the default)",
         Flag{&a.line_number, {&a.no_line_number}}},
        {'N', "no-line-number", "", GROUP, "Without line numbers",
         Flag{&a.no_line_number, {&a.line_number}}},
        {'H', "with-filename", "", GROUP, "With paths (the default)",
         Flag{&a.with_filename, {&a.no_filename}}},
        {'I', "no-filename", "", GROUP, "Without paths", Flag{&a.no_filename, {&a.with_filename}}},
        {0, "heading", "", GROUP, "Paths on lines of their own (the default on a terminal)",
         Flag{&a.heading, {&a.no_heading}}},
        {0, "no-heading", "", GROUP, "The path on each line (the default elsewhere)",
         Flag{&a.no_heading, {&a.heading}}},
        {'p', "pretty", "", GROUP, "As on a terminal: colors and headings", Flag{&a.pretty}},
        {0, "color", "WHEN", GROUP,
         "Colors: always, never, or auto (the default): on a terminal unless NO_COLOR is set",
         Choice{&a.color, {"auto", "always", "never", "ansi"}}},
        {0, "colors", "SETTING", GROUP,
         "What path, line, column or match look like, such as path:fg:blue, match:style:bold or "
         "line:none; repeatable",
         List{&a.colors}},
        {0, "hyperlink", "", GROUP, "Paths are links to the files", Flag{&a.hyperlink}},
        {0, "hyperlink-format", "FORMAT", GROUP,
         "What a link leads to: a URL with {path}, {line}, {column} and {host}, or vscode, kitty, "
         "file, none and others",
         Text{&a.hyperlink_format, &a.hyperlink}},
        {'M', "max-columns", "N", GROUP,
         "Of a line of more than N bytes, show N about its match (the default on a terminal: "
         "1000; 0: all)",
         Number{&a.max_columns}},
        {0, "trim", "", GROUP, "Without the white space that lines begin with", Flag{&a.trim}},
        {0, "context-separator", "TEXT", GROUP, "The line between runs of context (default: --)",
         Text{&a.context_separator, &a.has_context_separator}},
        {0, "no-context-separator", "", GROUP, "No line between runs of context",
         Flag{&a.no_context_separator, {&a.has_context_separator}}},
        {0, "field-match-separator", "TEXT", GROUP, "In place of the `:` in matching lines",
         Text{&a.match_field_separator}},
        {0, "field-context-separator", "TEXT", GROUP, "In place of the `-` in context lines",
         Text{&a.context_field_separator}},
        {'0', "null", "", GROUP,
         "A NUL after each path, in place of a `:`, `-` or line end; paths are not quoted",
         Flag{&a.null}},
        {0, "sort", "KEY", GROUP, "Files in the order of: path (the default), modified, created",
         Choice{&a.sort, SORT_KEYS}},
        {0, "sortr", "KEY", GROUP, "The same, backwards", Choice{&a.sort_backwards, SORT_KEYS}},
        {0, "line-buffered", "", GROUP, "Write each line at once", Flag{&a.line_buffered}},
    };
}

Options other_options(SearchArguments& a) {
    constexpr std::string_view GROUP = "Other";
    return {
        {'j', "threads", "N", GROUP, "Threads that search (default: one a core)",
         Number{&a.threads, 0, 256}},
        {0, "no-messages", "", GROUP, "No words about files that cannot be read",
         Flag{&a.no_messages}},
        {0, "stats", "", GROUP, "Report on standard error what the search did", Flag{&a.stats}},
        {0, "explain", "", GROUP,
         "Report on standard error what was asked of the index, what each step left, and how long "
         "it "
         "took",
         Flag{&a.explain}},
    };
}

}  // namespace

void SearchArguments::settle_patterns() {
    if (json && (files_with_matches || files_without_match || count || count_matches || null)) {
        throw UsageError(fmt::format("--json cannot be combined with --{}",
                                     files_with_matches    ? "files-with-matches"
                                     : files_without_match ? "files-without-match"
                                     : count               ? "count"
                                     : count_matches       ? "count-matches"
                                                           : "null"));
    }
    if (files) return;
    if (!patterns.empty() || !pattern_files.empty()) return;
    if (paths.empty()) throw UsageError("search code: a pattern is missing");
    patterns.push_back(paths.front());
    paths.erase(paths.begin());
}

void SearchArguments::read_pattern_files() {
    for (const std::string& file : pattern_files) {
        const std::vector<std::string> read = patterns_in(file);
        patterns.insert(patterns.end(), read.begin(), read.end());
    }
    if (patterns.empty() && !files) {
        throw UsageError("-f: there is no pattern in " + pattern_files.front());
    }
}

Command search_command(SearchArguments& arguments) {
    Command command{
        .name = "search code",
        .summary = "Search the text of the repository's files",
        .positionals = {{"PATTERN",
                         "A regular expression (RE2's syntax) that lines match; not taken when -e "
                         "gives a pattern"},
                        {"PATH",
                         "Files and directories to look in (default: the current directory)"}},
        .usage = "PATTERN [PATH...]",
        .rest = &arguments.paths,
        .options = pattern_options(arguments),
        .notes =
            "A path with a line break or another control character is shown in double quotes\n"
            "with escapes, as git shows it. A terminal gets such characters of a line as\n"
            "\\x1b or <U+202E>.\n\n"
            "Results come in the order of their paths. Bytes of a file that are not valid\n"
            "UTF-8 are searched and shown as U+FFFD, which takes 3 bytes; columns and offsets\n"
            "count the text as it is shown.\n\n"
            "Exit status: 0 for a match, 1 for none, 2 for an error.\n\n"
            "Examples:\n"
            "  codetext search code -F 'buf[len]'\n"
            "  codetext search code -t c -g '!test/**' 'EXPORT_\\w+\\(.*_probe\\)' drivers\n"
            "  codetext search code -e -EINVAL -e -ENOMEM",
        .dash_tip = "use -e or -- for a pattern that begins with -"};
    for (const auto& group :
         {file_options, amount_options, form_options, other_options, foreign_options}) {
        const Options options = group(arguments);
        command.options.insert(command.options.end(), options.begin(), options.end());
    }
    return command;
}

}  // namespace codetext::cli
