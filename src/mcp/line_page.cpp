// Context waits until the match after it comes: both go onto the page together, or the next page
// begins with that match. Context after the last match of a page goes onto it as far as it fits.

#include "mcp/line_page.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace codetext::mcp {
namespace {

/// Beside its text: `{"line":1234567,"text":,"context":true},`
constexpr std::size_t LINE_COST = 42;
/// Beside its path: `{"path":,"lines":[]},`
constexpr std::size_t FILE_COST = 24;

std::size_t cost_of(const PageLine& line) { return mcp::cost_of(line.text) + LINE_COST; }

bool is_inside_character(std::string_view text, std::size_t at) {
    return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80;
}

}  // namespace

std::size_t cost_of(std::string_view text) { return json_text(text).size(); }

std::string shortened(std::string_view line, std::size_t wanted, std::size_t most_bytes) {
    if (line.size() <= most_bytes) return std::string(line);
    constexpr std::size_t PART_BEFORE = 4;  // a quarter shows what is in front
    std::size_t begin = wanted - std::min(wanted, most_bytes / PART_BEFORE);
    begin = std::min(begin, line.size() - most_bytes);
    std::size_t end = begin + most_bytes;
    while (is_inside_character(line, begin)) ++begin;
    while (is_inside_character(line, end)) --end;
    std::string result;
    if (begin > 0) result = fmt::format("[{} bytes]...", begin);
    result += line.substr(begin, end - begin);
    if (end < line.size()) result += fmt::format("...[{} bytes]", line.size() - end);
    return result;
}

std::string shown_path(std::string_view path) {
    const bool is_plain = std::ranges::none_of(path, [](unsigned char c) {
        constexpr unsigned char SPACE = 0x20, DELETE = 0x7F;
        return c < SPACE || c == DELETE;
    });
    return is_plain && !path.starts_with('"') ? std::string(path) : json_text(path);
}

void LinePage::file(std::string_view path) {
    _end_file();
    _path = path;
    _last_match = 0;
}

bool LinePage::line(PageLine line) {
    const bool is_match = line.is_match;
    const std::int64_t number = line.number;
    _pending.push_back(std::move(line));
    if (!is_match) return true;
    if (_matches == 0) {
        while (_pending.size() > 1 && !_has_room(_pending.size())) {
            _pending.erase(_pending.begin());
            _lacks_context = true;
        }
    } else if (_matches == _bounds.most_matches || !_has_room(_pending.size())) {
        _pending.pop_back();
        _next = Position{_path, number};
        return false;
    }
    _add_pending(_pending.size());
    _last_match = number;
    ++_matches;
    return true;
}

void LinePage::finish() {
    _end_file();
    _json.end_array();
}

bool LinePage::_has_room(std::size_t lines) const {
    std::size_t bytes = _last_match > 0 ? 0 : mcp::cost_of(_path) + FILE_COST;
    for (std::size_t i = 0; i < lines; ++i) bytes += cost_of(_pending[i]);
    return _used_bytes + bytes <= _bounds.most_bytes;
}

void LinePage::_add_pending(std::size_t lines) {
    if (lines == 0) return;
    if (_last_match == 0) {
        _used_bytes += mcp::cost_of(_path) + FILE_COST;
        _text += fmt::format("{}{}\n", _text.empty() ? "" : "\n", shown_path(_path));
        _json.begin_object();
        _json.text("path", _path);
        _json.key("lines");
        _json.begin_array();
    }
    for (std::size_t i = 0; i < lines; ++i) {
        const PageLine& line = _pending[i];
        _used_bytes += cost_of(line);
        _text += fmt::format("{}{}{}\n", line.number, line.is_match ? ':' : '-', line.text);
        _json.begin_object();
        _json.number("line", line.number);
        _json.text("text", line.text);
        if (!line.is_match) _json.boolean("context", true);
        _json.end_object();
    }
    _pending.erase(_pending.begin(), _pending.begin() + static_cast<std::ptrdiff_t>(lines));
}

/// What is pending stands behind the file's last match, or before one that found no room.
void LinePage::_add_rest() {
    std::size_t lines = 0;
    while (lines < _pending.size() && _pending[lines].number <= _last_match + _bounds.after) {
        if (!_has_room(lines + 1)) {
            _lacks_context = true;
            break;
        }
        ++lines;
    }
    _add_pending(lines);
}

void LinePage::_end_file() {
    if (_last_match > 0) {
        _add_rest();
        _json.end_array();
        _json.end_object();
        _last_match = 0;
    }
    _pending.clear();
}

}  // namespace codetext::mcp
