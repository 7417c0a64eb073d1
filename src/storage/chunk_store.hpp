#pragma once

// Where an index keeps the text of its files: chunks of whole lines, in one of two layouts, with a
// trigram index over them. This header is the reading side; chunk_store/writer.hpp is the writing
// side. How a layout stores a chunk is known here, and in code_text the table `code_chunks` too.
//
//   if (chunk_store::layout(db) == chunk_store::COMPRESSED) {
//       auto query = chunk_store::trigram_query("spin_lock");
//       for (const ChunkRow& row : chunk_store::matching_rows(db, query, {7, 9})) use(row);
//   }

#include "storage/chunk_store/candidates.hpp"
#include "storage/chunk_store/chunk_row.hpp"
#include "storage/chunk_store/inventory.hpp"
#include "storage/chunk_store/layout.hpp"
#include "storage/chunk_store/matching_rows.hpp"
