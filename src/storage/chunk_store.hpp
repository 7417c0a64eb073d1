#pragma once

// Where an index keeps the text of its files: chunks of whole lines, in one of two layouts, with a
// trigram index over them. This header is the reading side; chunk_store/writer.hpp is the writing
// side. Nobody else knows how either layout stores a chunk.
//
//   if (std::optional<Layout> store = chunk_store::layout(db)) {
//       auto query = chunk_store::trigram_query("spin_lock");
//       for (const ChunkRow& row : chunk_store::matching_rows(db, query, {7, 9})) use(row);
//   }

#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "storage/database.hpp"

namespace codetext::chunk_store {

/// Row ids that each file id owns: file f's chunk k has row id f * CHUNK_STRIDE + k.
inline constexpr std::int64_t CHUNK_STRIDE = 1 << 20;

/// Creates the table of the `code_chunks` layout.
inline constexpr std::string_view CODE_CHUNKS_DDL =
    "CREATE VIRTUAL TABLE code_chunks USING fts5(start_line UNINDEXED, end_line UNINDEXED, text, "
    "exact UNINDEXED, tokenize='trigram')";

/// The compressed layout's chunk table: one narrow row a chunk, keyed by `id`.
inline constexpr std::string_view COMPRESSED_TABLE = "chunks";

/// How an index lays out its chunks: a text value of its own type.
struct Layout {
    std::string_view name;
    friend bool operator==(Layout, Layout) = default;
};
inline constexpr Layout COMPRESSED{"compressed"};
inline constexpr Layout CODE_CHUNKS{"code_chunks"};

/// The layout of the index's chunks; none when it has no table of the files' text.
std::optional<Layout> layout(const Database& db);

/// The layout that a new index gets: compressed from SQLite 3.43 on, `code_chunks` before; none
/// when the library cannot make the `code_chunks` table either (no trigram tokenizer).
std::optional<Layout> default_layout();

/// A stored chunk, or a part of the trigram index, that cannot be read back; the message names its
/// row.
class DamagedChunk : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class PackedFrame;

/// A chunk's text, unpacked when it is first looked at. Copies share one text. Not for use by
/// several threads at once.
class StoredText {
  public:
    explicit StoredText(std::string text);
    StoredText(std::shared_ptr<PackedFrame> frame, std::size_t position);
    /// The text; valid as long as this handle or a copy of it lives. Throws DamagedChunk.
    std::string_view view() const;

  private:
    std::shared_ptr<const std::string> _text;
    std::shared_ptr<PackedFrame> _frame;
    std::size_t _position = 0;
};

/// A chunk as a search reads it.
struct ChunkRow {
    std::int64_t rowid;
    std::int64_t start_line;  ///< number of its first line, from 1
    std::int64_t end_line;    ///< number of its last line, inclusive; start_line - 1 without a line
    StoredText text;
    bool last;  ///< no chunk row has the row id one above
};

/// What the trigram index is asked: the chunks whose text holds every one of these trigrams. A
/// trigram is three bytes of UTF-8 with ASCII capitals folded, the first in the highest place.
struct TrigramQuery {
    std::vector<std::uint32_t> trigrams;  ///< distinct, ascending, at least one
    friend bool operator==(const TrigramQuery&, const TrigramQuery&) = default;
};

/// The query for a needle of three code points or more; none for a shorter one, and for one that
/// gives no trigram that the index holds: nothing narrows the chunks then.
std::optional<TrigramQuery> trigram_query(std::string_view needle);

/// Row ids, ascending, of the chunks whose text may hold every trigram of the query: a superset,
/// and it may name rows that are gone. Only in the compressed layout. The last answer is kept with
/// the handle: a search asks once for the files worth searching and once for their chunks.
std::shared_ptr<const std::vector<std::int64_t>> candidate_rowids(const Database& db,
                                                                  const TrigramQuery& query);

/// Chunk rows of the compressed layout, ascending by row id, each read when it is come to.
///
/// It reads through the database handle that it was made with, which must outlive it. Copies may be
/// read by several threads at once.
class MatchingRows {
  public:
    /// The rows of one file, whether or not it is among the searched ones.
    std::vector<ChunkRow> of_file(std::int64_t file_id) const;
    /// The searched files that may have a row, ascending; each has one unless it is gone.
    std::vector<std::int64_t> file_ids() const;

    class Iterator;
    Iterator begin() const;
    std::default_sentinel_t end() const { return {}; }

  private:
    friend MatchingRows matching_rows(const Database&, const std::optional<TrigramQuery>&,
                                      std::vector<std::int64_t>);
    struct State;
    std::shared_ptr<const State> _state;
};

/// The chunk rows of the compressed layout that may match: for a query those of `searched` files
/// whose text may hold every trigram of it, for none every chunk of the searched files. `searched`
/// are file ids, in any order.
MatchingRows matching_rows(const Database& db, const std::optional<TrigramQuery>& match,
                           std::vector<std::int64_t> searched);

/// The chunk rows of the compressed layout with row ids from `first` to before `end`, ascending.
/// Throws DamagedChunk where one cannot be read back.
std::vector<ChunkRow> file_rows(const Database& db, std::int64_t first, std::int64_t end);

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
