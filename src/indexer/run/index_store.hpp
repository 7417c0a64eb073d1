#pragma once

// The writing half of an indexer's run: rows of `files` and `skipped_files`, and chunks, in batches
// that are committed whole. Not for use by several threads.
//
//   IndexStore store(db, layout);
//   store.begin_changes(plan);
//   for (PlannedFile& file : plan.to_read) store.put(file, pipeline.next());
//   store.commit();

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

    /// Drops what is gone and gives every new file its row, ids ascending in the plan's order, and
    /// commits. From then on a search knows the new files, and reads the disk until the last of
    /// them has its chunks.
    void begin_changes(ChangePlan& plan);

    /// Stores what became of the file; writes nothing when the index says so already. Commits when
    /// a batch is full.
    void put(const PlannedFile& file, ParsedFile parsed);

    /// Commits what was put since the last commit. What is not committed is rolled back when the
    /// store goes.
    void commit();

    /// Whether anything was written at all.
    bool has_written() const { return _has_written; }

  private:
    chunk_store::Writer& _writer();
    void _put_text(const PlannedFile& file, ParsedFile& parsed);
    void _put_same_text(const KnownFile& known, const ParsedFile& parsed);
    void _skip(const PlannedFile& file, const ParsedFile& parsed);
    std::int64_t _insert(const PlannedFile& file);

    Database& _db;
    chunk_store::Layout _layout;
    bool _has_written = false;
    std::optional<Transaction> _transaction;  ///< of the open batch
    std::optional<chunk_store::Writer>
        _batch;  ///< stays for the next batch; a failure ends the store
};

}  // namespace codetext::indexer
