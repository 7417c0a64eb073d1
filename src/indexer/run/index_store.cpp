// A batch is one transaction: chunks, the rows of their files, and the shard that names the chunks.
// It is committed when it has as many chunks as a shard holds; a commit writes a full shard, as a
// rule, and a small one of what is over. The transaction begins with the first write; a run that
// changes nothing takes no write lock.

#include "indexer/run/index_store.hpp"

#include <algorithm>
#include <utility>

namespace codetext::indexer {
namespace {

bool gets_row(const PlannedFile& file) { return !file.known && !file.skipped; }

SkippedFile skipped_as(const ParsedFile& parsed) {
    if (parsed.outcome == Outcome::UNREADABLE) return {std::string(SKIPPED_UNREADABLE)};
    return {std::string(SKIPPED_BINARY), parsed.stamp};
}

}  // namespace

chunk_store::Writer& IndexStore::_writer() {
    if (!_transaction) {
        _transaction.emplace(_db, Transaction::Kind::WRITE);
        _has_written = true;
    }
    if (!_batch) _batch.emplace(_db, _layout);
    return *_batch;
}

void IndexStore::commit() {
    if (!_transaction) return;
    _batch->flush();
    _transaction->commit();
    _transaction.reset();
}

void IndexStore::begin_changes(ChangePlan& plan) {
    for (const std::int64_t id : plan.gone) {
        _writer().drop(id);
        _db.execute("DELETE FROM files WHERE id = ?", {id});
    }
    for (const std::string& path : plan.gone_skipped) {
        _writer();
        _db.execute("DELETE FROM skipped_files WHERE path = ?", {path});
    }
    for (PlannedFile& file : plan.to_read) {
        if (!gets_row(file)) continue;
        file.known.emplace();
        file.known->id = _insert(file);
    }
    commit();
}

void IndexStore::put(const PlannedFile& file, const ParsedFile& parsed) {
    switch (parsed.outcome) {
        case Outcome::CHUNKS:
        case Outcome::KEPT_ON_DISK:
            _put_text(file, parsed);
            break;
        case Outcome::SAME_TEXT:
            _put_same_text(*file.known, parsed);
            break;
        case Outcome::BINARY:
        case Outcome::UNREADABLE:
            _skip(file, parsed);
            break;
    }
    if (_batch && _batch->pending_chunks() >= chunk_store::SHARD_CHUNKS) commit();
}

// SQLite keeps a journal of its own for each statement that has triggers, unless it is written OR
// FAIL, as each INSERT and UPDATE of `files` is. A failure undoes the whole transaction anyway.
//
// No file has the time UNSETTLED_MTIME_NS: should the run be killed, the next one reads this file.
std::int64_t IndexStore::_insert(const PlannedFile& file) {
    _writer();
    _db.execute(
        "INSERT OR FAIL INTO files(path, language, size, mtime_ns, content_hash, text_on_disk) "
        "VALUES (?, ?, ?, ?, 0, 0)",
        {file.entry.path, file.language, file.entry.stamp.size, UNSETTLED_MTIME_NS});
    return _db.last_insert_rowid();
}

void IndexStore::_put_text(const PlannedFile& file, const ParsedFile& parsed) {
    const bool kept_on_disk = parsed.outcome == Outcome::KEPT_ON_DISK;
    const std::int64_t id = file.known ? file.known->id : _insert(file);
    if (kept_on_disk) {
        _writer().drop(id);
    } else {
        _writer().put(id, parsed.packed);
    }
    _db.execute(
        "UPDATE OR FAIL files SET language = ?, size = ?, mtime_ns = ?, ctime_ns = ?, inode = ?, "
        "content_hash = ?, text_on_disk = ? WHERE id = ?",
        {file.language, parsed.stamp.size, parsed.stamp.mtime_ns, parsed.stamp.ctime_ns,
         parsed.stamp.inode, parsed.content_hash, kept_on_disk ? 1 : 0, id});
    if (file.skipped) {
        _db.execute("DELETE FROM skipped_files WHERE path = ?", {file.entry.path});
    }
}

void IndexStore::_put_same_text(const KnownFile& known, const ParsedFile& parsed) {
    // So a run writes nothing for a file whose time has still not settled.
    if (known.stamp == parsed.stamp) return;
    _writer();
    const FileStamp& stamp = parsed.stamp;
    _db.execute(
        "UPDATE OR FAIL files SET size = ?, mtime_ns = ?, ctime_ns = ?, inode = ? WHERE id = ?",
        {stamp.size, stamp.mtime_ns, stamp.ctime_ns, stamp.inode, known.id});
}

void IndexStore::_skip(const PlannedFile& file, const ParsedFile& parsed) {
    const SkippedFile skipped = skipped_as(parsed);
    // So a run in which a file cannot be read again writes nothing.
    if (file.skipped == skipped) return;
    if (file.known) {
        _writer().drop(file.known->id);
        _db.execute("DELETE FROM files WHERE id = ?", {file.known->id});
    }
    _writer();
    _db.execute(
        "INSERT OR REPLACE INTO skipped_files(path, reason, size, mtime_ns, ctime_ns, inode) "
        "VALUES (?, ?, ?, ?, ?, ?)",
        {file.entry.path, skipped.reason, skipped.stamp.size, skipped.stamp.mtime_ns,
         skipped.stamp.ctime_ns, skipped.stamp.inode});
}

}  // namespace codetext::indexer
