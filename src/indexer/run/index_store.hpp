#pragma once

// The half of a run that writes: rows of `files` and `skipped_files`, and chunks, in batches that
// are committed whole. Not for use by several threads.

#include <cstdint>
#include <optional>

#include "indexer/plan/change_plan.hpp"
#include "indexer/run/parse_file.hpp"
#include "storage/chunk_store/writer.hpp"
#include "storage/database.hpp"

namespace codetext::indexer {

class IndexStore {
  public:
    IndexStore(Database& db, chunk_store::Layout layout) : _db(db), _layout(layout) {}

    /// Drops what is gone, gives every new file its row, with ids that ascend in the plan's order,
    /// and commits. From then on searches know the new files; they read the disk until the last
    /// new file has its chunks.
    void begin_changes(ChangePlan& plan);

    /// Stores what parsing the file gave; writes nothing when the index holds it already. Commits
    /// when a batch is full.
    void put(const PlannedFile& file, const ParsedFile& parsed);

    /// Commits what was put since the last commit. The destructor rolls back what was not
    /// committed.
    void commit();

    /// Whether this run has written anything.
    bool has_written() const { return _has_written; }

  private:
    chunk_store::Writer& _writer();
    void _put_text(const PlannedFile& file, const ParsedFile& parsed);
    void _put_same_text(const KnownFile& known, const ParsedFile& parsed);
    void _skip(const PlannedFile& file, const ParsedFile& parsed);
    std::int64_t _insert(const PlannedFile& file);

    Database& _db;
    chunk_store::Layout _layout;
    bool _has_written = false;
    std::optional<Transaction> _transaction;    ///< of the open batch
    std::optional<chunk_store::Writer> _batch;  ///< kept for the next batch, with its memory
};

}  // namespace codetext::indexer
