#pragma once

// The command line of `search code`: which options there are, and what the user gave.

#include <CLI/App.hpp>
#include <cstdint>
#include <string>
#include <vector>

namespace codetext::cli {

struct SearchArguments {
    std::vector<std::string> positionals;  ///< the pattern, unless -e gives one, then paths
    std::vector<std::string> patterns;     ///< of -e
    bool fixed_strings = false, ignore_case = false, case_sensitive = false, smart_case = false;
    bool words = false, whole_lines = false;
    std::int64_t before = -1, after = -1, context = 0;  ///< -1: as `context`
    bool files_with_matches = false, files_without_match = false, count = false, quiet = false;
    std::int64_t max_count = -1, limit = -1;  ///< -1: none
    std::vector<std::string> globs, languages;
    std::string color = "auto", source = "auto";
    bool column = false, vimgrep = false, json = false, stats = false;
    bool heading = false, no_heading = false;

    /// Moves the pattern out of the positionals. Throws std::invalid_argument when there is none.
    void settle_pattern();
    std::int64_t lines_before() const { return before >= 0 ? before : context; }
    std::int64_t lines_after() const { return after >= 0 ? after : context; }
};

/// Adds the options to the command; a parse fills `arguments`, which must outlive it.
void add_search_options(CLI::App& command, SearchArguments& arguments);

}  // namespace codetext::cli
