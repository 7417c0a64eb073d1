#include "storage/code_text/chunking.hpp"

#include <gtest/gtest.h>

#include "storage/temp_index.hpp"
#include "utils/unicode.hpp"

namespace codetext::code_text {
namespace {

using Strings = std::vector<std::string>;

Strings chunk_lines(const Chunk& chunk) {
    return test_support::strings(
        _chunk_lines(chunk.start_line, chunk.end_line, chunk_store::StoredText(chunk.text)));
}

TEST(chunking, cuts_and_measures) {
    const struct {
        std::string text;
        std::vector<Chunk> chunks;
        std::int64_t bytes;
    } CASES[] = {{"", {{1, 0, ""}}, 0},
                 {"\n", {{1, 1, ""}}, 0},
                 {"a\r\nb", {{1, 2, "a\nb"}}, 3},
                 {"\u20ac\n", {{1, 1, "\u20ac"}}, 3},
                 {"\xED\xA0\x80", {{1, 1, "\xED\xA0\x80"}}, 1},  // a lone surrogate
                 {"\xED\x9F\xBF", {{1, 1, "\xED\x9F\xBF"}}, 3},  // U+D7FF is none
                 {std::string(65, '\n'), {{1, 64, std::string(63, '\n')}, {65, 65, ""}}, 64}};
    for (const auto& [text, chunks, bytes] : CASES) {
        EXPECT_EQ(code_chunks(text), chunks) << ::testing::PrintToString(text);
        EXPECT_EQ(stored_text_bytes(text), bytes) << ::testing::PrintToString(text);
    }
    // Only line feeds end a line of a chunk.
    EXPECT_EQ(chunk_lines({1, 64, "a\rb\n"}), (Strings{"a\rb", ""}));
    EXPECT_EQ(chunk_lines({5, 5, ""}), Strings{""});
    EXPECT_EQ(chunk_lines({3, 2, "x"}), Strings{});
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
            const Strings lines = chunk_lines(chunk);
            EXPECT_EQ(std::ssize(lines), chunk.end_line - chunk.start_line + 1);
            EXPECT_LE(lines.size(), 64u);
            read.insert(read.end(), lines.begin(), lines.end());
            bytes += std::ssize(chunk.text) + 1;
            next = chunk.end_line + 1;
        }
        ASSERT_EQ(read, reference::reference_lines(text)) << ::testing::PrintToString(text);
        EXPECT_EQ(stored_text_bytes(text), bytes);
    }
}

}  // namespace
}  // namespace codetext::code_text
