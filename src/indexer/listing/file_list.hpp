#pragma once

// Which files a repository has: in a git work tree those that git names (tracked, or neither
// tracked nor ignored), outside one every regular file. A repository inside (a submodule, a clone)
// is listed by the same rule for itself. Nothing is read.
//
//   const FileList list = list_files(root, 2);

#include <filesystem>
#include <string>
#include <vector>

#include "indexer/listing/file_entry.hpp"

namespace codetext::indexer {

struct FileList {
    std::vector<FileEntry> files;  ///< ascending by path, each path once
    /// What was left out and why, one line each: directories that could not be read, repositories
    /// inside that git could not list, paths that are no UTF-8, which the index cannot hold.
    std::vector<std::string> warnings;
};

/// The files below the directory `root`, with `threads` threads. Symbolic links, and what lies
/// behind them, are no files; nor is anything in a directory named `.codetext`.
/// Throws std::runtime_error when git cannot list `root` (with git's message), std::system_error
/// when `root` cannot be opened or git cannot be run.
FileList list_files(const std::filesystem::path& root, unsigned threads);

}  // namespace codetext::indexer
