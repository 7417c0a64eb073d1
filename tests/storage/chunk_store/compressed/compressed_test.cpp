// The worked examples of docs/FORMAT.md, byte by byte; posting lists, trigrams and the list of
// unchunked files beside their plain forms.

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include <set>

#include "storage/chunk_store/compressed/packed_frame.hpp"
#include "storage/chunk_store/compressed/trigram_shard.hpp"
#include "storage/chunk_store/compressed/trigrams.hpp"
#include "storage/chunk_store/compressed/unchunked_files.hpp"
#include "storage/temp_index.hpp"
#include "utils/unicode.hpp"

namespace codetext::chunk_store {
namespace {

std::string hex(std::string_view bytes) {
    const std::vector<unsigned char> numbers(bytes.begin(), bytes.end());
    return fmt::format("{:02x}", fmt::join(numbers, ""));
}

TEST(format, of_a_frame_and_of_posting_lists) {
    const std::vector<Chunk> chunks = {{1, 2, "int a;\nint b;"}};
    std::string frame = FramePacker(nullptr).pack(chunks, true);
    seal_frame(frame, 7340032);
    EXPECT_EQ(hex(frame), "030100020daf6c8bf0bd25f1b7d0696e7420613b0a696e7420623b");
    std::string bytes, more;
    EXPECT_EQ(append_postings(std::vector<std::uint16_t>{0, 1, 3}, bytes), 0);
    EXPECT_EQ(append_postings(std::vector<std::uint16_t>{2, 9, 40}, more), 3);
    EXPECT_EQ(hex(bytes) + " " + hex(more), "0b d568");
}

TEST(format, of_a_shard) {
    const test_support::TempIndex index(COMPRESSED);
    Database db(index.db.db_path(), Access::READ_WRITE);
    ShardWriter writer(db);
    for (std::int64_t chunk = 0; chunk < 41; ++chunk) {
        const bool listed = chunk == 2 || chunk == 9 || chunk == 40;
        writer.add(7, chunk, std::vector<std::uint32_t>(listed ? 1 : 0, 0x696e74));
    }
    writer.flush();
    const Row shard = db.fetchone("SELECT id, chunks, files FROM trigram_segments").value();
    EXPECT_EQ(shard.integer(0), 1);
    EXPECT_EQ(shard.integer(1), 41);
    EXPECT_EQ(hex(shard.blob(2)), "54ce7e4123e810730e0029");
    const Row block = db.fetchone("SELECT id, body FROM trigram_lists").value();
    EXPECT_EQ(block.integer(0), 33554431);
    EXPECT_EQ(hex(block.blob(1)), "bf7ba6d7c3f74864000106f4dca5033302d568");

    for (std::int64_t chunk = 0; chunk <= SHARD_CHUNKS; ++chunk) writer.add(8, chunk, {});
    writer.flush();
    const std::string sizes = "SELECT group_concat(chunks) FROM trigram_segments";
    EXPECT_EQ(db.fetchone(sizes)->text(0), "41,32768,1");
}

using Numbers = std::vector<std::uint16_t>;

// Also, a list that is cut is noticed.
void expect_round_trip(const Numbers& numbers) {
    std::string bytes = "before";
    const std::uint8_t parameter = append_postings(numbers, bytes);
    const std::string_view body = std::string_view(bytes).substr(6);
    const auto count = static_cast<std::uint32_t>(numbers.size());
    Numbers read;
    ASSERT_TRUE(read_postings({count, parameter, body}, read));
    ASSERT_EQ(read, numbers);
    for (std::size_t left = 0; left + 1 < std::min<std::size_t>(body.size(), 900); ++left) {
        ASSERT_FALSE(read_postings({count, parameter, body.substr(0, left)}, read)) << left;
    }
}

TEST(posting_list, reads_back_every_small_list_and_lists_of_every_density) {
    for (unsigned set = 1; set < 1u << 14; ++set) {
        Numbers numbers;
        for (std::uint16_t i = 0; i < 14; ++i) {
            if (set >> i & 1) numbers.push_back(i);
        }
        expect_round_trip(numbers);
    }
    std::mt19937 random(7);
    for (const double density : {1.0, 0.9, 0.5, 0.1, 0.01, 0.001, 0.0001}) {
        SCOPED_TRACE(density);
        Numbers numbers = {0};
        for (std::uint16_t i = 1; i < 65535; ++i) {
            // Clusters, as files make them, with gaps far above the mean.
            const bool listed = i / 4096 % 3 != 1 && std::bernoulli_distribution(density)(random);
            if (listed) numbers.push_back(i);
        }
        numbers.push_back(65535);
        expect_round_trip(numbers);
    }
}

using Codes = std::vector<std::uint32_t>;

void add_trigrams(const std::string& text, std::set<std::uint32_t>& all) {
    for (std::size_t i = 0; i + 3 <= text.size(); ++i) {
        std::uint32_t code = 0;
        for (const char c : text.substr(i, 3)) {
            code = code << 8 | static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
        }
        if (text.substr(i, 3).find('\n') == std::string::npos) all.insert(code);
    }
}

TEST(trigrams, collector_finds_each_once) {
    std::mt19937 random(11);
    TrigramCollector collector;
    for (int round = 0; round < 2000; ++round) {
        const std::string text = test_support::nasty_text(random, static_cast<int>(random() % 40));
        Codes found = {42};
        const std::uint32_t count = collector.append(text, found);
        std::set<std::uint32_t> expected;
        add_trigrams(text, expected);
        if (text.find("\u212a") != text.npos || text.find("\u0130") != text.npos) {
            add_trigrams(unicode::lower(text), expected);
        }
        ASSERT_EQ(found.size(), count + 1u);
        std::sort(found.begin() + 1, found.end());
        ASSERT_EQ(Codes(found.begin() + 1, found.end()), Codes(expected.begin(), expected.end()))
            << text;
    }
}

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
        "INSERT OR REPLACE INTO {4} VALUES ({0}, 'p{1}', '', 0, 0, 0, {2})",
        "INSERT OR IGNORE INTO {4} VALUES ({0}, 'p{1}', '', 0, 0, 0, {2})",
        "INSERT OR REPLACE INTO {4} VALUES ({0}, 'p{1}', '', 0, 0, 0, 0)",
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
        const std::string sql = fmt::format(
            fmt::runtime(changes[number(12)]), number(12) + 1, number(12) + 1, number(3),
            CHUNK_STRIDE, "files(id, path, language, size, mtime_ns, content_hash, text_on_disk)");
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
