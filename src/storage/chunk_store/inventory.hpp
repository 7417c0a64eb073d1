#pragma once

// What an index's chunk tables hold, whichever layout it has: for status, refresh, upgrade and
// verify.
//
//   for (std::int64_t file_id : chunk_store::files_without_chunks(db, layout))
//   parse_again(file_id);

#include <cstdint>
#include <string>
#include <vector>

#include "storage/chunk_store/chunk_row.hpp"
#include "storage/chunk_store/layout.hpp"
#include "storage/chunk_store/matching_rows.hpp"

namespace codetext::chunk_store {

/// SQL from FROM on that selects, as `f`, the rows of `files` that should have chunks and lack
/// their first. The one place that says what that means.
std::string from_files_without_chunks(Layout layout);

/// Ids, ascending, of the files that should have chunks and have none yet.
std::vector<std::int64_t> files_without_chunks(const Database& db, Layout layout);

std::int64_t chunk_count(const Database& db, Layout layout);

/// Chunks whose row id lies in the block of no file.
std::int64_t stray_chunk_count(const Database& db, Layout layout);

/// The chunk rows with row ids from `first` to before `end`, ascending. `dictionaries` as for
/// file_rows. In the `code_chunks` layout `last` is not set.
std::vector<ChunkRow> stored_rows(const Database& db, Layout layout, std::int64_t first,
                                  std::int64_t end, DictionariesHandle dictionaries = nullptr);

}  // namespace codetext::chunk_store
