#include "storage/schema_steps.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "storage/chunk_store/code_chunks/table.hpp"
#include "storage/chunk_store/writer.hpp"
#include "storage/code_text/large_data_upgrade.hpp"

namespace codetext::schema {

namespace {

bool has_column(const Database& db, std::string_view table, std::string_view column) {
    return db.fetchone("SELECT 1 FROM pragma_table_info(?) WHERE name = ?", {table, column})
        .has_value();
}

std::vector<Chunk> stored_chunks(const Database& db, std::int64_t file_id) {
    const auto [first, end] = chunk_store::file_rowids(file_id);
    std::vector<Chunk> chunks;
    for (chunk_store::ChunkRow& taken : chunk_store::code_chunks::rows(db, first, end)) {
        const chunk_store::ChunkRow row = std::move(taken);  // freed as soon as it is copied
        chunks.push_back({row.start_line, row.end_line, std::string(row.text.view())});
    }
    return chunks;
}

/// Texts of chunks from all over the index to train a dictionary on.
std::vector<std::string> sample_texts(const Database& db, const std::vector<std::int64_t>& files) {
    constexpr std::size_t SAMPLED_FILES = 2000;
    const std::size_t step = std::max<std::size_t>(1, files.size() / SAMPLED_FILES);
    std::vector<std::string> samples;
    std::size_t size = 0;
    for (std::size_t i = 0; i < files.size() && size < chunk_store::DICTIONARY_SAMPLE_BYTES;
         i += step) {
        for (Chunk& chunk : stored_chunks(db, files[i])) {
            size += chunk.text.size();
            samples.push_back(std::move(chunk.text));
        }
    }
    return samples;
}

std::size_t move_chunks(Database& db) {
    const std::vector<std::int64_t> files = chunk_store::code_chunks::chunked_files(db);
    chunk_store::create_tables(db, chunk_store::COMPRESSED);
    chunk_store::Packer packer(chunk_store::COMPRESSED,
                               chunk_store::train_dictionary(db, sample_texts(db, files)));
    chunk_store::Writer writer(db, chunk_store::COMPRESSED);
    for (const std::int64_t file_id : files) {
        writer.put(file_id, packer.pack(stored_chunks(db, file_id)));
    }
    writer.flush();
    chunk_store::code_chunks::drop_table(db);
    return files.size();
}

}  // namespace

UpgradeStep upgrade_to_3_1_0(Database& db) {
    Transaction transaction(db, Transaction::Kind::WRITE);
    if (!has_column(db, "files", "text_on_disk")) {
        db.execute("ALTER TABLE files ADD COLUMN text_on_disk INTEGER NOT NULL DEFAULT 0");
    }
    Cursor cursor(db);
    const std::int64_t marked = code_text::keep_large_data_on_disk(cursor);
    set_version(db, "3.1.0");
    transaction.commit();
    return {"3.0.0", "3.1.0", fmt::format("{} large data file(s) are now read from disk", marked)};
}

UpgradeStep upgrade_to_3_2_0(Database& db) {
    Transaction transaction(db, Transaction::Kind::WRITE);
    db.execute_script(
        "CREATE INDEX IF NOT EXISTS files_by_text_on_disk ON files(text_on_disk);"
        "CREATE TABLE IF NOT EXISTS skipped_files(path TEXT PRIMARY KEY, reason TEXT NOT NULL, "
        "size INTEGER NOT NULL, mtime_ns INTEGER NOT NULL) WITHOUT ROWID;");
    std::string what = "the chunks stay as they are: compressing them takes SQLite 3.43";
    if (chunk_store::layout(db) == chunk_store::CODE_CHUNKS &&
        chunk_store::default_layout() == chunk_store::COMPRESSED) {
        what = fmt::format("the chunks of {} file(s) are now compressed", move_chunks(db));
    }
    set_version(db, "3.2.0");
    transaction.commit();
    return {"3.1.0", "3.2.0", what};
}

}  // namespace codetext::schema
