#include "storage/chunk_store/layout.hpp"

#include <fmt/format.h>
#include <sqlite3.h>

#include "storage/chunk_store/code_chunks/table.hpp"
#include "storage/chunk_store/compressed/tables.hpp"
#include "storage/chunk_store/compressed/unchunked_files.hpp"
#include "storage/chunk_store/writer.hpp"

namespace codetext::chunk_store {

namespace {

constexpr int COMPRESSED_SINCE = 3'043'000;
/// FTS5 has its tokenizer `trigram` from this version on.
constexpr int TRIGRAM_TOKENIZER_SINCE = 3'034'000;

bool has_table(const Database& db, std::string_view name) {
    return db.fetchone("SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?", {name})
        .has_value();
}

}  // namespace

void throw_file_id(std::int64_t file_id) {
    throw DatabaseError(DatabaseError::Kind::DAMAGED,
                        fmt::format("damaged index: no file has the id {}", file_id), "");
}

std::optional<Layout> layout(const Database& db) {
    if (has_table(db, COMPRESSED_TABLE)) return COMPRESSED;
    if (has_table(db, "code_chunks")) return CODE_CHUNKS;
    return std::nullopt;
}

std::vector<std::string_view> layout_ddl(Layout layout) {
    if (layout == COMPRESSED) return {compressed::TABLES_DDL, UNCHUNKED_FILES_DDL};
    return {CODE_CHUNKS_DDL, CODE_CHUNKS_SHADOW_DDL};
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
    if (layout == COMPRESSED) return compressed::create_tables(db);
    code_chunks::create_table(db);
}

}  // namespace codetext::chunk_store
