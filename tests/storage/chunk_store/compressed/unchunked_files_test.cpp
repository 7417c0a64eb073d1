#include "storage/chunk_store/compressed/unchunked_files.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "storage/temp_index.hpp"

namespace codetext::chunk_store {
namespace {

// Whoever writes, and however: the table must lead to every file without its first chunk.
TEST(UnchunkedFiles, lead_to_what_looking_at_every_file_finds) {
    if (default_layout() != COMPRESSED) GTEST_SKIP() << "the compressed layout needs SQLite 3.43";
    test_support::TempIndex index(COMPRESSED);
    const auto ids = [&](std::string_view from) {
        const std::string sql = fmt::format(
            "SELECT group_concat(id) FROM (SELECT f.id FROM {} WHERE f.text_on_disk = 0 AND NOT "
            "EXISTS (SELECT 1 FROM chunks c WHERE c.id = f.id * {}) ORDER BY f.id)",
            from, CHUNK_STRIDE);
        const Row row = index.db.fetchone(sql).value();
        return row.is_null(0) ? "" : row.text(0);
    };
    const std::vector<std::string> changes = {
        "INSERT OR REPLACE INTO files(id, path, language, size, mtime_ns, content_hash, "
        "text_on_disk) VALUES ({0}, 'p{1}', '', 0, 0, 0, {2})",
        "INSERT OR IGNORE INTO files(id, path, language, size, mtime_ns, content_hash, "
        "text_on_disk) VALUES ({0}, 'p{1}', '', 0, 0, 0, {2})",
        "INSERT OR REPLACE INTO files(id, path, language, size, mtime_ns, content_hash, "
        "text_on_disk) VALUES ({0}, 'p{1}', '', 0, 0, 0, 0)",
        "UPDATE files SET text_on_disk = {2} WHERE id = {0}",
        "UPDATE OR REPLACE files SET id = {1} WHERE id = {0}",
        "DELETE FROM files WHERE id = {0}",
        "INSERT OR REPLACE INTO chunks VALUES ({0} * {3}, 1, 1), ({0} * {3} + 1, 2, 2)",
        "INSERT OR REPLACE INTO chunks VALUES ({0} * {3}, 1, 1), ({1} * {3}, 1, 1)",
        "UPDATE OR REPLACE chunks SET id = id + {2} WHERE id = {0} * {3}",
        "UPDATE OR REPLACE chunks SET rowid = {1} * {3} WHERE id = {0} * {3}",
        "DELETE FROM chunks WHERE id >= {0} * {3} AND id < ({0} + 1) * {3}",
        "DELETE FROM chunks WHERE id < {0} * {3} / 4",
    };
    std::mt19937 random(7);
    const auto number = [&](unsigned below) { return random() % below; };
    int some = 0;
    for (int i = 0; i < 3000; ++i) {
        const std::string sql = fmt::format(fmt::runtime(changes[number(12)]), number(12) + 1,
                                            number(12) + 1, number(3), CHUNK_STRIDE);
        index.db.execute_script(number(8) == 0 ? "BEGIN; " + sql + "; ROLLBACK" : sql);
        const std::string every = ids("files f");
        ASSERT_EQ(ids(PERHAPS_UNCHUNKED_FILES), every) << sql;
        ASSERT_EQ(unlisted_unchunked_count(index.db), 0) << sql;
        some += every.empty() ? 0 : 1;
    }
    EXPECT_GT(some, 1000) << "too few of the changes leave a file without chunks";
}

}  // namespace
}  // namespace codetext::chunk_store
