#pragma once

// The characters that a regular expression names by themselves, for the rule of smart case. Private
// to search.
//
//   const std::string literals = search::literals_of("[A-C]+\\x44\\S\\p{Lu}?");
//   // the characters of "A-CD+?", in any order

#include <string>
#include <string_view>

namespace codetext::search {

/// The characters that stand for themselves in `pattern` (RE2's syntax), in a class or outside of
/// one, and among them those given by their number: \x41 and \101 give an A. Operators outside of a
/// class may be among them too. Never a letter that an escape, a class's name, a group's name or a
/// flag is written with. What it gives for a pattern that does not compile means nothing.
std::string literals_of(std::string_view pattern);

}  // namespace codetext::search
