#pragma once

// Where an index keeps the text of its files: chunks of whole lines, in one of two layouts, with a
// trigram index over them. This header is the reading side; chunk_store/writer.hpp is the writing
// side. Nobody else knows how a layout stores a chunk.
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
