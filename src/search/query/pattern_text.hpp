#pragma once

// What the text of a regular expression says about it, before it is compiled. Private to search.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace codetext::search {

/// The text that `pattern` matches when it is nothing but that text: it has no metacharacter that
/// is not escaped. None for any other pattern.
std::optional<std::string> literal_of(std::string_view pattern);

/// True when `pattern` names a character that lower-casing would change. What follows a backslash
/// does not count: `\S` is no capital.
bool has_capital(std::string_view pattern);

/// True when searching many lines at once could differ from searching them one by one: the pattern
/// speaks of the ends of the text, of single bytes, or sets the flag that tells lines from texts.
bool needs_single_lines(std::string_view pattern);

/// True when a match may hold, in place of a letter of ASCII, one beyond ASCII that folds to it
/// (U+212A to k, U+017F to s): the pattern ignores case somewhere, or may name such a letter.
bool folds_beyond_ascii(std::string_view pattern);

/// The patterns as alternatives of one.
std::string alternatives(const std::vector<std::string>& patterns);

/// The pattern with its matches bounded on both sides by characters that are no part of a word (a
/// letter, mark, number or underscore) or by the line's ends. Group 1 is the match itself.
std::string bounded_by_words(std::string_view pattern);

/// As bounded_by_words, for a match that does not begin the line.
std::string bounded_by_words_inside(std::string_view pattern);

/// The pattern with matches that take in a whole line.
std::string whole_line(std::string_view pattern);

}  // namespace codetext::search
