#pragma once

// Lines from a descriptor, of a bounded length, until somebody says stop.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace codetext::mcp {

struct Line {
    std::string text;          ///< without its line feed
    bool is_too_long = false;  ///< it had more than MAX_LINE_BYTES, and `text` is empty
};

/// Longer than any request needs: a pattern of 40,000 words has 400 KB.
inline constexpr std::size_t MAX_LINE_BYTES = 1 << 20;

class LineReader {
  public:
    /// `stop` is a descriptor that becomes readable when nothing is to be read any more. `output`
    /// is one whose reader may go away, which ends the lines too.
    LineReader(int input, int stop, int output) : _input(input), _stop(stop), _output(output) {}

    /// Waits for the next line that is not empty; none at the end. A last line counts without its
    /// line feed too. Throws std::system_error when the input cannot be read.
    std::optional<Line> next();
    /// Whether the lines ended by `stop`.
    bool was_stopped() const { return _was_stopped; }

  private:
    std::optional<Line> _taken(std::size_t line_feed);
    bool _wait();
    bool _read();

    int _input, _stop, _output;
    std::string _buffer;
    std::size_t _searched = 0;  ///< bytes of the buffer that are known to hold no line feed
    bool _skips = false;        ///< in a line that is too long
    bool _was_stopped = false;
};

}  // namespace codetext::mcp
