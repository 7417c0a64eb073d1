#pragma once

// Many files parsed by several threads. The results come out in the order of the files, for the one
// thread that stores them.

#include <span>

#include "indexer/run/parse_file.hpp"
#include "utils/ordered_pool.hpp"

namespace codetext::indexer {

/// next() passes on what parse_file throws.
using ParsePipeline = OrderedPool<ParsedFile>;

/// Begins to parse `files`, which lie below the directory `root`; both must outlive the pipeline.
/// Without threads, next() parses.
ParsePipeline parse_files(const Descriptor& root, std::span<const PlannedFile> files,
                          chunk_store::Layout layout, chunk_store::DictionaryHandle dictionary,
                          unsigned threads);

}  // namespace codetext::indexer
