#include "storage/chunk_store/compressed/unchunked_files.hpp"

#include <fmt/format.h>

#include <string>

#include "storage/chunk_store/layout.hpp"

namespace codetext::chunk_store {

namespace {

// {0} is the stride of row ids. A file leaves the table when it gets its first chunk, and when it
// is deleted. ON CONFLICT, since a trigger inherits the OR REPLACE of the statement that caused it.
// Not UPDATE OF id: an update of the row id under another name, such as `rowid`, would escape it.
constexpr std::string_view DDL = R"(
CREATE TABLE unchunked_files(file_id INTEGER PRIMARY KEY);
INSERT INTO unchunked_files SELECT id FROM files WHERE text_on_disk = 0;
CREATE TRIGGER unchunked_new_file AFTER INSERT ON files WHEN NEW.text_on_disk = 0 BEGIN
    INSERT INTO unchunked_files VALUES (NEW.id) ON CONFLICT DO NOTHING;
END;
CREATE TRIGGER unchunked_changed_file AFTER UPDATE ON files
WHEN OLD.id <> NEW.id OR OLD.text_on_disk <> NEW.text_on_disk BEGIN
    DELETE FROM unchunked_files WHERE file_id = OLD.id;
    INSERT INTO unchunked_files SELECT NEW.id WHERE NEW.text_on_disk = 0 ON CONFLICT DO NOTHING;
END;
CREATE TRIGGER unchunked_gone_file AFTER DELETE ON files BEGIN
    DELETE FROM unchunked_files WHERE file_id = OLD.id;
END;
CREATE TRIGGER unchunked_new_chunk AFTER INSERT ON chunks WHEN NEW.id % {0} = 0 BEGIN
    DELETE FROM unchunked_files WHERE file_id = NEW.id / {0};
END;
CREATE TRIGGER unchunked_changed_chunk AFTER UPDATE ON chunks
WHEN OLD.id <> NEW.id AND OLD.id % {0} = 0 BEGIN
    INSERT INTO unchunked_files SELECT id FROM files WHERE id = OLD.id / {0} AND text_on_disk = 0
    ON CONFLICT DO NOTHING;
END;
CREATE TRIGGER unchunked_gone_chunk AFTER DELETE ON chunks WHEN OLD.id % {0} = 0 BEGIN
    INSERT INTO unchunked_files SELECT id FROM files WHERE id = OLD.id / {0} AND text_on_disk = 0
    ON CONFLICT DO NOTHING;
END;
)";

}  // namespace

void create_unchunked_files(Database& db) { db.execute_script(fmt::format(DDL, CHUNK_STRIDE)); }

std::int64_t unlisted_unchunked_count(const Database& db) {
    const std::string sql = fmt::format(
        "SELECT count(*) FROM files f WHERE f.text_on_disk = 0 AND NOT EXISTS (SELECT 1 FROM "
        "chunks c WHERE c.id = f.id * {}) AND f.id NOT IN (SELECT file_id FROM unchunked_files)",
        CHUNK_STRIDE);
    return db.fetchone(sql)->integer(0);
}

}  // namespace codetext::chunk_store
