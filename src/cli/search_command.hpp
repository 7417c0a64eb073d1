#pragma once

// `codetext search code`: runs the search and prints what it finds.

#include "cli/search_arguments.hpp"
#include "cli/which_index.hpp"

namespace codetext::cli {

/// Runs the search; returns the exit status: 0 for a match, 1 for none. Throws what is wrong with
/// the arguments, and every failure of the index.
int search_main(SearchArguments arguments, const WhichIndex& which);

}  // namespace codetext::cli
