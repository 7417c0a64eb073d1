#include "storage/chunk_store.hpp"

#include <gtest/gtest.h>

#include <map>

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
    /// Calls `check` with the one value of a column cut, and with a bit of it flipped, at every
    /// `step`th bit.
    template <typename Check>
    void damage(const std::string& table, const std::string& column, std::size_t step,
                Check check) {
        const std::string whole = index.db.fetchone("SELECT " + column + " FROM " + table)->blob(0);
        for (std::size_t bit = 0; bit <= whole.size() * 8; bit += step) {
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
        const auto query = trigram_query(needle);
        std::vector<std::int64_t> searched;
        for (const auto& [file_id, chunks] : model) searched.push_back(file_id);
        std::map<std::int64_t, ChunkRow> rows;
        for (const ChunkRow& row : matching_rows(index.db, query, searched)) {
            rows.emplace(row.rowid, row);
        }
        for (const auto& [file_id, chunks] : model) {
            for (std::size_t i = 0; i < chunks.size(); ++i) {
                if (query && chunks[i].text.find(needle) == std::string::npos) continue;
                const auto row = rows.find(file_id * CHUNK_STRIDE + static_cast<std::int64_t>(i));
                ASSERT_NE(row, rows.end()) << needle << " in file " << file_id << " chunk " << i;
                EXPECT_EQ(row->second.text.view(), chunks[i].text);
                EXPECT_EQ(row->second.start_line, chunks[i].start_line);
                EXPECT_EQ(row->second.last, i + 1 == chunks.size());
            }
        }
    }

    test_support::TempIndex index{*default_layout()};
};

TEST_F(ChunkStore, agrees_with_a_plain_store_through_edits) {
    std::mt19937 random(20261122);
    Model model;
    for (int round = 0; round < 60; ++round) {
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
    for (const char* needle : {"foo", "line 64", "ine 700", "int main", "x_y", "no such", "ab"}) {
        expect_superset(model, needle);
    }
    EXPECT_EQ(schema::verify(index.db), std::vector<std::string>{});
    // Sixty runs, and yet few segments to ask.
    EXPECT_LT(index.db.fetchone("SELECT count(*) FROM trigram_segments")->integer(0), 30);
}

TEST_F(ChunkStore, trains_a_dictionary_and_finds_it_again) {
    std::vector<std::string> samples;
    for (int i = 0; i < 1500; ++i) {
        samples.push_back(numbered_lines(64, "static int f" + std::to_string(i * 7919)));
    }
    EXPECT_EQ(train_dictionary(index.db, std::vector<std::string>{"too little"}), nullptr);
    ASSERT_NE(train_dictionary(index.db, samples), nullptr);
    const std::vector<Chunk> chunks = put(1, samples[3]);
    EXPECT_EQ(read_back(1), chunks);
    EXPECT_LT(frame().size(), samples[3].size() / 3);
    index.db.execute("DELETE FROM chunk_dictionaries");
    const Database fresh(index.db.db_path(), Access::READ_ONLY);
    EXPECT_THROW(file_rows(fresh, CHUNK_STRIDE, 2 * CHUNK_STRIDE), DamagedChunk);
}

TEST_F(ChunkStore, notices_a_damaged_frame) {
    const std::vector<Chunk> chunks = put(1, numbered_lines(200, "some text here "));
    damage("chunk_frames", "body", 7, [&](bool whole) {
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
    for (const auto& [table, column] :
         {std::pair("trigram_lists", "body"), {"trigram_segments", "files"}}) {
        put(1, "needle\n");
        damage(table, column, 1, [&](bool whole) {
            if (whole) return;
            EXPECT_THROW(candidates(index.db, *trigram_query("needle")), DamagedChunk);
        });
    }
}

TEST_F(ChunkStore, notices_damage_that_hides_a_chunk) {
    constexpr std::size_t HEAD = 0, FIRST_LINES = 3;
    const struct {
        const char* what;
        int lines;
        std::size_t offset_bytes;
        char byte;
    } CASES[] = {{"64 lines become none", 64, FIRST_LINES, 0},
                 {"one empty line becomes none", 0, FIRST_LINES, 0},
                 {"seven chunks become three", 448, HEAD, 7}};
    for (const auto& [what, lines, offset_bytes, byte] : CASES) {
        const std::string text = lines == 0 ? "\n" : numbered_lines(lines, "needle ");
        const std::vector<code_text::FileRow> files = {index.put(1, "f", text)};
        std::string body = frame();
        body[offset_bytes] = byte;
        index.db.execute("UPDATE chunk_frames SET body = ?", {BlobView{body}});
        const std::string needle = lines == 0 ? "" : "needle " + std::to_string(lines);
        auto choice = code_text::text_source(index.db, files, needle, true, COMPRESSED);
        EXPECT_THROW(code_text::segments(choice.source, 1, "f"), DamagedChunk) << what;
    }
}

TEST_F(ChunkStore, verify_tells_of_every_damage_that_it_meets) {
    put(1, numbered_lines(100));
    put(2, numbered_lines(100));
    index.db.execute(
        "UPDATE chunk_frames SET body = substr(body, 1, length(body) - 9) WHERE id = ?",
        {2 * CHUNK_STRIDE});
    index.db.execute("UPDATE trigram_lists SET body = substr(body, 1, length(body) / 2)");
    const std::vector<std::string> problems = schema::verify(index.db);
    ASSERT_EQ(problems.size(), 2u) << ::testing::PrintToString(problems);
    EXPECT_EQ(problems[0].rfind("f2: damaged chunk frame", 0), 0u) << problems[0];
    EXPECT_EQ(problems[1].rfind("damaged trigram block", 0), 0u) << problems[1];
}

TEST_F(ChunkStore, refuses_chunks_that_do_not_follow_each_other) {
    Packer packer(COMPRESSED, nullptr);
    EXPECT_THROW(packer.pack(std::vector<Chunk>{}), std::length_error);
    EXPECT_THROW(packer.pack(std::vector<Chunk>{{1, 64, "a"}, {66, 66, "b"}}),
                 std::invalid_argument);
}

}  // namespace
}  // namespace codetext::chunk_store
