#include <sqlite3.h>

#include "storage/chunk_store.hpp"
#include "storage/chunk_store/compressed/unchunked_files.hpp"
#include "storage/chunk_store/writer.hpp"

namespace codetext::chunk_store {

namespace {

constexpr int COMPRESSED_SINCE = 3'043'000;
constexpr int TRIGRAM_TOKENIZER_SINCE = 3'034'000;

// The chunk table is narrow and apart from the bodies, so that whether a file has its chunks is
// soon told.
constexpr std::string_view COMPRESSED_DDL = R"(
CREATE TABLE chunks(id INTEGER PRIMARY KEY, start_line INTEGER NOT NULL, end_line INTEGER NOT NULL);
CREATE TABLE chunk_frames(id INTEGER PRIMARY KEY, body BLOB NOT NULL);
CREATE TABLE chunk_dictionaries(id INTEGER PRIMARY KEY, body BLOB NOT NULL);
CREATE TABLE trigram_segments(id INTEGER PRIMARY KEY, chunks INTEGER NOT NULL, files BLOB NOT NULL);
CREATE TABLE trigram_lists(id INTEGER PRIMARY KEY, body BLOB NOT NULL);
)";

bool has_table(const Database& db, std::string_view name) {
    return db.fetchone("SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?", {name})
        .has_value();
}

}  // namespace

std::optional<Layout> layout(const Database& db) {
    if (has_table(db, COMPRESSED_TABLE)) return COMPRESSED;
    if (has_table(db, "code_chunks")) return CODE_CHUNKS;
    return std::nullopt;
}

std::optional<Layout> default_layout() {
    if (sqlite_version() >= COMPRESSED_SINCE) return COMPRESSED;
    if (sqlite_version() >= TRIGRAM_TOKENIZER_SINCE &&
        sqlite3_compileoption_used("ENABLE_FTS5") != 0) {
        return CODE_CHUNKS;
    }
    return std::nullopt;
}

void create_tables(Database& db, Layout layout) {
    db.execute_script(std::string(layout == COMPRESSED ? COMPRESSED_DDL : CODE_CHUNKS_DDL));
    if (layout == COMPRESSED) create_unchunked_files(db);
}

}  // namespace codetext::chunk_store
