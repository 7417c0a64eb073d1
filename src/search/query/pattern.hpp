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
    bool words = false;        ///< no character beside a match is part of a word
    bool whole_lines = false;  ///< a match is a whole line; `words` is then not looked at
    /// Text that every match is known to hold, in this case: makes a search of many lines faster.
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
    void each_span(std::string_view line, const VisitSpan& visit) const;

    /// The longest text that every matching line is known to hold when its ASCII letters are
    /// lower-cased: ASCII of three characters or more. None when no such text is known, or a
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

    /// The atoms in lower case, each as its pieces: those parts of it that a line with the atom is
    /// sure to hold when the line's ASCII letters are lower-cased. A piece is ASCII of three
    /// characters or more. An atom without a piece is left out.
    const std::vector<std::vector<std::string>>& atoms() const { return _pieces; }

    /// Whether a line may match that holds only those of atoms() with these positions. If it may,
    /// so may a line that holds more of them.
    bool may_match(const std::vector<int>& present) const;

    /// The longest text that every matching line is found to hold when its ASCII letters are
    /// lower-cased: a piece of an atom, or what all atoms share. None when no such text is found;
    /// not every text of a pattern with very many atoms is tried.
    std::optional<std::string> text_of_every_match() const;

  private:
    bool _matches_without(const std::string& text) const;
    Pattern _pattern;
    std::vector<std::vector<std::string>> _pieces;
    std::vector<int> _atom_ids;        ///< the filter's id for each of _pieces
    std::vector<int> _always_present;  ///< ids of the atoms that were left out
};

}  // namespace codetext::search
