#include "storage/code_text/chunking.hpp"

#include <gtest/gtest.h>

#include <random>

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
            const Strings lines = test_support::strings(_chunk_lines(
                chunk.start_line, chunk.end_line, chunk_store::StoredText(chunk.text)));
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
    const auto chunk_lines = [](std::int64_t start, std::int64_t end, std::string text) {
        return test_support::strings(_chunk_lines(start, end, chunk_store::StoredText(text)));
    };
    EXPECT_EQ(chunk_lines(1, 64, "a\rb\n"), (Strings{"a\rb", ""}));
    EXPECT_EQ(chunk_lines(5, 5, ""), Strings{""});
    EXPECT_EQ(chunk_lines(3, 2, "x"), Strings{});
}

}  // namespace
}  // namespace codetext::code_text
