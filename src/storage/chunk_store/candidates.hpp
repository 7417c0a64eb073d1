#pragma once

// Which chunks may match: what the trigram index of the compressed layout answers.
//
//   if (auto query = chunk_store::trigram_query("spin_lock")) {
//       const chunk_store::Candidates found = chunk_store::candidates(db, *query);
//       for (std::int64_t file_id : found.file_ids()) look_at(file_id);
//   }

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "storage/database/database.hpp"

namespace codetext::chunk_store {

/// What the trigram index is asked: the chunks whose text holds every one of these trigrams. A
/// trigram is three bytes of UTF-8 with ASCII capitals folded, the first in the highest place.
struct TrigramQuery {
    std::vector<std::uint32_t> trigrams;  ///< distinct, ascending, at least one
    friend bool operator==(const TrigramQuery&, const TrigramQuery&) = default;
};

/// The query for a needle of three code points or more; none for a shorter one, and for one without
/// a trigram that the index holds: nothing narrows the chunks then.
std::optional<TrigramQuery> trigram_query(std::string_view needle);

/// Whether the trigram index gives a superset of the chunks that hold the needle. It folds the case
/// of ASCII letters only, and holds a NUL as a space.
bool narrows(std::string_view needle, bool case_sensitive);

/// The index has changed since a search asked it, so that what is read now is not what was
/// promised. The search is to be made again; one inside a transaction never meets this.
class IndexChanged : public std::runtime_error {
  public:
    IndexChanged();
};

/// The chunks that may match, as the index was when it was asked: a superset, which may name rows
/// that are gone. Copies share one list.
class Candidates {
  public:
    /// `rowids` are ascending, each once; `stamp` is the database's when it gave them.
    Candidates(std::vector<std::int64_t> rowids, ContentStamp stamp);

    /// Row ids of the chunks, ascending.
    std::span<const std::int64_t> rowids() const { return _answer->rowids; }
    /// Ids of the files that these chunks belong to, ascending, each once.
    std::span<const std::int64_t> file_ids() const { return _answer->file_ids; }
    const ContentStamp& stamp() const { return _answer->stamp; }

  private:
    struct Answer {
        std::vector<std::int64_t> rowids, file_ids;
        ContentStamp stamp;
    };
    std::shared_ptr<const Answer> _answer;
};

/// Asks for the chunks whose text may hold every trigram of the query.
/// REQUIRES: the compressed layout. Throws DamagedChunk, IndexChanged, DatabaseError.
Candidates candidates(const Database& db, const TrigramQuery& query);

}  // namespace codetext::chunk_store
