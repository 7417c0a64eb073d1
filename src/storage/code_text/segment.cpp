#include "storage/code_text/segment.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

namespace codetext::code_text {

Lines::Lines() : _list(std::make_shared<List>(List{true, chunk_store::StoredText(""), {}})) {}

Lines::Lines(std::string joined) : Lines(chunk_store::StoredText(std::move(joined))) {}

Lines::Lines(chunk_store::StoredText joined)
    : _list(std::make_shared<List>(List{false, std::move(joined), {}})) {}

Lines Lines::from(std::optional<std::string> joined) {
    return joined ? Lines(*std::move(joined)) : Lines();
}

std::string_view Lines::text() const {
    return _list->empty ? std::string_view() : _list->text.view();
}

const std::vector<std::size_t>& Lines::_starts() const {
    if (_list->starts.empty()) {
        const std::string_view joined = text();
        _list->starts.push_back(0);
        for (std::size_t at = joined.find('\n'); at != joined.npos;
             at = joined.find('\n', at + 1)) {
            _list->starts.push_back(at + 1);
        }
    }
    return _list->starts;
}

std::size_t Lines::size() const { return _list->empty ? 0 : _starts().size(); }

std::string_view Lines::operator[](std::size_t line_index) const {
    if (line_index >= size()) {
        throw std::out_of_range(fmt::format("line {} of {}", line_index, size()));
    }
    const std::vector<std::size_t>& starts = _starts();
    const std::string_view joined = text();
    const std::size_t end =
        line_index + 1 < starts.size() ? starts[line_index + 1] - 1 : joined.size();
    return joined.substr(starts[line_index], end - starts[line_index]);
}

Lines::Iterator Lines::begin() const {
    Iterator it;
    if (_list->empty) return it;
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
