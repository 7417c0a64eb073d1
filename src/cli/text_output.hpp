#pragma once

// Search results as text: "path:line:text" for programs, headings and colour for people.
//
//   cli::render_text(result, {.query = &query, .paths = &paths, .heading = true}, out);

#include <string>

#include "cli/color.hpp"
#include "cli/search_paths.hpp"
#include "search/run/file_search.hpp"

namespace codetext::cli {

struct TextFormat {
    enum class Shows { LINES, PATHS, COUNTS };
    const search::Query* query = nullptr;
    const SearchPaths* paths = nullptr;
    Shows shows = Shows::LINES;
    bool heading = false;     ///< the path on a line of its own
    bool column = false;      ///< where the first match begins, in bytes from 1
    bool each_match = false;  ///< a line for each match on it, with its column
    Colors colors = NO_COLORS;
};

/// Appends what is to be shown of one file: its lines with "--" between two that do not follow one
/// another where there is context, its path, or its path with the number of matching lines.
/// `context` says whether the search has context lines.
void render_text(const search::FileResult& result, const TextFormat& format, bool context,
                 std::string& out);

/// What stands between the outputs for two files.
std::string_view file_separator(const TextFormat& format, bool context);

}  // namespace codetext::cli
