#include "storage/code_text/segment.hpp"

#include <fmt/format.h>

#include <algorithm>
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

    /// Where each line begins. Found by the first thread that asks, while others wait.
    const std::vector<std::size_t>& starts() const {
        std::call_once(_indexed, [this] {
            const std::string_view joined = text();
            _starts.push_back(0);
            for (std::size_t at = joined.find('\n'); at != joined.npos;
                 at = joined.find('\n', at + 1)) {
                _starts.push_back(at + 1);
            }
        });
        return _starts;
    }

  private:
    bool _empty;
    chunk_store::StoredText _text;
    mutable std::once_flag _indexed;
    mutable std::vector<std::size_t> _starts;
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

std::size_t Lines::size() const { return empty() ? 0 : _list->starts().size(); }

std::string_view Lines::operator[](std::size_t line_index) const {
    if (line_index >= size()) {
        throw std::out_of_range(fmt::format("line {} of {}", line_index, size()));
    }
    const std::vector<std::size_t>& starts = _list->starts();
    const std::string_view joined = text();
    const std::size_t end =
        line_index + 1 < starts.size() ? starts[line_index + 1] - 1 : joined.size();
    return joined.substr(starts[line_index], end - starts[line_index]);
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
