#pragma once

// `codetext search code`.

#include <CLI/App.hpp>

namespace codetext::cli {

/// Adds the command; when it is the one that the user gave, its callback runs the search and sets
/// `exit_status`: 0 for a match, 1 for none. The callback throws what is wrong with the input, and
/// every failure of the index.
void add_search_command(CLI::App& app, int& exit_status);

}  // namespace codetext::cli
