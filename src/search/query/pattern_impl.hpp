#pragma once

// The compiled form behind Pattern. Private to search: it is what keeps RE2 out of pattern.hpp.

#include <re2/filtered_re2.h>
#include <re2/re2.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "search/query/pattern.hpp"
#include "search/query/required_bytes.hpp"
#include "utils/once.hpp"

namespace codetext::search {

class Pattern::Impl {
  public:
    Impl(const std::vector<std::string>& patterns, PatternOptions options);

    /// The leftmost match on the line.
    std::optional<MatchSpan> first_span(std::string_view line) const;
    /// The leftmost match on the line that begins at `from` or after it; `from` is above 0.
    std::optional<MatchSpan> next_span(std::string_view line, std::size_t from) const;
    /// An offset at or after `from`, in the next line that may match; none when no further line
    /// may.
    std::optional<std::size_t> next_candidate(std::string_view text, std::size_t from) const;
    /// Whether next_candidate gives the offset of a match.
    bool candidates_match() const {
        return !_line_by_line && !_words && !_options.literal && !_required && !_required_bytes;
    }
    /// Sets the text that every matching line holds when its ASCII letters are lower-cased. A
    /// search for it is ten times as fast as one for the pattern.
    void require(std::optional<std::string> text) {
        _required = std::move(text);
        if (_required) _required_bytes.reset();
    }
    const std::optional<std::string>& required() const { return _required; }

    /// Whether there is a filter. A pattern too large for it has no atoms, and any line may match.
    bool is_filtered() const { return _is_filtered; }
    /// Tells, from the ids of the atoms that a line holds, whether it may match.
    const re2::FilteredRE2& filter() const { return _filter; }
    /// The atoms; each one's id is its position.
    const std::vector<std::string>& filter_atoms() const { return _filter_atoms; }
    bool folds_beyond_ascii() const { return _folds_beyond_ascii; }

  private:
    const RE2& _re() const { return _filter.GetRE2(0); }

    PatternOptions _options;
    std::optional<std::string> _required;
    std::optional<RequiredBytes> _required_bytes;  ///< when there is no text to look for
    bool _line_by_line;
    bool _folds_beyond_ascii;
    bool _words;
    re2::FilteredRE2 _filter;
    bool _is_filtered;
    std::vector<std::string> _filter_atoms;
    /// With `words`: matches that do not begin the line. Compiled when it is first asked for.
    const RE2& _inside() const;
    std::string _inside_text;
    mutable Once _inside_compiled;
    mutable std::unique_ptr<const RE2> _inside_re;
};

}  // namespace codetext::search
