#pragma once

// Reading the chunks of the compressed layout.
//
//   auto query = chunk_store::trigram_query("spin_lock");
//   for (const ChunkRow& row : chunk_store::matching_rows(db, query, {7, 9})) use(row);

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <vector>

#include "storage/chunk_store/candidates.hpp"
#include "storage/chunk_store/chunk_row.hpp"
#include "storage/database/database.hpp"

namespace codetext::chunk_store {

/// The compression dictionaries of one database, each read when a chunk first needs it. Whoever
/// reads chunks again and again keeps one.
class Dictionaries;
using DictionariesHandle = std::shared_ptr<Dictionaries>;
DictionariesHandle make_dictionaries();

/// Chunk rows, ascending by row id, each read when somebody asks for it.
///
/// It holds which rows it promised, not their texts: a common needle's would not fit the memory.
/// When the index has changed since, it throws IndexChanged instead of giving other rows; a caller
/// that wants to read beside a writer holds a transaction. It reads through the database handle
/// that it was made with, which must outlive it. Copies may be read by several threads at once.
class MatchingRows {
  public:
    /// The rows of one file; none for a file that is not searched. Throws IndexChanged,
    /// DamagedChunk, DatabaseError, and TextTooLarge when they hold more than `most_bytes`, packed
    /// or not.
    std::vector<ChunkRow> of_file(std::int64_t file_id, std::size_t most_bytes = ALL_TEXT) const;
    /// The searched files that may have a row, ascending; each has one unless it is gone.
    std::vector<std::int64_t> file_ids() const;
    /// What its chunks are unpacked with.
    const DictionariesHandle& dictionaries() const;

    class Iterator;
    Iterator begin() const;
    std::default_sentinel_t end() const { return {}; }

  private:
    friend MatchingRows matching_rows(const Database&, const std::optional<Candidates>&,
                                      std::vector<std::int64_t>);
    struct State;
    std::shared_ptr<const State> _state;
};

/// The chunk rows that may match: for a query those of `searched` files whose text may hold every
/// trigram of it, for none every chunk of the searched files. `searched` are file ids, in any
/// order.
MatchingRows matching_rows(const Database& db, const std::optional<TrigramQuery>& match,
                           std::vector<std::int64_t> searched);
/// The same with an answer that the caller has got already; none: every chunk.
MatchingRows matching_rows(const Database& db, const std::optional<Candidates>& candidates,
                           std::vector<std::int64_t> searched);

/// The chunk rows with row ids from `first` to before `end`, ascending. Throws DamagedChunk where
/// one cannot be read back, TextTooLarge where they hold more than `most_bytes`, packed or not.
/// Without `dictionaries` each call reads the dictionary that it needs.
std::vector<ChunkRow> file_rows(const Database& db, std::int64_t first, std::int64_t end,
                                DictionariesHandle dictionaries = nullptr,
                                std::size_t most_bytes = ALL_TEXT);

class MatchingRows::Iterator {
  public:
    using value_type = ChunkRow;
    using difference_type = std::ptrdiff_t;
    const ChunkRow& operator*() const { return _rows[_row]; }
    Iterator& operator++();
    void operator++(int) { ++*this; }
    friend bool operator==(const Iterator& it, std::default_sentinel_t) {
        return it._row == it._rows.size();
    }

  private:
    friend class MatchingRows;
    void _next_file();
    const MatchingRows* _range = nullptr;
    std::vector<std::int64_t> _files;
    std::size_t _file = 0;
    std::vector<ChunkRow> _rows;
    std::size_t _row = 0;
};

}  // namespace codetext::chunk_store
