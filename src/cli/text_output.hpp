#pragma once

// Search results as text: "path:line:text" for programs, headings and color for people. A path is
// written as quoted_path gives it, so that no name forges a line. What a line holds is written as
// it is, or escaped for a terminal.

#include <memory>
#include <string_view>

#include "cli/color.hpp"
#include "cli/search_paths.hpp"
#include "search/run/search_run.hpp"

namespace codetext::cli {

struct TextFormat {
    enum class Shows { LINES, PATHS, COUNTS };
    const search::Query* query = nullptr;
    const SearchPaths* paths = nullptr;
    Shows shows = Shows::LINES;
    bool heading = false;     ///< the path stands on a line of its own
    bool column = false;      ///< each line has the column of its first match, in bytes from 1
    bool each_match = false;  ///< a line is written once for each match, with that match's column
    /// A NUL follows each path, in place of a ":", "-" or line feed; paths are not quoted then.
    bool null = false;
    bool to_terminal = false;  ///< texts are escaped; paths are quoted always
    Colors colors = NO_COLORS;
};

/// Writes what `format` shows of each file: its lines, its path, or its path with the number of
/// matching lines. `context` says whether the search has context lines; then a "--" marks each gap
/// between lines. The format must outlive it.
std::unique_ptr<search::Renderer> make_text_renderer(const TextFormat& format, bool context);

/// The text between the outputs for two files.
std::string_view file_separator(const TextFormat& format, bool context);

}  // namespace codetext::cli
