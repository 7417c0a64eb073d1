#pragma once

// The index that a command works on when it does not make one.
//
//   const std::filesystem::path root = root_with_index(".");
//   const Database db = schema::open_index(schema::index_path(root), Access::READ_ONLY);

#include <filesystem>

namespace codetext::cli {

/// find_root(path), which must have an index. Throws std::runtime_error, naming the command that
/// makes one, when it has none, and as find_root does.
std::filesystem::path root_with_index(const std::filesystem::path& path);

}  // namespace codetext::cli
