#include "storage/chunk_store.hpp"

#include <gmock/gmock.h>

#include <map>

#include "storage/chunk_store/compressed/byte_codec.hpp"
#include "storage/chunk_store/compressed/packed_frame.hpp"
#include "storage/temp_index.hpp"
#include "storage/verify.hpp"
#include "utils/unicode.hpp"

namespace codetext::chunk_store {
namespace {

using test_support::numbered_lines;

/// What a store should hold, kept the plain way.
using Model = std::map<std::int64_t, std::vector<Chunk>>;

class ChunkStore : public ::testing::Test {
  protected:
    void SetUp() override {
        if (index.layout != COMPRESSED) GTEST_SKIP() << "this SQLite has the other layout";
    }
    std::vector<Chunk> put(std::int64_t file_id, const std::string& text) {
        index.put(file_id, "f" + std::to_string(file_id), text);
        return code_text::code_chunks(text);
    }
    std::vector<Chunk> read_back(std::int64_t file_id) const {
        std::vector<Chunk> chunks;
        const auto [first, end] = code_text::file_rowids(file_id);
        for (const ChunkRow& row : file_rows(index.db, first, end)) {
            chunks.push_back({row.start_line, row.end_line, std::string(row.text.view())});
        }
        return chunks;
    }
    std::string frame() const {
        return index.db.fetchone("SELECT body FROM chunk_frames")->blob(0);
    }
    /// Calls `check` with the one value of a column cut, and with a bit of it
    /// flipped, at every `step`th bit of the first `bytes`.
    template <typename Check>
    void damage(const std::string& table, const std::string& column, std::size_t step,
                std::size_t bytes, Check check) {
        const std::string whole = index.db.fetchone("SELECT " + column + " FROM " + table)->blob(0);
        for (std::size_t bit = 0; bit <= std::min(whole.size(), bytes) * 8; bit += step) {
            SCOPED_TRACE(table + " from bit " + std::to_string(bit));
            std::string flipped = whole;
            if (bit / 8 < whole.size()) {
                flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
            }
            for (const std::string& damaged : {whole.substr(0, bit / 8), flipped}) {
                index.db.execute("UPDATE " + table + " SET " + column + " = ?",
                                 {BlobView{damaged}});
                check(damaged == whole);
            }
        }
    }
    /// Every chunk of the model that holds the needle must be among the candidates.
    void expect_superset(const Model& model, const std::string& needle) const {
        const Candidates found = candidates(index.db, *trigram_query(needle));
        for (const auto& [file_id, chunks] : model) {
            std::int64_t rowid = file_id * CHUNK_STRIDE;
            for (const Chunk& chunk : chunks) {
                const bool named = std::ranges::binary_search(found.rowids(), rowid++);
                ASSERT_TRUE(named || chunk.text.find(needle) == chunk.text.npos) << needle;
            }
        }
    }

    test_support::TempIndex index{*default_layout()};
};

TEST_F(ChunkStore, agrees_with_a_plain_store_through_edits) {
    std::mt19937 random(20261122);
    Model model;
    for (int round = 0; round < 60; ++round) {
        if (round % 20 == 0) {  // one reader meets the frames of several dictionaries
            index.db.execute("INSERT INTO chunk_dictionaries(body) VALUES (?)",
                             {BlobView{numbered_lines(700 + round)}});
        }
        const auto file_id = static_cast<std::int64_t>(random() % 12);
        if (random() % 4 == 0) {
            index.drop(file_id);
            model.erase(file_id);
        } else {
            std::string text;
            for (auto parts = random() % 4; parts > 0; --parts) {
                text += test_support::nasty_text(random, 60) + numbered_lines(int(random() % 700));
            }
            model[file_id] = put(file_id, unicode::decode(text));
        }
        for (const auto& [id, chunks] : model) ASSERT_EQ(read_back(id), chunks);
    }
    for (const char* needle : {"foo", "line 64", "ine 700", "int main", "x_y", "no such"}) {
        expect_superset(model, needle);
    }
    EXPECT_EQ(schema::verify(index.db), std::vector<std::string>{});
    // Sixty runs, and yet few segments to ask.
    EXPECT_LT(index.db.fetchone("SELECT count(*) FROM trigram_segments")->integer(0), 30);
}

TEST_F(ChunkStore, notices_a_damaged_frame) {
    const std::vector<Chunk> chunks = put(1, numbered_lines(200, "some text here "));
    damage("chunk_frames", "body", 7, std::string::npos / 8, [&](bool whole) {
        try {
            EXPECT_EQ(read_back(1), chunks);
        } catch (const DamagedChunk& error) {
            EXPECT_FALSE(whole);
            EXPECT_NE(std::string(error.what()).find(std::to_string(CHUNK_STRIDE)),
                      std::string::npos);
            EXPECT_NE(schema::verify(index.db), std::vector<std::string>{});
        }
    });
}

TEST_F(ChunkStore, notices_every_flipped_bit_of_the_trigram_index) {
    // The lists themselves, after the head of their block, are left to the pages'
    // checksums.
    for (const auto& [table, column, bytes] :
         {std::tuple("trigram_lists", "body", HASH_BYTES + 2), {"trigram_segments", "files", 99}}) {
        put(1, "needle\n");
        damage(table, column, 1, bytes, [&](bool whole) {
            if (whole) return;
            EXPECT_THROW(candidates(index.db, *trigram_query("needle")), DamagedChunk);
        });
    }
}

TEST_F(ChunkStore, notices_rows_that_were_lost_or_moved) {
    std::mt19937 random(5);
    std::vector<code_text::FileRow> files;
    for (std::int64_t id = 1; id <= 3; ++id) {
        std::string text = numbered_lines(600, "needle ");
        for (int i = 0; i < 9000; ++i) text += static_cast<char>('!' + random() % 94);
        files.push_back(index.put(id, "f" + std::to_string(id), text));
    }
    ASSERT_GT(index.db.fetchone("SELECT count(*) FROM trigram_lists")->integer(0), 6);
    const auto search = [&](const std::optional<std::string>& needle) {
        auto choice = code_text::text_source(index.db, files, needle, true, COMPRESSED);
        std::string all;
        for (const code_text::FileRow& file : files) {
            for (const auto& segment : code_text::segments(choice.source, file.file_id, file.path))
                all += segment.lines.text();
        }
        return all;
    };
    const std::string all = search(std::nullopt), found = search("needle 5");
    int failures = 0;
    const auto swapped = [](const char* table, const char* column) {
        return fmt::format(
            "UPDATE {0} SET {1} = (SELECT o.{1} FROM {0} o WHERE o.id <> {0}.id "
            "ORDER BY o.id > {0}.id DESC, o.id LIMIT 1)",
            table, column);
    };
    for (const std::string& change : reference::words(
             "DELETE FROM trigram_segments WHERE id = 2;DELETE FROM trigram_lists;"
             "UPDATE trigram_segments SET chunks = chunks + 1 WHERE id = 1;DELETE FROM "
             "chunk_frames;"
             "DELETE FROM trigram_lists WHERE id IN (SELECT max(id) FROM trigram_lists);"
             "DELETE FROM chunk_frames WHERE id = 2 * 1048576 + 8;"
             "DELETE FROM meta WHERE key = 'trigram_shards';" +
                 swapped("trigram_segments", "files") + ";" + swapped("trigram_lists", "body") +
                 ";" + swapped("chunk_frames", "body"),
             ';')) {
        SCOPED_TRACE(change);
        Transaction transaction(index.db, Transaction::Kind::WRITE);
        index.db.execute(change);
        EXPECT_NE(schema::verify(index.db), std::vector<std::string>{});
        for (const auto& needle : {std::optional<std::string>("needle 5"), {}}) {
            try {
                EXPECT_EQ(search(needle), needle ? found : all);
            } catch (const DamagedChunk&) {
                ++failures;
            }
        }
    }
    EXPECT_EQ(failures, 9 + 3) << "all but the loss of a block that nobody asked for";
    EXPECT_EQ(search(std::nullopt), all);
    // A writer does not take what is left for all that there is.
    index.db.execute("DELETE FROM trigram_segments WHERE id = 2");
    EXPECT_THROW(index.put(4, "f4", "text\n"), DamagedChunk);
}

TEST_F(ChunkStore, verify_tells_of_every_damage_that_it_meets) {
    put(1, numbered_lines(100));
    put(2, numbered_lines(100));
    // A change of the index, and what verify says of it.
    const std::pair<std::string, std::string> CASES[] = {
        {"UPDATE chunk_frames SET body = substr(body, 1, length(body) - 9) WHERE id = 2097152",
         "f2: damaged chunk frame"},
        {"UPDATE trigram_lists SET body = substr(body, 1, length(body) / 2)",
         "the trigram index: damaged trigram block"},
        {"DELETE FROM trigram_segments WHERE id = 1",
         "the trigram index: damaged trigram index: its shards"},
        {"DELETE FROM files WHERE id = 2", "2 chunks belong to no file"},
        {"DELETE FROM chunks WHERE id = 2097152; DELETE FROM unchunked_files",
         "1 files without chunks are not listed"},
        {"UPDATE files SET text_on_disk = 1 WHERE id = 2", "f2: kept on disk, and has chunks"},
        {"DELETE FROM chunk_frames WHERE id = 2097152",
         "f2: damaged index: chunk row 2097152 has no frame"},
        {"DELETE FROM chunks WHERE id = 2097153", "f2: its chunk rows and frames differ"},
        {"UPDATE chunks SET end_line = 101 WHERE id = 2097153", "f2: its chunk rows and frames"},
        {"UPDATE chunk_frames SET id = id + 8 WHERE id = 2097152", "f2: damaged chunk frame"}};
    for (const auto& [change, problem] : CASES) {
        index.db.execute_script("BEGIN; " + change);
        EXPECT_THAT(schema::verify(index.db), testing::Contains(testing::StartsWith(problem)))
            << change;
        index.db.execute_script("ROLLBACK");
    }
}

TEST_F(ChunkStore, refuses_too_many_chunks_and_chunks_that_do_not_follow_each_other) {
    Packer packer(COMPRESSED, nullptr);
    for (const std::int64_t count : {std::int64_t{0}, MAX_FILE_CHUNKS + 1}) {
        EXPECT_THROW(packer.pack(std::vector<Chunk>(count)), std::length_error) << count;
    }
    EXPECT_THROW(packer.pack(std::vector<Chunk>(MAX_FILE_CHUNKS)), std::invalid_argument);
    EXPECT_THROW(packer.pack(std::vector<Chunk>{{1, 64, "a"}, {66, 66, "b"}}),
                 std::invalid_argument);
}

}  // namespace
}  // namespace codetext::chunk_store
