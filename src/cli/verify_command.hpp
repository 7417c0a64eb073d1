#pragma once

// `codetext verify [PATH]`: checks that the index reads back whole and that its tables agree. It
// compares nothing with the files on disk; --repair reads those that it needs.

#include "cli/options.hpp"
#include "cli/repository_arguments.hpp"
#include "cli/which_index.hpp"

namespace codetext::cli {

struct VerifyArguments {
    RepositoryArguments repository;
    bool quick = false;   ///< check the checksums of the pages alone
    bool repair = false;  ///< rebuild what is damaged
};

/// The command's table. `arguments` must outlive it.
Command verify_command(VerifyArguments& arguments);

/// Returns the exit status: 0 for an index that is whole, or was repaired, 1 after printing each
/// problem on its own line.
/// Throws when there is no index that can be read.
int verify_main(const VerifyArguments& arguments, const WhichIndex& which);

}  // namespace codetext::cli
