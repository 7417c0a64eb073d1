#pragma once

// Which files lack their chunks. Every search asks that of the whole index, and looking for one row
// a file takes most of a rare needle's time in a large one. So the compressed layout keeps a table
// of the files that may lack them, which triggers fill and empty whoever writes. It only says where
// to look: each file in it is looked at.

#include <string_view>

#include "storage/database.hpp"

namespace codetext::chunk_store {

/// Creates the table and its triggers, in the compressed layout. REQUIRES: the tables `files` and
/// `chunks`; none of the files has chunks yet.
void create_unchunked_files(Database& db);

/// Names, with their columns as `f`, the rows of `files` among which those without chunks are to be
/// looked for: all of them in an index that has no table for it. To be put behind FROM.
std::string_view perhaps_unchunked_files(const Database& db);

}  // namespace codetext::chunk_store
