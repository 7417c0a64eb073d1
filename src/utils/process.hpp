#pragma once

// Running another program and reading what it writes. No shell is involved.
//
//   const ProcessResult listing = run_process({"git", "-C", root, "ls-files", "-z"}, environment);
//   if (listing.status != 0) throw std::runtime_error(listing.errors);

#include <string>
#include <string_view>
#include <vector>

namespace codetext {

struct ProcessResult {
    std::string output;  ///< all that it wrote to standard output
    std::string errors;  ///< all that it wrote to standard error
    int status;          ///< its exit status; 128 + N when signal N ended it
};

/// Runs `arguments[0]`, found in the absolute directories of this process's PATH, to its end, with
/// `input` as its standard input and `environment` ("NAME=value" each) as its whole environment.
/// Several threads may call it at once. Throws std::system_error when it cannot be started or read
/// from.
ProcessResult run_process(const std::vector<std::string>& arguments,
                          const std::vector<std::string>& environment, std::string_view input = {});

}  // namespace codetext
