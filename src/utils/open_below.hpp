#pragma once

// Opening files of a tree that somebody else may have made, or may change meanwhile. Whatever the
// tree holds, nothing outside of it is opened.
//
//   const Descriptor root = open_root(path);
//   const Descriptor file = open_below(root, "src/main.c", O_RDONLY | O_CLOEXEC);
//   if (!file) throw_system_error("cannot read src/main.c");

#include <filesystem>
#include <string_view>

#include "utils/descriptor.hpp"
#include "utils/path_below.hpp"

namespace codetext {

/// Opens the directory `path`, to open what lies below it. Symbolic links on the way to it are
/// followed. Throws std::system_error when it cannot be opened.
Descriptor open_root(const std::filesystem::path& path);

/// Opens `path`, relative to the directory `root`, without following a symbolic link at any
/// component, the last one included. `flags` are those of open(2), without O_CREAT.
/// Gives no descriptor, and errno, on failure: EINVAL for a path that is_path_below refuses, ELOOP
/// or ENOTDIR for one that leads through a symbolic link, else what the system says.
///
/// Linux opens the whole path in one call (openat2, since Linux 5.6); elsewhere, and in a sandbox
/// that forbids the call, each component is opened below the one before it.
Descriptor open_below(const Descriptor& root, std::string_view path, int flags);

/// The second way of open_below. For its tests.
Descriptor _open_by_components(const Descriptor& root, std::string_view path, int flags);

}  // namespace codetext
