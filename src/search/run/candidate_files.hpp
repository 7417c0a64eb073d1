#pragma once

// Which files the trigram index says may hold a match, before any row of a file is read.

#include <cstdint>
#include <optional>
#include <vector>

#include "search/query/query.hpp"
#include "storage/database.hpp"

namespace codetext::search {

/// Ids, ascending, of the files in which the query may match: those with a chunk that may hold its
/// needle, or a combination of texts that its pattern needs on one line, and all that are kept on
/// disk. None when the trigram index cannot narrow the files.
///
/// REQUIRES: the index is of the compressed layout. Passes every failure of the index on.
std::optional<std::vector<std::int64_t>> candidate_files(const Database& db, const Query& query);

}  // namespace codetext::search
