#include "storage/code_text/chunking.hpp"

#include <gtest/gtest.h>

#include <random>

#include "storage/code_text/chunk_rows.hpp"
#include "storage/temp_index.hpp"
#include "utils/reference.hpp"
#include "utils/unicode.hpp"

namespace codetext::code_text {
namespace {

using Strings = std::vector<std::string>;

TEST(chunking, cuts_and_measures) {
    struct Case {
        std::string text;
        std::vector<Chunk> chunks;
        std::int64_t bytes;
    };
    for (const Case& c : std::vector<Case>{
             {"", {{1, 0, ""}}, 0},
             {"\n", {{1, 1, ""}}, 0},
             {"a\n", {{1, 1, "a"}}, 1},
             {"a\r\nb", {{1, 2, "a\nb"}}, 3},
             {"a\n\nb\n", {{1, 3, "a\n\nb"}}, 4},
             {"a\n\rb", {{1, 3, "a\n\nb"}}, 4},
             {"a\fb", {{1, 2, "a\nb"}}, 3},
             {"a\u2028b", {{1, 2, "a\nb"}}, 3},
             {"\u20ac\n", {{1, 1, "\u20ac"}}, 3},
             {"\U0001F600", {{1, 1, "\U0001F600"}}, 4},
             {"\xED\xA0\x80", {{1, 1, "\xED\xA0\x80"}}, 1},  // a lone surrogate
             {"\xED\x9F\xBF", {{1, 1, "\xED\x9F\xBF"}}, 3},  // U+D7FF is none
             {std::string(65, '\n'), {{1, 64, std::string(63, '\n')}, {65, 65, ""}}, 64},
         }) {
        EXPECT_EQ(code_chunks(c.text), c.chunks) << ::testing::PrintToString(c.text);
        EXPECT_EQ(stored_text_bytes(c.text), c.bytes) << ::testing::PrintToString(c.text);
    }
}

TEST(chunking, reads_back_the_lines_of_any_text) {
    std::mt19937 random(5);
    for (int round = 0; round < 3000; ++round) {
        const std::string text = unicode::decode(test_support::nasty_text(
            random, static_cast<int>(random() % (round % 10 == 0 ? 700 : 12))));
        Strings read;
        std::int64_t next = 1, bytes = -1;
        for (const Chunk& chunk : code_chunks(text)) {
            EXPECT_EQ(chunk.start_line, next);
            const Strings lines = test_support::strings(
                _chunk_lines(chunk.start_line, chunk.end_line, chunk_store::ChunkText(chunk.text)));
            EXPECT_EQ(static_cast<std::int64_t>(lines.size()),
                      chunk.end_line - chunk.start_line + 1);
            EXPECT_LE(lines.size(), 64u);
            read.insert(read.end(), lines.begin(), lines.end());
            bytes += static_cast<std::int64_t>(chunk.text.size()) + 1;
            next = chunk.end_line + 1;
        }
        ASSERT_EQ(read, reference::reference_lines(text)) << ::testing::PrintToString(text);
        EXPECT_EQ(stored_text_bytes(text), bytes);
    }
}

TEST(chunking, chunk_lines_looks_at_nothing_but_line_feeds) {
    struct Case {
        std::int64_t start, end;
        std::string text;
        Strings lines;
    };
    for (const Case& c : std::vector<Case>{{1, 0, "", {}},
                                           {3, 2, "x", {}},
                                           {5, 5, "", {""}},
                                           {1, 3, "a\n\nb", {"a", "", "b"}},
                                           {1, 64, "a", {"a"}},
                                           {1, 1, "a\rb", {"a\rb"}},
                                           {1, 2, "a\n", {"a", ""}}}) {
        const Lines lines = _chunk_lines(c.start, c.end, chunk_store::ChunkText(c.text));
        EXPECT_EQ(test_support::strings(lines), c.lines);
        EXPECT_EQ(lines.size(), c.lines.size());
        for (std::size_t i = 0; i < c.lines.size(); ++i) EXPECT_EQ(lines[i], c.lines[i]);
        EXPECT_THROW(lines[c.lines.size()], std::out_of_range);
    }
}

TEST(chunk_rows, large_data_rule) {
    struct Case {
        std::string language;
        std::int64_t bytes;
        bool on_disk;
    };
    for (const Case& c : std::vector<Case>{{"json", 0, false},
                                           {"json", 32768, false},
                                           {"json", 32769, true},
                                           {"JSON", 1 << 30, false},
                                           {"yaml", 1 << 30, false}}) {
        EXPECT_EQ(text_kept_on_disk(c.language, c.bytes), c.on_disk) << c.language << c.bytes;
    }
    // CR LF counts one byte and a final boundary none: larger on disk than the rule's measure.
    std::string crlf;
    for (int i = 0; i < 100; ++i) crlf += std::string(326, 'x') + "\r\n";
    EXPECT_FALSE(text_kept_on_disk("json", stored_text_bytes(crlf)));
}

}  // namespace
}  // namespace codetext::code_text
