#pragma once

// When the index was last compared with all files of its repository. That stands in a file beside
// the database: a run that finds nothing changed writes nothing into the database, so it makes no
// log, and searches find their pages as they were.
//
//   schema::set_indexed_at(root, schema::Owners::TRUSTED, now_ns);
//   if (const auto at = schema::indexed_at(root, schema::Owners::TRUSTED)) show(*at == now_ns);

#include <cstdint>
#include <filesystem>
#include <optional>

#include "storage/index_directory.hpp"

namespace codetext::schema {

/// Nanoseconds since the epoch at which the last run began to compare that came to its end: what
/// was saved before is in the index, as far as stamps tell. Nothing where no such time is written,
/// or one to come. An index may be a stranger's, and a backup may be put back: a hint for people,
/// and for whoever wants to refresh an old index. Throws as open_index_directory does.
std::optional<std::int64_t> indexed_at(const std::filesystem::path& root, Owners owners);

/// Notes it at the end of a run. What cannot be written is left out. REQUIRES: this process holds
/// the lock of the index. Throws as open_index_directory does.
void set_indexed_at(const std::filesystem::path& root, Owners owners, std::int64_t time_ns);

}  // namespace codetext::schema
