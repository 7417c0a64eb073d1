#pragma once

// The first match on each line of a run of lines.
//
//   const Regex* no_pattern = nullptr;
//   for (const LineMatch& match : code_text::line_matches(segment.lines, "x =", no_pattern, true))
//       show(segment.first + match.number - 1, match.column, match.line);

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "storage/code_text/segment.hpp"
#include "utils/text_find.hpp"

namespace codetext::code_text {

struct LineMatch {
    std::int64_t number;    ///< position of the line among the lines searched, from 1
    std::int64_t column;    ///< code points before the match, in the text that was searched
    std::string_view line;  ///< the line itself; valid as long as the lines searched
    friend bool operator==(const LineMatch&, const LineMatch&) = default;
};

/// A compiled regular expression: finds the leftmost match in a line and gives its offset in code
/// points, or none.
template <typename Pattern>
concept LinePattern = requires(const Pattern& pattern, std::string_view line) {
    { pattern.search(line) } -> std::convertible_to<std::optional<std::int64_t>>;
};

/// A pattern that can also look through many lines at once: given lines joined by LF and a byte
/// offset at which one of them begins, it gives the byte offset of the leftmost match, from there
/// on, that lies within a line, or none. It must find what `search` finds line by line.
template <typename Pattern>
concept TextPattern = LinePattern<Pattern> &&
    requires(const Pattern& pattern, std::string_view text) {
    { pattern.search_text(text, std::size_t{}) } -> std::convertible_to<std::optional<std::size_t>>;
};

/// A match in lines joined by LF. Offsets are in bytes from 0.
struct LineHit {
    std::size_t line_begin, line_end;  ///< of the line that holds it, the LF left out
    std::int64_t column;
};

/// Finds a plain needle in lines joined by LF, as a search of one line after the other would.
class NeedleSearch {
  public:
    NeedleSearch(std::string needle, bool case_sensitive);
    /// The first match on the first line that has one, from `from` on, where a line begins. All
    /// calls must be for one text, and `from` must not become less.
    std::optional<LineHit> next(std::string_view text, std::size_t from);

  private:
    void _begin_window(std::string_view text, std::size_t from);
    std::optional<LineHit> _next_in_window(std::string_view window, std::size_t from);
    std::optional<LineHit> _next_lowered(std::string_view text, std::size_t from) const;
    /// Whether the window, up to `end` and a little further, holds no letter that lower-cases into
    /// ASCII, but ASCII's own.
    bool _folds_ascii_only(std::string_view window, std::size_t end);

    std::string _needle;
    bool _case_sensitive;
    bool _can_match;
    bool _is_ascii;
    std::optional<std::size_t>
        _window_end;                   ///< of the window that is searched; none before the first
    std::size_t _tested_end = 0;       ///< no such letter is in the window before
    bool _holds_such_letters = false;  ///< the rest of the window may hold one
};

/// The line about byte `offset` of the text; the column counts the code points before it.
LineHit line_about(std::string_view text, std::size_t offset);

/// As NeedleSearch::next, for a pattern.
template <LinePattern Pattern>
std::optional<LineHit> next_pattern_hit(const Pattern& pattern, std::string_view text,
                                        std::size_t from) {
    if constexpr (TextPattern<Pattern>) {
        const std::optional<std::size_t> offset = pattern.search_text(text, from);
        return offset ? std::optional(line_about(text, *offset)) : std::nullopt;
    } else {
        while (true) {
            const std::size_t end = std::min(text.find('\n', from), text.size());
            const std::optional<std::int64_t> column =
                pattern.search(text.substr(from, end - from));
            if (column) return LineHit{from, end, *column};
            if (end == text.size()) return std::nullopt;
            from = end + 1;
        }
    }
}

/// What line_matches returns: an input range of LineMatch.
template <LinePattern Pattern>
class LineMatches {
  public:
    LineMatches(Lines lines, std::string needle, const Pattern* pattern, bool case_sensitive)
        : _lines(std::move(lines)),
          _needle(std::move(needle), case_sensitive),
          _pattern(pattern),
          _at_end(_lines.empty()) {}

    class Iterator {
      public:
        using value_type = LineMatch;
        using difference_type = std::ptrdiff_t;
        const LineMatch& operator*() const { return _range->_match; }
        const LineMatch* operator->() const { return &_range->_match; }
        Iterator& operator++() {
            _range->_advance();
            return *this;
        }
        void operator++(int) { ++*this; }
        friend bool operator==(const Iterator& it, std::default_sentinel_t) {
            return it._is_at_end();
        }

      private:
        friend class LineMatches;
        bool _is_at_end() const { return _range->_at_end && !_range->_has_match; }
        explicit Iterator(LineMatches* range) : _range(range) {}
        LineMatches* _range;
    };
    /// Goes on from where the range stands.
    Iterator begin() {
        _advance();
        return Iterator(this);
    }
    std::default_sentinel_t end() const { return {}; }

  private:
    // The range stands at its end while a line is searched: a failure then ends it.
    void _advance() {
        _has_match = false;
        if (std::exchange(_at_end, true)) return;
        const std::string_view text = _lines.text();
        const std::optional<LineHit> hit =
            _pattern ? next_pattern_hit(*_pattern, text, _next) : _needle.next(text, _next);
        if (!hit) return;
        _number += 1 + text_find::count_line_feeds(text.substr(_next, hit->line_begin - _next));
        _match = {_number, hit->column,
                  text.substr(hit->line_begin, hit->line_end - hit->line_begin)};
        _has_match = true;
        _at_end = hit->line_end == text.size();
        _next = hit->line_end + 1;
    }

    Lines _lines;
    NeedleSearch _needle;
    const Pattern* _pattern;
    LineMatch _match{};
    std::size_t _next = 0;     ///< where the next line to examine begins
    std::int64_t _number = 0;  ///< of the line before it
    bool _has_match = false;
    bool _at_end;
};

/// The first match on each line of `lines` that has one, in order: a lazy range, walked once. Each
/// step examines lines up to the next one that matches, and no further.
///
/// With a `pattern` (which must outlive the range) the needle is not looked at; without one, lines
/// are compared with `needle` as they are or, unless `case_sensitive`, in their lower-case form,
/// into which the column then points.
template <LinePattern Pattern>
LineMatches<Pattern> line_matches(Lines lines, std::string needle, const Pattern* pattern,
                                  bool case_sensitive) {
    return {std::move(lines), std::move(needle), pattern, case_sensitive};
}

}  // namespace codetext::code_text
