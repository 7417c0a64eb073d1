#pragma once

// The language of a file, told from its name alone. `-t TYPE` selects files by it, and the rule for
// large data files looks at it. What a file says about itself (a #! line, a modeline) is not read.
//
//   assert(indexer::language_of("drivers/net/tun.c") == "c");
//   assert(indexer::language_of("Kconfig.debug") == "kconfig");
//   assert(indexer::language_of("data/blob.xyz").empty());

#include <span>
#include <string_view>

namespace codetext::indexer {

/// A language and the file names that tell it; the lists are separated by spaces.
struct Language {
    std::string_view name;        ///< in lower case
    std::string_view extensions;  ///< what follows the last dot of a file name
    std::string_view file_names;  ///< whole file names, or file names up to their first dot
};

/// The name of the language of the file at `path`; empty when the file's name tells none.
///
/// The whole file name decides, else its last extension as it is written, else that extension in
/// lower case, else the name up to its first dot ("Makefile.am"). The result lives forever.
std::string_view language_of(std::string_view path);

/// Whether language_of can give this name. Case counts.
bool known_language(std::string_view name);

/// Every language that language_of can give, in the order of their names, each once. Lives forever.
std::span<const Language> known_languages();

}  // namespace codetext::indexer
