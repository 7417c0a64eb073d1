#pragma once

// Finds the repository that a directory belongs to.

#include <filesystem>

namespace codetext::cli {

/// The root of the repository that holds the directory `path`: the nearest directory, from `path`
/// upwards, that has `.codetext`; else the nearest that has `.git`; else `path` itself. The result
/// is absolute and without symbolic links.
///
/// Throws std::system_error when `path` does not exist or is no directory.
std::filesystem::path find_root(const std::filesystem::path& path);

}  // namespace codetext::cli
