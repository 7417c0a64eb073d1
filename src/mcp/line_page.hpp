#pragma once

// A page of lines, grouped by file, while it is made: as text and as JSON, both within a bound.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mcp/cursor.hpp"
#include "mcp/json.hpp"

namespace codetext::mcp {

/// Longer lines are shown in part.
inline constexpr std::size_t MOST_LINE_BYTES = 500;

/// The line, or where it is longer than `most_bytes` the part from a little before `wanted` on, and
/// how many bytes are left out on either side.
std::string shortened(std::string_view line, std::size_t wanted,
                      std::size_t most_bytes = MOST_LINE_BYTES);

/// A path as it stands in text: as it is, or as a JSON string where it has a control character.
std::string shown_path(std::string_view path);

/// The bytes that a text takes in a result, which has it twice: the larger of both.
std::size_t cost_of(std::string_view text);

struct PageLine {
    std::int64_t number;
    bool is_match;
    std::string text;
};

class LinePage {
  public:
    struct Bounds {
        std::int64_t most_matches;
        std::size_t most_bytes;
        std::int64_t after = 0;  ///< context lines that belong to the match before them
    };
    explicit LinePage(Bounds bounds) : _bounds(bounds) { _json.begin_array(); }

    /// Lines of this file follow.
    void file(std::string_view path);
    /// Takes the next line. False for the first match that finds no room: the page is full, and
    /// next() says where the next one begins. The first match of a page always finds room, if need
    /// be without all of its context.
    bool line(PageLine line);
    /// No line follows.
    void finish();

    std::int64_t matches() const { return _matches; }
    const std::optional<Position>& next() const { return _next; }
    bool lacks_context() const { return _lacks_context; }
    /// After finish(): the lines below the paths of their files.
    const std::string& text() const { return _text; }
    /// After finish(): an array of objects with "path" and "lines".
    std::string json() const { return _json.str(); }

  private:
    bool _has_room(std::size_t lines) const;
    void _add_pending(std::size_t lines);
    void _add_rest();
    void _end_file();

    Bounds _bounds;
    JsonWriter _json;
    std::string _text, _path;
    std::vector<PageLine> _pending;  ///< context, whose match may follow
    std::size_t _used_bytes = 0;
    std::int64_t _matches = 0;
    std::int64_t _last_match = 0;  ///< in the file; 0: none yet
    bool _lacks_context = false;
    std::optional<Position> _next;
};

}  // namespace codetext::mcp
