#include "indexer/plan/change_plan.hpp"

#include <gmock/gmock.h>

#include "storage/temp_index.hpp"

namespace codetext::indexer {
namespace {

using test_support::TempIndex;
using ::testing::ElementsAre;

using ChangePlanTest = ::testing::TestWithParam<chunk_store::Layout>;

// Each file's name says in what the index and the disk differ.
TEST_P(ChangePlanTest, tells_unchanged_changed_new_and_gone) {
    TempIndex index(GetParam());
    std::int64_t id = 0;
    for (const char* path : {"same.c", "time.c", "size.c", "gone.c", "language.c", "unsettled.c"}) {
        index.put(++id, path, "text\n");
    }
    index.add_row(++id, "interrupted.c", 0);
    index.add_row(++id, "disk.json", 1);
    index.db.execute(
        "UPDATE files SET size = 5, mtime_ns = iif(path = 'unsettled.c', ?, 100), "
        "language = iif(path IN ('disk.json', 'language.c'), 'json', 'c')",
        {UNSETTLED_MTIME_NS});
    index.db.execute(
        "INSERT INTO skipped_files VALUES ('binary', ?1, 5, 100), ('binary.size', ?1, 5, 100), "
        "('binary.gone', ?1, 5, 100), ('binary.time', ?1, 5, 100), ('failed.c', ?2, 5, 100)",
        {SKIPPED_BINARY, SKIPPED_UNREADABLE});

    std::vector<FileEntry> files;
    for (const std::string& path : reference::words(
             "a_new.c binary binary.size binary.time disk.json failed.c interrupted.c language.c "
             "same.c size.c time.c unsettled.c")) {
        files.push_back({path, path.find("size") == path.npos ? 5 : 6,
                         path.find("time") == path.npos ? 100 : 101});
    }
    const ChangePlan plan = plan_changes(index.db, GetParam(), files);
    std::string to_read;
    for (const PlannedFile& file : plan.to_read) to_read += file.entry.path + ' ';
    EXPECT_EQ(to_read,
              "time.c size.c language.c unsettled.c interrupted.c binary.size binary.time failed.c "
              "a_new.c ");
    EXPECT_THAT(plan.gone, ElementsAre(4));
    EXPECT_THAT(plan.gone_skipped, ElementsAre("binary.gone"));
    EXPECT_EQ(plan.unchanged, 2);
    EXPECT_EQ(plan.unchanged_kept_on_disk, 1);
    EXPECT_EQ(plan.unchanged_binary, 1);
}

TEST_P(ChangePlanTest, finds_rows_in_whatever_order_their_ids_are) {
    TempIndex index(GetParam());
    std::vector<FileEntry> files;
    for (int i = 0; i < 26; ++i) {
        const std::string path(1, static_cast<char>('a' + i));
        index.put(1 + (i * 7) % 26, path, "text\n");
        if (i % 5 != 0) files.push_back({path, 5, 100});
    }
    index.db.execute("UPDATE files SET language = '', size = 5, mtime_ns = 100");
    const ChangePlan plan = plan_changes(index.db, GetParam(), files);
    EXPECT_EQ(plan.unchanged, 20);
    EXPECT_EQ(plan.gone.size(), 6U);
    EXPECT_TRUE(plan.to_read.empty());
}

INSTANTIATE_TEST_SUITE_P(layouts, ChangePlanTest, ::testing::ValuesIn(test_support::layouts()),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace codetext::indexer
