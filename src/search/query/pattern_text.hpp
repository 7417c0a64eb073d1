#pragma once

// What can be told from the text of a regular expression before it is compiled. Private to search.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace codetext::search {

/// The one text that `pattern` matches, when all its metacharacters are escaped. None for any other
/// pattern.
std::optional<std::string> literal_of(std::string_view pattern);

/// True when a search of many lines at once could give another answer than a search line by line:
/// the pattern names the ends of the text or single bytes, or sets the flag that makes ^ and $
/// match at each line.
bool needs_single_lines(std::string_view pattern);

/// True when a match may hold a letter beyond ASCII where an ASCII letter is meant that it folds to
/// (U+212A to k, U+017F to s): the pattern ignores case somewhere, or may name such a letter.
bool folds_beyond_ascii(std::string_view pattern);

/// How many classes the pattern names with \p or \P.
std::size_t unicode_classes(std::string_view pattern);

/// One pattern, with the given ones as its alternatives.
std::string alternatives(const std::vector<std::string>& patterns);

/// The pattern, with a character on either side of its match that is no part of a word (no letter,
/// mark, number or underscore), or the line's end. Group 1 is the match itself.
std::string bounded_by_words(std::string_view pattern);

/// As bounded_by_words, for matches that do not begin at the line's start.
std::string bounded_by_words_inside(std::string_view pattern);

/// The pattern, to match whole lines only.
std::string whole_line(std::string_view pattern);

}  // namespace codetext::search
