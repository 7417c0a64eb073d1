#pragma once

// Finds the repository that a directory belongs to.

#include <filesystem>
#include <optional>
#include <string>

namespace codetext::cli {

/// As given, absolute and without symbolic links. Throws std::system_error when it does not exist
/// or is no directory.
std::filesystem::path existing_directory(const std::filesystem::path& path);

/// `path` relative to `root`, both absolute; nothing when it lies outside, "" for the root itself.
std::optional<std::string> path_from_root(const std::filesystem::path& root,
                                          const std::filesystem::path& path);

/// The root of the repository that holds the directory `path`: the nearest directory, from `path`
/// upwards, that has `.codetext`; else the nearest that has `.git`; else `path` itself. The result
/// is absolute and without symbolic links.
///
/// Throws std::system_error when `path` does not exist or is no directory.
std::filesystem::path find_root(const std::filesystem::path& path);

}  // namespace codetext::cli
