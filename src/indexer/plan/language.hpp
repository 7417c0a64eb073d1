#pragma once

// The language of a file, told from its name alone: what `-t LANG` selects by, and what the rule
// for large data files looks at. Not for what a file says about itself (a #! line, a modeline).
//
//   assert(indexer::language_of("drivers/net/tun.c") == "c");
//   assert(indexer::language_of("Kconfig.debug") == "kconfig");
//   assert(indexer::language_of("data/blob.xyz").empty());

#include <string_view>
#include <vector>

namespace codetext::indexer {

/// The language of the file at `path`, a lower-case name; empty when its name tells none.
///
/// Looked at in this order: the whole file name, its last extension as it is written, the extension
/// in lower case, and the name up to its first dot ("Makefile.am"). The result lives forever.
std::string_view language_of(std::string_view path);

/// Whether some file name gives this language. Exact comparison.
bool known_language(std::string_view name);

/// Every language that language_of can give, ascending, each once.
const std::vector<std::string_view>& known_languages();

}  // namespace codetext::indexer
