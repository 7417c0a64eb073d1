// An index that a stranger made, of pages that lead to one another without end. Tables and values
// that no run writes are in the transcripts hostile_index.txt and hostile_values.txt.

#include <gtest/gtest.h>

#include "cli/program.hpp"
#include "storage/database.hpp"
#include "storage/database/page_checksum.hpp"
#include "storage/schema.hpp"

namespace codetext::test {
namespace {

void put_number(std::string& bytes, std::size_t at, std::size_t size, std::uint64_t number) {
    for (; size > 0; --size, number >>= 8) bytes[at + size - 1] = static_cast<char>(number);
}

/// Gives the tree of a table five levels of pages, each of which names the next 200 times.
void make_endless(const TempFolder& repository, const std::string& table) {
    constexpr std::size_t LEVELS = 5, CHILDREN = 200, PAGE = 32768, CELL = 5, HEAD = 12;
    constexpr std::size_t CONTENT = PAGE - page_checksum::BYTES;
    const Database db(schema::index_path(repository.path()), Access::READ_WRITE);
    db.fetchone("PRAGMA journal_mode = DELETE");
    const std::string wanted = "SELECT rootpage FROM sqlite_master WHERE name = ?";
    const auto root = static_cast<std::size_t>(db.fetchone(wanted, {table})->integer(0) - 1) * PAGE;
    std::string bytes = repository.read(".codetext/index/code.db");
    const std::string leaf = bytes.substr(root, PAGE);
    std::size_t child = bytes.size() / PAGE + 1;
    bytes += leaf;
    for (std::size_t level = 1; level <= LEVELS; ++level) {
        std::string page(PAGE, '\0');
        page[0] = 5;  // an inner page of a table
        put_number(page, 3, 2, CHILDREN);
        put_number(page, 5, 2, CONTENT - CHILDREN * CELL);
        put_number(page, 8, 4, child);
        for (std::size_t i = 0; i < CHILDREN; ++i) {
            const std::size_t cell = CONTENT - (i + 1) * CELL;
            put_number(page, HEAD + 2 * i, 2, cell);
            put_number(page, cell, 4, child);
            page[cell + 4] = 1;
        }
        if (level == LEVELS) {
            bytes.replace(root, PAGE, page);
        } else {
            bytes += page;
            child = bytes.size() / PAGE;
        }
    }
    put_number(bytes, 28, 4, bytes.size() / PAGE);
    for (std::size_t at = 0; at < bytes.size(); at += PAGE) {
        page_checksum::put(std::span(bytes).subspan(at, PAGE),
                           static_cast<std::int64_t>(at / PAGE) + 1);
    }
    repository.write(".codetext/index/code.db", bytes);
}

TEST(hostile_index, a_table_without_end_ends) {
    if (IS_SANITIZED) GTEST_SKIP() << "it takes minutes";
    for (const std::string one : {"compressed files search code e --source=index",
                                  "compressed trigram_segments search code needle --source=index",
                                  "code_chunks code_chunks_docsize status"}) {
        SCOPED_TRACE(one);
        const Arguments parts = words(one);
        if (parts[0] != chunk_store::default_layout()->name && parts[0] == "compressed") continue;
        const TempFolder folder;
        folder.write("a.c", "int needle;\n");
        ASSERT_EQ(run({"index", "--layout", parts[0]}, folder.path()).status, 0);
        make_endless(folder, parts[1]);
        EXPECT_EQ(run({parts.begin() + 2, parts.end()}, folder.path()).status, 2);
        EXPECT_NE(run({"verify"}, folder.path()).status, 0);
    }
}

}  // namespace
}  // namespace codetext::test
