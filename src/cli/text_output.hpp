#pragma once

// Search results as text: "path:line:text" for programs, headings and color for people. A path is
// written as quoted_path gives it, so that no name forges a line. What a line holds is written as
// it is, or escaped for a terminal.

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "cli/hyperlink.hpp"
#include "cli/line_text.hpp"
#include "cli/search_paths.hpp"
#include "search/run/search_run.hpp"

namespace codetext::cli {

struct TextFormat {
    enum class Shows {
        LINES,
        PATHS,
        COUNTS,       ///< of matching lines
        MATCH_COUNTS  ///< of matches, several on a line too
    };
    LineFormat line;
    const SearchPaths* paths = nullptr;
    const Hyperlink* hyperlink = nullptr;  ///< none: paths are no links
    Shows shows = Shows::LINES;
    bool heading = false;  ///< the path stands on a line of its own
    bool path = true;      ///< of each line or count
    bool line_number = true;
    bool column = false;       ///< each line has the column of its first match, in bytes from 1
    bool byte_offset = false;  ///< each line has its offset in the file, or its match has
    bool each_match = false;   ///< a line is written once for each match, with that match's column
    bool only_matching = false;  ///< of a line the matches alone, one below the other
    /// A NUL follows each path, in place of a ":", "-" or line feed; paths are not quoted then.
    bool null = false;
    std::string match_separator = ":", context_separator = "-";  ///< between fields of a line
    std::optional<std::string> gap =
        "--";  ///< a line that marks a gap between lines; none: no mark
};

/// Writes what `format` shows of each file: its lines, its path, or its path with a number.
/// `context` says whether the search has context lines; then gaps between lines are marked. The
/// format must outlive it.
std::unique_ptr<search::Renderer> make_text_renderer(const TextFormat& format, bool context);

/// The text between the outputs for two files.
std::string file_separator(const TextFormat& format, bool context);

}  // namespace codetext::cli
