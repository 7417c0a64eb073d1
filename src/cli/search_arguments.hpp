#pragma once

// The command line of `search code`: its table of options, and what the user gave.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "cli/options.hpp"

namespace codetext::cli {

/// Of a long line on a terminal, so many bytes are shown unless --max-columns says otherwise.
inline constexpr std::int64_t TERMINAL_LINE_BYTES = 1000;

struct SearchArguments {
    std::vector<std::string> patterns;                    ///< of -e, until settle_patterns
    std::vector<std::string> pattern_files, also, never;  ///< of -f, --and, --not
    std::vector<std::string> paths;  ///< with the pattern in front, until settle_patterns
    bool fixed_strings = false, ignore_case = false, case_sensitive = false, smart_case = false;
    bool words = false, whole_lines = false, invert = false, text = false;
    std::int64_t before = -1, after = -1, context = 0;  ///< -1: as `context`
    bool files_with_matches = false, files_without_match = false, count = false, quiet = false;
    bool count_matches = false, include_zero = false, passthru = false;
    std::int64_t max_count = -1, limit = -1, max_depth = -1, max_bytes = -1;  ///< -1: none
    std::int64_t max_columns = -1;  ///< -1: none, or the default of a terminal; 0: none
    std::int64_t threads = 0;       ///< 0: one a core
    std::int64_t max_filesize = -1, fresh_after = -1;  ///< bytes, seconds; -1: not given
    /// Of configuration files, which no option sets: globs from the root of files that are left
    /// out, and for the names of types the files that they take in beside the built-in ones.
    std::vector<std::string> left_out;
    std::map<std::string, std::vector<std::string>> own_types;
    std::vector<std::string> globs, iglobs, types, types_out, colors;
    std::string color = "auto", source = "auto", sort = "path", sort_backwards;
    bool column = false, vimgrep = false, json = false, stats = false, only_matching = false;
    bool heading = false, no_heading = false, line_number = false, no_line_number = false;
    bool null = false, with_filename = false, no_filename = false, byte_offset = false;
    bool trim = false, pretty = false, line_buffered = false, no_messages = false;
    bool replaces = false;
    std::string replacement;  ///< where `replaces`
    std::string context_separator = "--", match_field_separator = ":",
                context_field_separator = "-", hyperlink_format;
    std::string encoding, engine, path_separator;  ///< one value each is accepted
    bool has_context_separator = false, no_context_separator = false, hyperlink = false;
    bool explain = false, type_list = false, fresh = false, no_fresh = false, files = false,
         unrestricted = false;

    /// Checks that the options go together and, where no option gives a pattern and one is needed,
    /// moves the first positional to `patterns`. Throws UsageError where options exclude one
    /// another or there is no pattern.
    void settle_patterns();
    /// Adds the patterns in the files of -f. Throws UsageError where there is no pattern then,
    /// std::system_error for a file that cannot be read.
    void read_pattern_files();
    std::int64_t lines_before() const { return before >= 0 ? before : context; }
    std::int64_t lines_after() const { return after >= 0 ? after : context; }
};

/// The command's table. `arguments` must outlive it.
Command search_command(SearchArguments& arguments);

}  // namespace codetext::cli
