#pragma once

// Which files a repository has: in a git work tree those that git names (tracked, or neither
// tracked nor ignored), elsewhere every regular file. A repository inside (a submodule, a clone) is
// listed by its own rules. No file is read.

#include <filesystem>
#include <string>
#include <vector>

#include "indexer/listing/file_entry.hpp"

namespace codetext::indexer {

struct FileList {
    std::vector<FileEntry> files;  ///< ascending by path, each path once
    /// What was left out and why, one line each: directories that could not be read, repositories
    /// inside that git could not list, paths that are not UTF-8, which the index cannot hold.
    std::vector<std::string> warnings;
};

/// The files below the directory `root`, found by `threads` threads. Symbolic links are left out,
/// and so is all that lies behind them or in a directory named `.codetext`.
/// Throws std::runtime_error when git cannot list `root` (with git's message), std::system_error
/// when `root` cannot be opened or git cannot be run.
FileList list_files(const std::filesystem::path& root, unsigned threads);

}  // namespace codetext::indexer
