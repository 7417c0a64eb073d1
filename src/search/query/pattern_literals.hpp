#pragma once

// The characters that a regular expression names by themselves, for the rule of smart case. Private
// to search. In `a\x44\S` they are the a, and the D that \x44 stands for.

#include <string>
#include <string_view>

namespace codetext::search {

/// The characters that stand for themselves in `pattern` (RE2's syntax), in a class or outside of
/// one, and among them those given by their number: \x41 and \101 give an A. Operators outside of a
/// class may be among them too. Never a letter that an escape, a class's name, a group's name or a
/// flag is written with. What it gives for a pattern that does not compile means nothing.
std::string literals_of(std::string_view pattern);

/// Whether the pattern names a line feed outside of a class: as itself, as \n or by its number. No
/// line matches that part of it.
bool names_line_break(std::string_view pattern);

}  // namespace codetext::search
