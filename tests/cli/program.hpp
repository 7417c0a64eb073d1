#pragma once

// Runs the real program, as its users do, in a temporary folder. No shell is in between: every
// argument reaches the program as it is.
//
//   test_support::TempFolder repository;
//   repository.write("src/main.c", "int main() {}\n");
//   test::Outcome outcome = test::run({"index"}, repository.path());
//   ASSERT_EQ(outcome.status, 0) << outcome.errors;

#include <unistd.h>

#include "utils/process.hpp"
#include "utils/temp_folder.hpp"

namespace codetext::test {

using Arguments = std::vector<std::string>;
using Outcome = ProcessResult;

/// Runs any program that the PATH has, in the directory `cwd` and the test's own environment.
inline Outcome run_command(const Arguments& command, const std::filesystem::path& cwd) {
    Arguments arguments = {"env", "-C", cwd}, environment;
    arguments.insert(arguments.end(), command.begin(), command.end());
    for (char** own = environ; *own != nullptr; ++own) environment.emplace_back(*own);
    return run_process(arguments, environment);
}

/// Runs codetext.
inline Outcome run(Arguments arguments, const std::filesystem::path& cwd) {
    arguments.insert(arguments.begin(), CODETEXT_PROGRAM);
    return run_command(arguments, cwd);
}

}  // namespace codetext::test
