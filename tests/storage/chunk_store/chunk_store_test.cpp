#include "storage/chunk_store.hpp"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "storage/chunk_store/compressed/packed_frame.hpp"
#include "storage/temp_index.hpp"
#include "storage/verify.hpp"
#include "utils/unicode.hpp"

namespace codetext::chunk_store {
namespace {

using test_support::TempIndex;

/// What a store should hold, kept the plain way.
using Model = std::map<std::int64_t, std::vector<Chunk>>;

std::vector<Chunk> read_back(const TempIndex& index, std::int64_t file_id) {
    std::vector<Chunk> chunks;
    const auto [first, end] = code_text::file_rowids(file_id);
    for (const ChunkRow& row : file_rows(index.db, first, end)) {
        chunks.push_back({row.start_line, row.end_line, std::string(row.text.view())});
    }
    return chunks;
}

std::string random_file(std::mt19937& random) {
    std::string text;
    const int parts = static_cast<int>(random() % 4);
    for (int i = 0; i < parts; ++i) {
        text += test_support::nasty_text(random, 60) +
                test_support::numbered_lines(int(random() % 700));
    }
    return unicode::decode(text);
}

/// Every chunk of the model that holds all of the needle's trigrams must be among the candidates.
void expect_superset(const TempIndex& index, const Model& model, const std::string& needle) {
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

TEST(chunk_store, agrees_with_a_plain_store_through_edits) {
    if (default_layout() != COMPRESSED) GTEST_SKIP() << "this SQLite has the other layout";
    std::mt19937 random(20261122);
    TempIndex index(COMPRESSED);
    Model model;
    for (int round = 0; round < 60; ++round) {
        const auto file_id = static_cast<std::int64_t>(random() % 12);
        if (random() % 4 == 0) {
            index.drop(file_id);
            model.erase(file_id);
        } else {
            const std::string text = random_file(random);
            index.put(file_id, "f" + std::to_string(file_id), text);
            model[file_id] = code_text::code_chunks(text);
        }
        for (const auto& [id, chunks] : model) ASSERT_EQ(read_back(index, id), chunks);
    }
    for (const char* needle : {"foo", "line 64", "ine 700", "int main", "x_y", "no such", "ab"}) {
        expect_superset(index, model, needle);
    }
    EXPECT_EQ(schema::verify(index.db), std::vector<std::string>{});
    // Sixty runs, and yet few segments to ask.
    EXPECT_LT(index.db.fetchone("SELECT count(*) FROM trigram_segments")->integer(0), 30);
}

TEST(chunk_store, a_dictionary_is_trained_and_found_again) {
    if (default_layout() != COMPRESSED) GTEST_SKIP() << "this SQLite has the other layout";
    TempIndex index(COMPRESSED);
    std::vector<std::string> samples;
    for (int i = 0; i < 1500; ++i) {
        samples.push_back(
            test_support::numbered_lines(64, "static int f" + std::to_string(i * 7919)));
    }
    EXPECT_EQ(train_dictionary(index.db, std::vector<std::string>{"too little"}), nullptr);
    const DictionaryHandle dictionary = train_dictionary(index.db, samples);
    ASSERT_NE(dictionary, nullptr);
    index.put(1, "f", samples[3]);
    EXPECT_EQ(read_back(index, 1)[0].text + "\n", samples[3]);
    const std::string body = index.db.fetchone("SELECT body FROM chunk_frames")->blob(0);
    EXPECT_LT(body.size(), samples[3].size() / 3);
    index.db.execute("DELETE FROM chunk_dictionaries");
    const Database fresh(index.db.db_path(), Access::READ_ONLY);
    EXPECT_THROW(file_rows(fresh, CHUNK_STRIDE, 2 * CHUNK_STRIDE), DamagedChunk);
}

TEST(chunk_store, damage_is_noticed) {
    if (default_layout() != COMPRESSED) GTEST_SKIP() << "this SQLite has the other layout";
    TempIndex index(COMPRESSED);
    const std::string text = test_support::numbered_lines(200, "some text here ");
    index.put(1, "f", text);
    const std::vector<Chunk> chunks = code_text::code_chunks(text);
    const std::string body = index.db.fetchone("SELECT body FROM chunk_frames")->blob(0);
    const auto expect_whole_or_noticed = [&](const std::string& damaged) {
        index.db.execute("UPDATE chunk_frames SET body = ?", {BlobView{damaged}});
        try {
            EXPECT_EQ(read_back(index, 1), chunks);
        } catch (const DamagedChunk& error) {
            EXPECT_NE(std::string(error.what()).find(std::to_string(CHUNK_STRIDE)),
                      std::string::npos);
            EXPECT_NE(schema::verify(index.db), std::vector<std::string>{});
        }
    };
    expect_whole_or_noticed(body);
    for (std::size_t size = 0; size < body.size(); size += 7) {
        expect_whole_or_noticed(body.substr(0, size));
    }
    std::mt19937 random(3);
    for (std::size_t i = 0; i < body.size(); ++i) {
        std::string flipped = body;
        flipped[i] = static_cast<char>(flipped[i] ^ (1 << random() % 8));
        expect_whole_or_noticed(flipped);
    }
}

TEST(chunk_store, damage_that_hides_a_chunk_is_noticed) {
    if (default_layout() != COMPRESSED) GTEST_SKIP() << "this SQLite has the other layout";
    constexpr std::size_t HEAD = 0, FIRST_LINES = 3;
    struct Case {
        const char* what;
        int lines;
        std::size_t offset_bytes;
        char byte;
    };
    for (const Case& c : std::vector<Case>{{"64 lines become none", 64, FIRST_LINES, 0},
                                           {"one empty line becomes none", 0, FIRST_LINES, 0},
                                           {"seven chunks become three", 448, HEAD, 7}}) {
        TempIndex index(COMPRESSED);
        const std::string text =
            c.lines == 0 ? "\n" : test_support::numbered_lines(c.lines, "needle ");
        const std::vector<code_text::FileRow> files = {index.put(1, "f", text)};
        std::string body = index.db.fetchone("SELECT body FROM chunk_frames")->blob(0);
        body[c.offset_bytes] = c.byte;
        index.db.execute("UPDATE chunk_frames SET body = ?", {BlobView{body}});
        const std::string needle = c.lines == 0 ? "" : "needle " + std::to_string(c.lines);
        auto choice = code_text::text_source(index.db, files, needle, true, COMPRESSED);
        EXPECT_THROW(code_text::segments(choice.source, 1, "f"), DamagedChunk) << c.what;
    }
}

TEST(chunk_store, verify_tells_of_every_damage_that_it_meets) {
    if (default_layout() != COMPRESSED) GTEST_SKIP() << "this SQLite has the other layout";
    TempIndex index(COMPRESSED);
    index.put(1, "whole", test_support::numbered_lines(100));
    index.put(2, "damaged", test_support::numbered_lines(100));
    index.db.execute(
        "UPDATE chunk_frames SET body = substr(body, 1, length(body) - 9) WHERE id = ?",
        {2 * CHUNK_STRIDE});
    index.db.execute("UPDATE trigram_lists SET body = substr(body, 1, length(body) / 2)");
    const std::vector<std::string> problems = schema::verify(index.db);
    ASSERT_EQ(problems.size(), 2u) << ::testing::PrintToString(problems);
    EXPECT_EQ(problems[0].rfind("damaged: damaged chunk frame", 0), 0u) << problems[0];
    EXPECT_EQ(problems[1].rfind("damaged trigram block", 0), 0u) << problems[1];
}

TEST(chunk_store, a_flipped_bit_of_the_trigram_index_is_noticed) {
    if (default_layout() != COMPRESSED) GTEST_SKIP() << "this SQLite has the other layout";
    TempIndex index(COMPRESSED);
    index.put(1, "f", "needle\n");
    const TrigramQuery query = *trigram_query("needle");
    for (const std::string column : {"trigram_lists.body", "trigram_segments.files"}) {
        const std::string table = column.substr(0, column.find('.'));
        const std::string name = column.substr(column.find('.') + 1);
        const std::string body = index.db.fetchone("SELECT " + name + " FROM " + table)->blob(0);
        for (std::size_t bit = 0; bit < body.size() * 8; ++bit) {
            std::string flipped = body;
            flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
            index.db.execute("UPDATE " + table + " SET " + name + " = ?", {BlobView{flipped}});
            EXPECT_THROW(candidates(index.db, query), DamagedChunk) << column << " " << bit;
        }
        index.db.execute("UPDATE " + table + " SET " + name + " = ?", {BlobView{body}});
    }
}

TEST(chunk_store, refuses_chunks_that_do_not_follow_each_other) {
    Packer packer(COMPRESSED, nullptr);
    EXPECT_THROW(packer.pack(std::vector<Chunk>{}), std::length_error);
    EXPECT_THROW(packer.pack(std::vector<Chunk>{{1, 64, "a"}, {66, 66, "b"}}),
                 std::invalid_argument);
}

}  // namespace
}  // namespace codetext::chunk_store
