#pragma once

// Opens the index for a command that needs one to exist.

#include <filesystem>

#include "storage/database.hpp"
#include "storage/index_directory.hpp"

namespace codetext::cli {

/// Throws std::runtime_error when the repository at `root` has no index, or has one that this user
/// cannot read; the message says what to do. Throws schema::UnusableIndex for one that is not safe
/// to open.
void check_index(const std::filesystem::path& root, schema::Owners owners);

/// Opens the index of the repository at `root` for reading. Throws as check_index,
/// schema::open_index and schema::check_filled do.
Database open_existing_index(const std::filesystem::path& root, schema::Owners owners);

}  // namespace codetext::cli
