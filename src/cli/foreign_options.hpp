#pragma once

// Options of ripgrep that `search code` accepts without effect, so that the command lines of
// editors and agents work, or refuses with what to do instead.

#include <vector>

#include "cli/search_arguments.hpp"

namespace codetext::cli {

/// They stand in no help text. `arguments` must outlive them.
std::vector<Option> foreign_options(SearchArguments& arguments);

}  // namespace codetext::cli
