#pragma once

// `codetext index [PATH]`: makes or refreshes the index of the repository that holds PATH.

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "cli/options.hpp"
#include "cli/repository_arguments.hpp"
#include "cli/which_index.hpp"
#include "indexer/run/index_run.hpp"

namespace codetext::cli {

struct IndexArguments {
    RepositoryArguments repository;
    std::string layout;     ///< empty: the default of this SQLite
    std::int64_t jobs = 0;  ///< 0: one a core
    bool force = false;     ///< read every file again
};

/// The command's table. `arguments` must outlive it.
Command index_command(IndexArguments& arguments);

/// What a run left out or put off, one line each.
std::vector<std::string> problems_of(const indexer::IndexReport& result);
/// Prints these lines on standard error.
void report_problems(const indexer::IndexReport& result);

/// Prints a line about a whole run, after lines about the upgrade steps.
void print_summary(const indexer::IndexReport& report, std::chrono::steady_clock::duration elapsed);

/// Makes or refreshes the index; returns exit status 0. Reports a file that cannot be read on
/// standard error and goes on. Throws whatever ends the run.
int index_main(const IndexArguments& arguments, const WhichIndex& which);

}  // namespace codetext::cli
