#pragma once

// The completions of the command line for each shell, made from the tables of the commands. A value
// completes as its table says: the words of a Choice, types of files, files.

#include <string>
#include <vector>

#include "cli/options.hpp"

namespace codetext::pages {

/// bash 4 or later; needs nothing of the package bash-completion.
std::string bash_completion(const cli::Command& program, const std::vector<cli::Command>& commands);

/// A file `_codetext` for a directory of zsh's fpath.
std::string zsh_completion(const cli::Command& program, const std::vector<cli::Command>& commands);

/// fish 3.0 or later.
std::string fish_completion(const cli::Command& program, const std::vector<cli::Command>& commands);

}  // namespace codetext::pages
