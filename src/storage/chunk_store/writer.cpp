#include "storage/chunk_store/writer.hpp"

#include "storage/chunk_store/code_chunks/table.hpp"
#include "storage/chunk_store/compressed/tables.hpp"
#include "storage/chunk_store/compressed/trigram_upkeep.hpp"

namespace codetext::chunk_store {

class Writer::Impl {
  public:
    Impl(Database& db, Layout layout) : _db(&db), _compressed(layout == COMPRESSED), _shards(db) {}

    void put(std::int64_t file_id, const PackedFile& file) {
        // Chunks of an older text would stay where the new text has fewer.
        drop(file_id);
        if (_compressed) {
            compressed::put(*_db, file_id, file, _shards);
        } else {
            code_chunks::put(*_db, file_id, file);
        }
        _pending += static_cast<std::int64_t>(file.lines.size());
    }

    void drop(std::int64_t file_id) {
        if (_compressed) {
            compressed::drop(*_db, file_id);
        } else {
            code_chunks::drop(*_db, file_id);
        }
    }

    std::int64_t pending() const { return _pending; }

    void flush() {
        if (_compressed && _pending > 0) {
            // In the transaction that stores the chunks: no commit has chunks that no shard names.
            _shards.flush();
            keep_shards_few(*_db);
        }
        _pending = 0;
    }

  private:
    Database* _db;
    bool _compressed;
    ShardWriter _shards;
    std::int64_t _pending = 0;
};

Writer::Writer(Database& db, Layout layout) : _impl(std::make_unique<Impl>(db, layout)) {}
Writer::~Writer() = default;

void Writer::put(std::int64_t file_id, const PackedFile& file) { _impl->put(file_id, file); }
void Writer::drop(std::int64_t file_id) { _impl->drop(file_id); }
std::int64_t Writer::pending_chunks() const { return _impl->pending(); }
void Writer::flush() { _impl->flush(); }

}  // namespace codetext::chunk_store
