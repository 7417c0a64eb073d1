#pragma once

// A compiled regular expression (RE2's syntax) over lines of UTF-8. No match reaches past its line.
// Serves code_text::line_matches as its pattern; safe for use by several threads at once, and
// copies share one compiled form.
//
//   search::Pattern pattern({"err(or)?", "fail"}, {.case_sensitive = false});
//   if (std::optional<std::int64_t> column = pattern.search(line)) use(*column);

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "search/query/match_span.hpp"

namespace codetext::search {

struct PatternOptions {
    bool case_sensitive = true;
    bool words = false;        ///< a match stands between characters that are no part of a word
    bool whole_lines = false;  ///< a match takes in its whole line; `words` does not matter then
    /// Text that every match is known to hold, as it is: makes a search through many lines faster.
    std::optional<std::string> literal = std::nullopt;
};

class Pattern {
  public:
    /// Matches what any of `patterns`, at least one, matches.
    /// Throws std::invalid_argument for a pattern that does not compile, with the reason.
    Pattern(const std::vector<std::string>& patterns, PatternOptions options);

    /// Offset of the leftmost match on `line` in code points from 0, or none.
    std::optional<std::int64_t> search(std::string_view line) const;

    /// Given lines joined by LF and the byte offset at which one of them begins: the byte offset of
    /// the leftmost match from there on, or none. Finds what `search` finds line by line.
    std::optional<std::size_t> search_text(std::string_view text, std::size_t from) const;

    /// Every match on `line` that does not overlap the one before it, leftmost first. An empty
    /// match counts unless it touches the one before it.
    std::vector<MatchSpan> spans(std::string_view line) const;

    /// The longest text that every matching line is known to hold when its ASCII letters are
    /// lower-cased: ASCII of three characters or more. None when there is no such text, or a
    /// literal was given.
    const std::optional<std::string>& text_of_every_match() const;

    class Impl;

  private:
    friend class RequiredAtoms;
    std::shared_ptr<const Impl> _impl;
};

/// Which short texts ("atoms") the lines that a pattern matches hold, and in which combinations.
class RequiredAtoms {
  public:
    explicit RequiredAtoms(const Pattern& pattern);

    /// The atoms, in lower case, each as the pieces of it that are sure to be in a matching line
    /// when its ASCII letters are lower-cased: ASCII of three characters or more. An atom that has
    /// no such piece is left out.
    const std::vector<std::vector<std::string>>& atoms() const { return _pieces; }

    /// Whether a line that holds, of atoms(), only those with these positions may match. More atoms
    /// never turn a true into a false.
    bool may_match(const std::vector<int>& present) const;

    /// The longest text that every matching line holds when its ASCII letters are lower-cased, of
    /// those that are a piece of an atom or in one of every atom; none when there is no such text.
    std::optional<std::string> text_of_every_match() const;

  private:
    bool _matches_without(const std::string& text) const;
    Pattern _pattern;
    std::vector<std::vector<std::string>> _pieces;
    std::vector<int> _atom_ids;        ///< for each of _pieces the id that the filter knows it by
    std::vector<int> _always_present;  ///< ids of the atoms that were left out
};

}  // namespace codetext::search
