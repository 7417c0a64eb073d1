#include "cli/search_arguments.hpp"

#include <fmt/format.h>

namespace codetext::cli {

namespace {

using Options = std::vector<Option>;

Options pattern_options(SearchArguments& a) {
    constexpr std::string_view GROUP = "What matches";
    return {
        {'e', "regexp", "PATTERN", GROUP,
         "A pattern, also one that begins with `-`; repeatable: a line matches that any of them "
         "matches",
         List{&a.patterns}},
        {'F', "fixed-strings", "", GROUP, "Patterns are plain text, not regular expressions",
         Flag{&a.fixed_strings}},
        {'i', "ignore-case", "", GROUP, "Ignore case",
         Flag{&a.ignore_case, {&a.case_sensitive, &a.smart_case}}},
        {'s', "case-sensitive", "", GROUP,
         "Do not ignore case (the default); of -i, -s and -S the last one counts",
         Flag{&a.case_sensitive, {&a.ignore_case, &a.smart_case}}},
        {'S', "smart-case", "", GROUP, "Ignore case unless a pattern has a capital letter",
         Flag{&a.smart_case, {&a.case_sensitive, &a.ignore_case}}},
        {'w', "word-regexp", "", GROUP, "Match whole words only", Flag{&a.words}},
        {'x', "line-regexp", "", GROUP, "Match whole lines only", Flag{&a.whole_lines}},
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
        {'t', "type", "TYPE", GROUP, "Only files of this type, such as c or py; repeatable",
         List{&a.types}},
        {'T', "type-not", "TYPE", GROUP, "No files of this type; repeatable", List{&a.types_out}},
        {0, "type-list", "", GROUP, "List the types and their file names, and search nothing",
         Flag{&a.type_list}},
        {0, "source", "SOURCE", GROUP,
         "Where text is read: index, disk, or auto (the default): the index, or the disk when the "
         "index cannot answer",
         Choice{&a.source, {"auto", "index", "disk"}}},
        {0, "fresh", "", GROUP,
         "Take in all changes first: at once where `codetext watch` runs, else by a refresh of the "
         "index",
         Flag{&a.fresh}},
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
        {'l', "files-with-matches", "", GROUP, "Only the paths of files with a match",
         Flag{&a.files_with_matches}},
        {0, "files-without-match", "", GROUP, "Only the paths of files without a match",
         Flag{&a.files_without_match}},
        {'c', "count", "", GROUP, "Only the number of matching lines of each file with a match",
         Flag{&a.count}},
        {'q', "quiet", "", GROUP, "Nothing; the exit status tells", Flag{&a.quiet}},
    };
}

Options form_options(SearchArguments& a) {
    constexpr std::string_view GROUP = "How it is shown";
    return {
        {0, "column", "", GROUP, "With the column of the first match, in bytes from 1",
         Flag{&a.column}},
        {0, "vimgrep", "", GROUP, "One line for each match, with its column", Flag{&a.vimgrep}},
        {0, "json", "", GROUP,
         "JSON, one object on each line; `start` and `end` count bytes from 0, `column` counts "
         "characters from 0, a byte-order mark too",
         Flag{&a.json}},
        {0, "heading", "", GROUP, "Paths on lines of their own (the default on a terminal)",
         Flag{&a.heading, {&a.no_heading}}},
        {0, "no-heading", "", GROUP, "The path on each line (the default elsewhere)",
         Flag{&a.no_heading, {&a.heading}}},
        {0, "color", "WHEN", GROUP,
         "Colors: always, never, or auto (the default): on a terminal unless NO_COLOR is set",
         Choice{&a.color, {"auto", "always", "never"}}},
        {'0', "null", "", GROUP,
         "A NUL after each path, in place of a `:`, `-` or line end; paths are not quoted",
         Flag{&a.null}},
        {'n', "line-number", "", GROUP, "Accepted; line numbers are always shown",
         Flag{&a.line_number}},
        {0, "stats", "", GROUP, "Report on standard error what the search did", Flag{&a.stats}},
    };
}

}  // namespace

void SearchArguments::settle_pattern() {
    if (json && (files_with_matches || files_without_match || count || null)) {
        throw UsageError(fmt::format("--json cannot be combined with --{}",
                                     files_with_matches    ? "files-with-matches"
                                     : files_without_match ? "files-without-match"
                                     : count               ? "count"
                                                           : "null"));
    }
    if (!patterns.empty()) return;
    if (paths.empty()) throw UsageError("search code: a pattern is missing");
    patterns.push_back(paths.front());
    paths.erase(paths.begin());
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
    for (const auto& group : {file_options, amount_options, form_options}) {
        const Options options = group(arguments);
        command.options.insert(command.options.end(), options.begin(), options.end());
    }
    return command;
}

}  // namespace codetext::cli
