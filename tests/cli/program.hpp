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
#include "utils/reference.hpp"
#include "utils/temp_folder.hpp"

namespace codetext::test {

using Arguments = std::vector<std::string>;
using Outcome = ProcessResult;
using reference::words;
using test_support::TempFolder;

inline Arguments operator+(Arguments left, const Arguments& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// Whether the program watches itself for errors. That takes descriptors and memory, and fails
/// where a test takes these away.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool IS_SANITIZED = true;
#else
inline constexpr bool IS_SANITIZED = false;
#endif

/// Runs any program that the PATH has, in the directory `cwd` and the test's own environment.
inline Outcome run_command(const Arguments& command, const std::filesystem::path& cwd) {
    Arguments environment;
    for (char** own = environ; *own != nullptr; ++own) environment.emplace_back(*own);
    return run_process(Arguments{"env", "-C", cwd} + command, environment);
}

/// Runs codetext.
inline Outcome run(const Arguments& arguments, const std::filesystem::path& cwd) {
    return run_command(Arguments{CODETEXT_PROGRAM} + arguments, cwd);
}

/// Runs `codetext search code`.
inline Outcome search(const Arguments& arguments, const std::filesystem::path& cwd) {
    return run(Arguments{"search", "code"} + arguments, cwd);
}

}  // namespace codetext::test
