#pragma once

// The upgrade step that applies the large-data rule to an index made before it.

#include <cstdint>
#include <string>

#include "storage/database.hpp"

namespace codetext::code_text {

/// Drops the chunks of the files that the large-data rule covers and marks them as kept on disk;
/// returns how many it marked. Files are measured by the text that their chunks hold, inside the
/// database. Works on the `code_chunks` table alone: without it, nothing is read or changed and the
/// result is 0.
///
/// REQUIRES: the cursor stands inside a transaction, which the caller ends. Passes every failure
/// on.
std::int64_t keep_large_data_on_disk(Cursor& cursor);

namespace upgrade_sql {
/// The SQL expression that measures, for a row `f` of `files`, the text that its chunks hold.
extern const std::string CHUNKED_TEXT_BYTES_SQL;
}  // namespace upgrade_sql

}  // namespace codetext::code_text
