#pragma once

// Every regular file below a directory that is not a git work tree, with its size and time. Hidden
// files are among them; symbolic links are not followed, and directories named `.git` and
// `.codetext` are not entered.

#include <string>
#include <vector>

#include "indexer/listing/file_entry.hpp"
#include "utils/descriptor.hpp"

namespace codetext::indexer {

struct TreeWalk {
    std::vector<FileEntry> files;           ///< ascending by path
    std::vector<std::string> repositories;  ///< directories that are git roots; not entered
    std::vector<std::string> warnings;      ///< what could not be read or looked at, and why
};

/// Walks the directory `root` with `threads` threads. A file that goes away meanwhile is left out.
/// Throws std::system_error when the machine fails (is_machine_failure).
TreeWalk walk_tree(const Descriptor& root, unsigned threads);

}  // namespace codetext::indexer
