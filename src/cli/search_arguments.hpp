#pragma once

// The command line of `search code`: its table of options, and what the user gave.

#include <cstdint>
#include <string>
#include <vector>

#include "cli/options.hpp"

namespace codetext::cli {

struct SearchArguments {
    std::vector<std::string> patterns;  ///< of -e, until settle_pattern
    std::vector<std::string> paths;     ///< with the pattern in front, until settle_pattern
    bool fixed_strings = false, ignore_case = false, case_sensitive = false, smart_case = false;
    bool words = false, whole_lines = false;
    std::int64_t before = -1, after = -1, context = 0;  ///< -1: as `context`
    bool files_with_matches = false, files_without_match = false, count = false, quiet = false;
    std::int64_t max_count = -1, limit = -1;  ///< -1: none
    std::vector<std::string> globs, types, types_out;
    std::string color = "auto", source = "auto";
    bool column = false, vimgrep = false, json = false, stats = false;
    bool heading = false, no_heading = false, line_number = false, null = false;
    bool type_list = false, fresh = false;

    /// Checks that the options go together and, unless -e gave a pattern, moves the first
    /// positional to `patterns`. Throws UsageError where options exclude one another or there is no
    /// pattern.
    void settle_pattern();
    std::int64_t lines_before() const { return before >= 0 ? before : context; }
    std::int64_t lines_after() const { return after >= 0 ? after : context; }
};

/// The command's table. `arguments` must outlive it.
Command search_command(SearchArguments& arguments);

}  // namespace codetext::cli
