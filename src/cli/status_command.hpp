#pragma once

// `codetext status [PATH]`: describes the index of the repository that holds PATH.

#include "cli/options.hpp"
#include "cli/repository_arguments.hpp"
#include "cli/which_index.hpp"

namespace codetext::cli {

struct StatusArguments {
    RepositoryArguments repository;
    bool check = false;      ///< say what a run would find
    bool languages = false;  ///< count files by language
    bool skipped = false;    ///< name the files that are not searched
    bool json = false;       ///< all of it for programs
};

/// The command's table. `arguments` must outlive it.
Command status_command(StatusArguments& arguments);

/// Prints the status, or those parts of it that were asked for. Returns exit status 0, and 1 when
/// `check` has found that the index is not up to date. Throws when there is no index that can be
/// read.
int status_main(const StatusArguments& arguments, const WhichIndex& which);

}  // namespace codetext::cli
