#pragma once

// Which files lack their chunks. Every search asks that of the whole index. Looking for the first
// chunk of each file takes most of a rare needle's time in a large index, so the compressed layout
// keeps a table of the files that may lack theirs. Triggers keep it, whoever writes. The table only
// says where to look: a search still looks for the first chunk of each file in it.

#include <cstdint>
#include <string_view>

#include "storage/chunk_store/layout.hpp"
#include "storage/database/database.hpp"

namespace codetext::chunk_store {

// A file leaves the table when it gets its first chunk, and when it
// is deleted. ON CONFLICT, since a trigger inherits the OR REPLACE of the statement that caused it.
// Not UPDATE OF id: an update of the row id under another name, such as `rowid`, would escape it.
static_assert(CHUNK_STRIDE == 1048576, "the number in the statements below");
inline constexpr std::string_view UNCHUNKED_FILES_DDL = R"(
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
CREATE TRIGGER unchunked_new_chunk AFTER INSERT ON chunks WHEN NEW.id % 1048576 = 0 BEGIN
    DELETE FROM unchunked_files WHERE file_id = NEW.id / 1048576;
END;
CREATE TRIGGER unchunked_changed_chunk AFTER UPDATE ON chunks
WHEN OLD.id <> NEW.id AND OLD.id % 1048576 = 0 BEGIN
    INSERT INTO unchunked_files SELECT id FROM files WHERE id = OLD.id / 1048576 AND text_on_disk = 0
    ON CONFLICT DO NOTHING;
END;
CREATE TRIGGER unchunked_gone_chunk AFTER DELETE ON chunks WHEN OLD.id % 1048576 = 0 BEGIN
    INSERT INTO unchunked_files SELECT id FROM files WHERE id = OLD.id / 1048576 AND text_on_disk = 0
    ON CONFLICT DO NOTHING;
END;
)";

/// Creates the table and its triggers. REQUIRES: the tables `files` and `chunks`; no file has
/// chunks yet.
void create_unchunked_files(Database& db);

/// Names, with their columns as `f`, the rows of `files` that may lack their chunks. For use after
/// FROM.
inline constexpr std::string_view PERHAPS_UNCHUNKED_FILES =
    "unchunked_files u CROSS JOIN files f ON f.id = u.file_id";

/// Files without chunks that the table does not list: 0 in an index that is whole. Looks at every
/// file.
std::int64_t unlisted_unchunked_count(const Database& db);

}  // namespace codetext::chunk_store
