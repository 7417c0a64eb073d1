#pragma once

// What an index holds, in numbers.
//
//   const IndexStatus status = index_status(db);
//   print(status.files, status.chunks);

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "storage/database.hpp"

namespace codetext::indexer {

struct IndexStatus {
    std::string schema_version;
    std::string layout;  ///< "none" for an index that has no tables for text
    std::int64_t files = 0;
    std::int64_t file_bytes = 0;    ///< of all files, when they were read
    std::int64_t kept_on_disk = 0;  ///< files whose text stays on disk
    std::int64_t kept_on_disk_bytes = 0;
    std::int64_t chunks = 0;
    std::int64_t without_chunks = 0;  ///< files that should have chunks and have none yet
    std::int64_t binary_files = 0;    ///< of the repository; not in the index
    std::int64_t unreadable_files = 0;
    std::int64_t database_bytes = 0;  ///< the database file and its write-ahead log
};

/// The files of one language.
struct LanguageShare {
    std::string language;  ///< empty: unknown
    std::int64_t files = 0, bytes = 0;
};

/// Those with most files first.
std::vector<LanguageShare> languages_of(const Database& db);

/// Hands each file that is not searched to `visit`, with the reason that the last run found,
/// ascending by path. An old index that has no table of skipped files has none.
void each_skipped_file(
    const Database& db,
    const std::function<void(std::string_view path, std::string_view reason)>& visit);

/// Counts. An old index that has no table of skipped files counts none.
IndexStatus index_status(const Database& db);

}  // namespace codetext::indexer
