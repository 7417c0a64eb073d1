#include "storage/chunk_store/compressed/unchunked_files.hpp"

#include <fmt/format.h>

#include <string>

#include "storage/chunk_store/layout.hpp"

namespace codetext::chunk_store {

void create_unchunked_files(Database& db) { db.execute_script(std::string(UNCHUNKED_FILES_DDL)); }

std::int64_t unlisted_unchunked_count(const Database& db) {
    const std::string sql = fmt::format(
        "SELECT count(*) FROM files f WHERE f.text_on_disk = 0 AND NOT EXISTS (SELECT 1 FROM "
        "chunks c WHERE c.id = f.id * {}) AND f.id NOT IN (SELECT file_id FROM unchunked_files)",
        CHUNK_STRIDE);
    return db.fetchone(sql)->integer(0);
}

}  // namespace codetext::chunk_store
