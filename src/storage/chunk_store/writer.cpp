#include "storage/chunk_store/writer.hpp"

#include <algorithm>

#include "storage/chunk_store/compressed/packed_frame.hpp"
#include "storage/chunk_store/compressed/trigram_shard.hpp"
#include "storage/chunk_store/compressed/trigram_upkeep.hpp"

namespace codetext::chunk_store {

namespace {

void drop_block(Database& db, std::string_view sql, std::int64_t file_id) {
    db.execute(sql, {file_id * CHUNK_STRIDE, (file_id + 1) * CHUNK_STRIDE});
}

/// The text as the trigram tokenizer can take it: it stops at a NUL.
std::string without_nuls(std::string text) {
    std::replace(text.begin(), text.end(), '\0', ' ');
    return text;
}

}  // namespace

class Writer::Impl {
  public:
    Impl(Database& db, Layout layout) : _db(&db), _compressed(layout == COMPRESSED), _segment(db) {}

    void put(std::int64_t file_id, const PackedFile& file) {
        drop(file_id);
        if (_compressed) {
            put_compressed(file_id, file);
        } else {
            put_code_chunks(file_id, file);
        }
        _pending += static_cast<std::int64_t>(file.lines.size());
    }

    void drop(std::int64_t file_id) {
        if (_compressed) {
            drop_block(*_db, "DELETE FROM chunks WHERE id >= ? AND id < ?", file_id);
            drop_block(*_db, "DELETE FROM chunk_frames WHERE id >= ? AND id < ?", file_id);
        } else {
            drop_block(*_db, "DELETE FROM code_chunks WHERE rowid >= ? AND rowid < ?", file_id);
        }
    }

    std::int64_t pending() const { return _pending; }

    void flush() {
        if (_compressed && _pending > 0) {
            _segment.flush();
            keep_shards_few(*_db);
        }
        _pending = 0;
    }

  private:
    void put_compressed(std::int64_t file_id, const PackedFile& file) {
        const std::int64_t first = file_id * CHUNK_STRIDE;
        std::span<const std::uint32_t> trigrams = file.trigrams;
        for (std::size_t i = 0; i < file.lines.size(); ++i) {
            const auto chunk = static_cast<std::int64_t>(i);
            // OR FAIL: a statement with triggers would else write a journal of its own, to be
            // undone by itself. A failure here undoes the transaction.
            _db->execute("INSERT OR FAIL INTO chunks(id, start_line, end_line) VALUES (?, ?, ?)",
                         {first + chunk, file.lines[i].start_line, file.lines[i].end_line});
            _segment.add(file_id, chunk, trigrams.first(file.trigram_counts[i]));
            trigrams = trigrams.subspan(file.trigram_counts[i]);
        }
        for (const PackedFile::Frame& frame : file.frames) {
            _db->execute("INSERT INTO chunk_frames(id, body) VALUES (?, ?)",
                         {first + frame.first_chunk, BlobView{frame.body}});
        }
    }

    void put_code_chunks(std::int64_t file_id, const PackedFile& file) {
        constexpr std::string_view SQL =
            "INSERT INTO code_chunks(rowid, start_line, end_line, text, exact) "
            "VALUES (?, ?, ?, ?, ?)";
        for (std::size_t i = 0; i < file.lines.size(); ++i) {
            const std::int64_t rowid = file_id * CHUNK_STRIDE + static_cast<std::int64_t>(i);
            const std::string& text = file.texts[i];
            const PackedFile::LineRange& lines = file.lines[i];
            if (text.find('\0') == std::string::npos) {
                _db->execute(SQL, {rowid, lines.start_line, lines.end_line, text, nullptr});
            } else {
                _db->execute(SQL,
                             {rowid, lines.start_line, lines.end_line, without_nuls(text), text});
            }
        }
    }

    Database* _db;
    bool _compressed;
    ShardWriter _segment;
    std::int64_t _pending = 0;
};

Writer::Writer(Database& db, Layout layout) : _impl(std::make_unique<Impl>(db, layout)) {}
Writer::~Writer() = default;

void Writer::put(std::int64_t file_id, PackedFile file) { _impl->put(file_id, file); }
void Writer::drop(std::int64_t file_id) { _impl->drop(file_id); }
std::int64_t Writer::pending_chunks() const { return _impl->pending(); }
void Writer::flush() { _impl->flush(); }

}  // namespace codetext::chunk_store
