#include "mcp/line_reader.hpp"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "utils/descriptor.hpp"

namespace codetext::mcp {

std::optional<Line> LineReader::next() {
    while (true) {
        const std::size_t line_feed = _buffer.find('\n', _searched);
        if (line_feed != std::string::npos) {
            if (std::optional<Line> line = _taken(line_feed)) return line;
            continue;
        }
        if (_buffer.size() > MAX_LINE_BYTES) {
            _skips = true;
            _buffer.clear();
        }
        _searched = _buffer.size();
        if (_wait() && _read()) continue;
        if (_was_stopped || (_buffer.empty() && !_skips)) return std::nullopt;
        _buffer += '\n';  // the last line; the next call finds the end again
    }
}

/// The line up to the line feed; none for one without a character.
std::optional<Line> LineReader::_taken(std::size_t line_feed) {
    Line line;
    line.is_too_long = std::exchange(_skips, false) || line_feed > MAX_LINE_BYTES;
    if (!line.is_too_long) line.text = _buffer.substr(0, line_feed);
    _buffer.erase(0, line_feed + 1);
    _searched = 0;
    if (!line.is_too_long && line.text.find_first_not_of(" \t\r") == std::string::npos) {
        return std::nullopt;
    }
    return line;
}

/// Whether there is something to read, the end of the input included.
bool LineReader::_wait() {
    constexpr short GONE = POLLERR | POLLHUP | POLLNVAL;
    std::array<struct pollfd, 3> waited = {
        {{_input, POLLIN, 0}, {_stop, POLLIN, 0}, {_output, 0, 0}}};
    while (::poll(waited.data(), waited.size(), -1) == -1) {
        if (errno != EINTR) throw_system_error("cannot wait for requests");
    }
    if (waited[1].revents != 0) _was_stopped = true;
    // What a client has sent is answered to nobody once it is gone.
    const bool is_gone = (waited[2].revents & GONE) != 0;
    if (is_gone) _buffer.clear(), _skips = false;
    return !_was_stopped && !is_gone;
}

bool LineReader::_read() {
    std::array<char, 1 << 16> part;
    ssize_t count = 0;
    do {
        count = ::read(_input, part.data(), part.size());
    } while (count == -1 && errno == EINTR);
    if (count == -1 && errno == ECONNRESET) return false;
    if (count == -1) throw_system_error("cannot read the requests");
    _buffer.append(part.data(), static_cast<std::size_t>(count));
    return count > 0;
}

}  // namespace codetext::mcp
