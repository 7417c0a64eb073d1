#pragma once

// A glob's text as a regular expression in RE2's syntax. Private to search; glob.hpp says what the
// characters of a glob mean. "{src,lib}/**" becomes "(?:src/.+|lib/.+)".

#include <string>
#include <string_view>

namespace codetext::search {

/// Matches the whole of a path (relative, with "/"). `glob` has no "!" in front and no slash at
/// either end. Throws std::invalid_argument, with the reason and without the glob.
std::string glob_regex(std::string_view glob);

}  // namespace codetext::search
