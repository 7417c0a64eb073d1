#pragma once

// Which repository a directory belongs to.
//
//   std::filesystem::path root = cli::find_root(".");

#include <filesystem>

namespace codetext::cli {

/// The root of the repository that holds the directory `path`: its nearest ancestor, itself
/// included, that has `.codetext`; else the nearest that has `.git`; else the directory itself. The
/// result is absolute and has no symbolic link in it.
///
/// Throws std::system_error when `path` does not exist or is no directory.
std::filesystem::path find_root(const std::filesystem::path& path);

}  // namespace codetext::cli
