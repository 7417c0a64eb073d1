#include "cli/output.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "cli/escaped.hpp"

namespace codetext::cli {

namespace {

constexpr std::size_t BUFFER_BYTES = 128 << 10;

}  // namespace

Output::Output(int descriptor) : _descriptor(descriptor), _is_terminal(isatty(descriptor) == 1) {
    _buffer.reserve(BUFFER_BYTES);
}

bool Output::write(std::string_view text) {
    if (_buffer.size() + text.size() > BUFFER_BYTES && !flush()) return false;
    // The buffer is empty here.
    if (text.size() >= BUFFER_BYTES) return _write_out(text);
    _buffer.append(text);
    // On a terminal, the lines of each file appear as soon as they are found.
    return _is_terminal || _is_line_buffered ? flush() : !_closed;
}

bool Output::flush() {
    const bool written = _write_out(_buffer);
    _buffer.clear();
    return written;
}

bool Output::_write_out(std::string_view text) {
    while (!_closed && !text.empty()) {
        const ssize_t count = ::write(_descriptor, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EPIPE) {
            _closed = true;
        } else if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "cannot write the output");
        }
    }
    return !_closed;
}

void report(std::string_view message) {
    const std::string line = fmt::format("codetext: {}\n", escaped(message));
    std::fwrite(line.data(), 1, line.size(), stderr);
}

void print_line(std::string_view line) { fmt::print("{}\n", escaped(line)); }

}  // namespace codetext::cli
