#pragma once

// `codetext config [PATH]`: the defaults of a search in force, and where each comes from.

#include "cli/options.hpp"
#include "cli/repository_arguments.hpp"
#include "cli/which_index.hpp"

namespace codetext::cli {

struct ConfigArguments {
    RepositoryArguments repository;
    bool json = false;
};

/// The command's table. `arguments` must outlive it.
Command config_command(ConfigArguments& arguments);

/// Prints a line for each key, or one JSON object. Returns exit status 0. Throws what settings_for
/// and `apply` throw.
int config_main(const ConfigArguments& arguments, const WhichIndex& which);

}  // namespace codetext::cli
