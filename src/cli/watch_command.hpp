#pragma once

// `codetext watch [PATH]`: keeps the index of the repository that holds PATH up to date.

#include "cli/options.hpp"
#include "cli/repository_arguments.hpp"
#include "cli/which_index.hpp"

namespace codetext::cli {

struct WatchArguments {
    RepositoryArguments repository;
    bool quiet = false;
};

/// The command's table. `arguments` must outlive it.
Command watch_command(WatchArguments& arguments);

/// Watches until SIGINT or SIGTERM comes, then returns exit status 0. Prints a line for each
/// refresh that found changes; reports failures on standard error and goes on. Throws what
/// indexer::watch_repository throws.
int watch_main(const WatchArguments& arguments, const WhichIndex& which);

}  // namespace codetext::cli
