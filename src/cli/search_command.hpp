#pragma once

// `codetext search code`: runs the search and prints what it finds.

#include <functional>

#include "cli/config_text.hpp"
#include "cli/search_arguments.hpp"
#include "cli/which_index.hpp"

namespace codetext::cli {

/// What the command line gives on top of defaults.
using ReadAgain = std::function<SearchArguments(const Settings& defaults)>;

/// Runs the search; returns the exit status: 0 for a match, 1 for none. `arguments` are those of
/// the command line alone; where files or the environment set defaults, `read_again` gives what
/// counts in their place. Throws what is wrong with the arguments or the defaults, and every
/// failure of the index.
int search_main(SearchArguments arguments, const WhichIndex& which, const ReadAgain& read_again);

}  // namespace codetext::cli
