#include "search/query/pattern_literals.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>
#include <utility>

#include "search/query/match_span.hpp"

// RE2 does not give its parse away, so the literals are read from the pattern's text, in one pass
// over RE2's syntax (github.com/google/re2/wiki/Syntax). Only what could hold a letter needs to be
// known.

namespace codetext::search {

namespace {

constexpr std::uint32_t MAX_CODE_POINT = 0x10FFFF;
constexpr std::string_view OCTAL_DIGITS = "01234567";

std::string utf8(std::uint32_t code_point) {
    if (code_point < 0x80) return {static_cast<char>(code_point)};
    const int more = code_point < 0x800 ? 1 : code_point < 0x10000 ? 2 : 3;
    constexpr std::uint32_t FIRST_BYTE[] = {0, 0xC0, 0xE0, 0xF0};
    std::string bytes = {static_cast<char>(FIRST_BYTE[more] | code_point >> 6 * more)};
    for (int i = more - 1; i >= 0; --i) {
        bytes += static_cast<char>(0x80 | (code_point >> 6 * i & 0x3F));
    }
    return bytes;
}

// Reads the literals of a pattern.
class Literals {
  public:
    explicit Literals(std::string_view pattern) : _rest(pattern) {}

    std::string all() {
        while (!_rest.empty()) _one();
        return std::move(_literals);
    }

    bool name_line_break() {
        while (!_rest.empty() && !_names_line_break) {
            // A class may name it beside others, or to exclude it.
            const bool is_class = _rest.starts_with('[');
            const std::size_t before = _literals.size();
            _one();
            const bool is_break = _literals.find('\n', before) != std::string::npos;
            _names_line_break = !is_class && (is_break || _names_line_break);
        }
        return _names_line_break;
    }

  private:
    void _one() {
        if (_takes("\\Q")) return _quotation();
        if (_takes("\\")) return _escape();
        if (_takes("[")) return _class();
        if (_takes("(?P<") || _takes("(?<")) return _skip_past('>');
        if (_takes("(?")) return _skip(std::min(_rest.find_first_of(":)"), _rest.size()));
        _literal();
    }

    void _quotation() {
        const std::size_t end = std::min(_rest.find("\\E"), _rest.size());
        _literals += _rest.substr(0, end);
        _skip(end);
        _takes("\\E");
    }

    void _escape() {
        if (_rest.empty()) return;
        if (OCTAL_DIGITS.find(_rest.front()) != OCTAL_DIGITS.npos) {
            return _number(_taken(std::min<std::size_t>(3, _octal_digits())), 8);
        }
        const std::string_view name = _taken(next_code_point(_rest, 0));
        if (name == "x") {
            _number(_takes("{") ? _taken_until('}') : _taken(2), 16);
        } else if (name == "n") {
            _names_line_break = true;
        } else if (name == "p" || name == "P") {
            _takes("{") ? _skip_past('}') : _skip(next_code_point(_rest, 0));
        }
    }

    // A "]" that comes first is a member, and "[:name:]" names a class.
    void _class() {
        _takes("^");
        if (_takes("]")) _literals += ']';
        while (!_rest.empty() && !_takes("]")) {
            if (_takes("\\")) {
                _escape();
            } else if (_takes("[:")) {
                _skip_past(']');
            } else {
                _literal();
            }
        }
    }

    void _literal() { _literals += _taken(next_code_point(_rest, 0)); }

    void _number(std::string_view digits, int base) {
        std::uint32_t code_point = 0;
        const char* end = digits.data() + digits.size();
        const auto [stop, error] = std::from_chars(digits.data(), end, code_point, base);
        const bool is_number = error == std::errc() && stop == end;
        if (is_number && code_point <= MAX_CODE_POINT) _literals += utf8(code_point);
    }

    std::size_t _octal_digits() const {
        return std::min(_rest.find_first_not_of(OCTAL_DIGITS), _rest.size());
    }

    bool _takes(std::string_view text) {
        if (!_rest.starts_with(text)) return false;
        _skip(text.size());
        return true;
    }
    std::string_view _taken(std::size_t size) {
        const std::string_view taken = _rest.substr(0, size);
        _skip(taken.size());
        return taken;
    }
    std::string_view _taken_until(char end) {
        const std::string_view taken = _taken(std::min(_rest.find(end), _rest.size()));
        _skip(1);
        return taken;
    }
    void _skip(std::size_t size) { _rest.remove_prefix(std::min(size, _rest.size())); }
    void _skip_past(char end) { _taken_until(end); }

    std::string_view _rest;
    std::string _literals;
    bool _names_line_break = false;  ///< the escape read last, or one outside of a class
};

}  // namespace

std::string literals_of(std::string_view pattern) { return Literals(pattern).all(); }

bool names_line_break(std::string_view pattern) { return Literals(pattern).name_line_break(); }

}  // namespace codetext::search
