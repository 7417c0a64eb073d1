#pragma once

// `codetext upgrade [PATH]`: applies the schema steps that an older index lacks.

#include "cli/options.hpp"
#include "cli/repository_arguments.hpp"
#include "cli/which_index.hpp"

namespace codetext::cli {

/// The command's table. `arguments` must outlive it.
Command upgrade_command(RepositoryArguments& arguments);

/// Upgrades the index; returns exit status 0. Throws when there is no index or a step fails.
int upgrade_main(const RepositoryArguments& arguments, const WhichIndex& which);

}  // namespace codetext::cli
