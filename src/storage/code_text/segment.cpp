// A list is a text with LFs in it, and is cut into lines as far as somebody asks, once: for a match
// near the top of a large file, where the others begin does not matter. Copies share the list and
// may be read by several threads, so what was found so far stands under a lock.

#include "storage/code_text/segment.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <mutex>
#include <stdexcept>

namespace codetext::code_text {

/// The one list behind the handles.
class Lines::List {
  public:
    List() : _empty(true), _text("") {}
    explicit List(chunk_store::StoredText text) : _empty(false), _text(std::move(text)) {}

    bool empty() const { return _empty; }
    std::string_view text() const { return _empty ? std::string_view() : _text.view(); }
    std::size_t size_bytes() const { return _empty ? 0 : _text.size_bytes(); }

    /// Number of lines up to line `last_index`, which may be beyond the end.
    std::size_t count_up_to(std::size_t last_index) const {
        const std::lock_guard lock(_mutex);
        return _index_up_to(last_index);
    }

    /// As Lines::slice.
    std::vector<std::string_view> slice(std::size_t first, std::size_t last) const {
        const std::lock_guard lock(_mutex);
        const std::size_t end = _index_up_to(last);
        std::vector<std::string_view> lines;
        if (first >= end) return lines;
        lines.reserve(end - first);
        const std::string_view joined = text();
        std::size_t begin = _starts[first / INDEXED_LINES];
        for (std::size_t i = first / INDEXED_LINES * INDEXED_LINES; i < end; ++i) {
            const std::size_t feed = std::min(joined.find('\n', begin), joined.size());
            if (i >= first) lines.push_back(joined.substr(begin, feed - begin));
            begin = feed + 1;
        }
        return lines;
    }

  private:
    /// Lines from one whose start is remembered to the next. All starts of a text of line feeds
    /// would take eight times its bytes.
    static constexpr std::size_t INDEXED_LINES = 64;

    bool _empty;
    chunk_store::StoredText _text;

    // Looks for the line feeds that end the lines up to `last`, unless that is done. Returns how
    // many of these lines there are. REQUIRES: the lock is held.
    std::size_t _index_up_to(std::size_t last) const {
        if (_empty) return 0;
        const std::string_view joined = text();
        while (!_at_end && _ended <= last) {
            if (_ended % INDEXED_LINES == 0) _starts.push_back(_next);
            const std::size_t feed = joined.find('\n', _next);
            _at_end = feed == joined.npos;
            _next = feed + 1;
            ++_ended;
        }
        return last < _ended ? last + 1 : _ended;
    }

    mutable std::mutex _mutex;
    mutable std::vector<std::size_t> _starts;  ///< of each INDEXED_LINES-th line found so far
    mutable std::size_t _ended = 0;            ///< lines whose end is found
    mutable std::size_t _next = 0;             ///< where the line after them begins
    mutable bool _at_end = false;              ///< all are found
};

Lines::Lines() : _list(std::make_shared<const List>()) {}

Lines::Lines(std::string joined) : Lines(chunk_store::StoredText(std::move(joined))) {}

Lines::Lines(chunk_store::StoredText joined)
    : _list(std::make_shared<const List>(std::move(joined))) {}

Lines Lines::from(std::optional<std::string> joined) {
    return joined ? Lines(*std::move(joined)) : Lines();
}

bool Lines::empty() const { return _list->empty(); }

std::string_view Lines::text() const { return _list->text(); }

std::size_t Lines::size_bytes() const { return _list->size_bytes(); }

std::size_t Lines::size() const {
    return _list->count_up_to(std::numeric_limits<std::size_t>::max());
}

std::string_view Lines::operator[](std::size_t line_index) const {
    const std::vector<std::string_view> line = slice(line_index, line_index);
    if (line.empty()) throw std::out_of_range(fmt::format("line {} of {}", line_index, size()));
    return line.front();
}

std::vector<std::string_view> Lines::slice(std::size_t first_index, std::size_t last_index) const {
    return _list->slice(first_index, last_index);
}

Lines::Iterator Lines::begin() const {
    Iterator it;
    if (empty()) return it;
    it._rest = text();
    it._at_end = false;
    it._measure();
    return it;
}

void Lines::Iterator::_measure() { _length = std::min(_rest.find('\n'), _rest.size()); }

Lines::Iterator& Lines::Iterator::operator++() {
    if (_length == _rest.size()) {
        _at_end = true;
    } else {
        _rest.remove_prefix(_length + 1);
        _measure();
    }
    return *this;
}

bool operator==(const Lines& one, const Lines& other) {
    return one.empty() == other.empty() && one.text() == other.text();
}

}  // namespace codetext::code_text
