#pragma once

// The output for one file while it is made. It grows to a limit and is then handed on, so that no
// file's output, however large, stands in memory as a whole.
//
//   search::OutputBuffer out(1 << 16, [&](std::string_view part) { write(part); });
//   out.text() += "a line\n";
//   out.hand_on_if_large();

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace codetext::search {

class OutputBuffer {
  public:
    /// `hand_on` takes what was made so far when it has `limit_bytes` or more. What it throws
    /// passes to whoever makes the output.
    OutputBuffer(std::size_t limit_bytes, std::function<void(std::string_view part)> hand_on)
        : _limit_bytes(limit_bytes), _hand_on(std::move(hand_on)) {}

    /// What was not handed on yet, to append to.
    std::string& text() { return _text; }
    /// To be called wherever the output has grown: after each line, and within one that is made of
    /// many parts.
    void hand_on_if_large() {
        if (_text.size() >= _limit_bytes) hand_on();
    }
    /// Hands on all that there is.
    void hand_on() {
        _hand_on(_text);
        _handed_on += _text.size();
        _text.clear();
    }
    /// Bytes made since the last clear().
    std::size_t size() const { return _handed_on + _text.size(); }
    /// Forgets what was made, for the next file. The memory is kept.
    void clear() {
        _text.clear();
        _handed_on = 0;
    }

  private:
    std::size_t _limit_bytes;
    std::function<void(std::string_view)> _hand_on;
    std::string _text;
    std::size_t _handed_on = 0;
};

}  // namespace codetext::search
