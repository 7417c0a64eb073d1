#pragma once

// `codetext clean [PATH]`: removes the index of the repository that holds PATH.

#include "cli/options.hpp"
#include "cli/repository_arguments.hpp"
#include "cli/which_index.hpp"

namespace codetext::cli {

/// The command's table. `arguments` must outlive it.
Command clean_command(RepositoryArguments& arguments);

/// Removes the index; returns exit status 0, also where there is none. Throws when it cannot.
int clean_main(const RepositoryArguments& arguments, const WhichIndex& which);

}  // namespace codetext::cli
