// The worked examples of docs/FORMAT.md, byte by byte.

#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include "storage/chunk_store/compressed/packed_frame.hpp"
#include "storage/chunk_store/compressed/trigram_shard.hpp"
#include "storage/temp_index.hpp"

namespace codetext::chunk_store {
namespace {

std::string hex(std::string_view bytes) {
    const std::vector<unsigned char> numbers(bytes.begin(), bytes.end());
    return fmt::format("{:02x}", fmt::join(numbers, ""));
}

TEST(format, of_a_frame_and_of_posting_lists) {
    const std::vector<Chunk> chunks = {{1, 2, "int a;\nint b;"}};
    EXPECT_EQ(hex(FramePacker(nullptr).pack(chunks, true)),
              "030100020d416e36847db8176dd0696e7420613b0a696e7420623b");
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
    EXPECT_EQ(hex(shard.blob(2)), "42a66d9da460999d0e0029");
    const Row block = db.fetchone("SELECT id, body FROM trigram_lists").value();
    EXPECT_EQ(block.integer(0), 23686772);
    EXPECT_EQ(hex(block.blob(1)), "e5339091e90a5a5ff4dca5030103003302d568");
}

}  // namespace
}  // namespace codetext::chunk_store
