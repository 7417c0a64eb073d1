#pragma once

// Text that others wrote (the names and lines of a tree, the rows of an index, what git says) in a
// form that does no harm. A terminal obeys control characters; some characters turn the direction
// of the text about them; and a line break may forge a line of output.

#include <string>
#include <string_view>

namespace codetext::cli {

/// Appends `text`, for a line of a terminal. A line feed becomes `\n`, any other control character
/// of ASCII but the tab, and a byte that is not UTF-8, `\x1b`, and these become `<U+202E>`:
/// U+0080 to U+009F, separators of lines and paragraphs, marks, overrides and isolates of direction
/// (U+061C, U+200E, U+200F, U+2028 to U+202E, U+2066 to U+2069).
void append_escaped(std::string& out, std::string_view text);
std::string escaped(std::string_view text);

/// The text with what `\n`, `\r`, `\t`, `\0`, `\\` and `\xNN` stand for; any other backslash is
/// itself.
std::string unescaped(std::string_view text);

/// A path for one line of output. It is given as it is unless it begins with a double quote or
/// holds a tab or what append_escaped replaces: then it is put in double quotes, as git does it,
/// each such byte in octal (`\033`) or as one of `\a \b \t \n \v \f \r \" \\`. No two paths look
/// the same.
std::string quoted_path(std::string path);

}  // namespace codetext::cli
