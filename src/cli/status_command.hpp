#pragma once

// `codetext status [PATH]`: describes the index of the repository that holds PATH.

#include "cli/options.hpp"
#include "cli/repository_arguments.hpp"
#include "storage/index_directory.hpp"

namespace codetext::cli {

/// The command's table. `arguments` must outlive it.
Command status_command(RepositoryArguments& arguments);

/// Prints the status; returns exit status 0. Throws when there is no index that can be read.
int status_main(const RepositoryArguments& arguments, schema::Owners owners);

}  // namespace codetext::cli
