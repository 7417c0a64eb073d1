#pragma once

// Which chunks the trigram index says may hold a match, before any file's row is read. Private to
// search.

#include <optional>
#include <string>

#include "search/query/query.hpp"
#include "storage/chunk_store/candidates.hpp"
#include "storage/database.hpp"

namespace codetext::search {

/// What an index is asked for in place of the query's needle: the needle, or the beginning of a
/// long one, which every matching line holds too; none for an inverted query. SQLite refuses LIKE
/// for more than 50,000 bytes, and takes time in proportion to needle and text for fewer.
std::optional<std::string> narrowing_needle(const Query& query);

/// The chunks in which the query may match: those that may hold its needle, or a combination of
/// texts that its pattern needs on one line. None when the trigram index cannot narrow the chunks.
///
/// REQUIRES: chunk_store::asks_before_reading holds for the index's layout. Passes every failure of
/// the index on.
std::optional<chunk_store::Candidates> chunks_worth_searching(const Database& db,
                                                              const Query& query);

}  // namespace codetext::search
