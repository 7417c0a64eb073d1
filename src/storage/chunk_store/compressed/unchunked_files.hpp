#pragma once

// Which files lack their chunks. Every search asks that of the whole index. Looking for the first
// chunk of each file takes most of a rare needle's time in a large index, so the compressed layout
// keeps a table of the files that may lack theirs. Triggers keep it, whoever writes. The table only
// says where to look: a search still looks for the first chunk of each file in it.

#include <cstdint>
#include <string_view>

#include "storage/database/database.hpp"

namespace codetext::chunk_store {

/// Creates the table and its triggers. REQUIRES: the tables `files` and `chunks`; no file has
/// chunks yet.
void create_unchunked_files(Database& db);

/// Names, with their columns as `f`, the rows of `files` that may lack their chunks. For use after
/// FROM.
inline constexpr std::string_view PERHAPS_UNCHUNKED_FILES =
    "unchunked_files u CROSS JOIN files f ON f.id = u.file_id";

/// Files without chunks that the table does not list: 0 in an index that is whole. Looks at every
/// file.
std::int64_t unlisted_unchunked_count(const Database& db);

}  // namespace codetext::chunk_store
