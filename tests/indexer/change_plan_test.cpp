#include "indexer/change_plan.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "storage/temp_index.hpp"

namespace codetext::indexer {
namespace {

using test_support::TempIndex;
using ::testing::ElementsAre;

TEST(change_plan, remembers_only_times_that_will_tell_the_next_change) {
    constexpr std::int64_t NOW = 1'700'000'000'000'000'000;
    const struct {
        std::int64_t mtime_ns;
        bool remembered;
    } CASES[] = {{NOW - 3'000'000'000, true},  {NOW - SETTLING_NS - 1, true},
                 {NOW - SETTLING_NS, false},   {NOW, false},
                 {NOW + 1'000'000'000, false}, {0, true}};
    for (const auto& [mtime_ns, remembered] : CASES) {
        EXPECT_EQ(remembered_mtime_ns(mtime_ns, NOW), remembered ? mtime_ns : UNSETTLED_MTIME_NS)
            << mtime_ns - NOW;
    }
}

/// An index of files of which each is made to differ in one way.
class ChangePlanTest : public ::testing::TestWithParam<chunk_store::Layout> {
  protected:
    ChangePlanTest() : _index(GetParam()) {}

    void add(std::int64_t id, const std::string& path, const std::string& language,
             std::int64_t size, std::int64_t mtime_ns) {
        _index.put(id, path, "text\n");
        _index.db.execute("UPDATE files SET language = ?, size = ?, mtime_ns = ? WHERE id = ?",
                          {language, size, mtime_ns, id});
    }

    void skip(const std::string& path, std::string_view reason, std::int64_t mtime_ns) {
        _index.db.execute("INSERT INTO skipped_files VALUES (?, ?, 5, ?)",
                          {path, reason, mtime_ns});
    }

    ChangePlan plan(std::vector<FileEntry> files) {
        return plan_changes(_index.db, GetParam(), std::move(files));
    }

    TempIndex _index;
};

std::vector<std::string> to_read(const ChangePlan& plan) {
    std::vector<std::string> result;
    for (const PlannedFile& file : plan.to_read) result.push_back(file.entry.path);
    return result;
}

TEST_P(ChangePlanTest, tells_unchanged_changed_new_and_gone) {
    add(1, "same.c", "c", 5, 100);
    add(2, "time.c", "c", 5, 100);
    add(3, "size.c", "c", 5, 100);
    add(4, "gone.c", "c", 5, 100);
    add(5, "language.c", "", 5, 100);
    add(6, "unsettled.c", "c", 5, UNSETTLED_MTIME_NS);
    add(7, "interrupted.c", "c", 5, 100);
    _index.drop(7);
    _index.add_row(7, "interrupted.c", 0);
    add(8, "disk.json", "json", 5, 100);
    _index.drop(8);
    _index.add_row(8, "disk.json", 1);
    _index.db.execute("UPDATE files SET language = 'json', size = 5, mtime_ns = 100 WHERE id = 8");
    skip("binary.a", SKIPPED_BINARY, 100);
    skip("binary.b", SKIPPED_BINARY, 100);
    skip("binary.gone", SKIPPED_BINARY, 100);
    skip("failed.c", SKIPPED_UNREADABLE, 100);

    const ChangePlan result = plan({{"a_new.c", 5, 100},
                                    {"binary.a", 5, 100},
                                    {"binary.b", 6, 100},
                                    {"disk.json", 5, 100},
                                    {"failed.c", 5, 100},
                                    {"interrupted.c", 5, 100},
                                    {"language.c", 5, 100},
                                    {"same.c", 5, 100},
                                    {"size.c", 6, 100},
                                    {"time.c", 5, 101},
                                    {"unsettled.c", 5, 100}});
    EXPECT_THAT(to_read(result), ElementsAre("time.c", "size.c", "language.c", "unsettled.c",
                                             "interrupted.c", "binary.b", "failed.c", "a_new.c"));
    EXPECT_THAT(result.gone, ElementsAre(4));
    EXPECT_THAT(result.gone_skipped, ElementsAre("binary.gone"));
    EXPECT_EQ(result.unchanged, 2);
    EXPECT_EQ(result.unchanged_kept_on_disk, 1);
    EXPECT_EQ(result.unchanged_binary, 1);
}

TEST_P(ChangePlanTest, finds_rows_in_whatever_order_their_ids_are) {
    std::vector<FileEntry> files;
    for (int i = 0; i < 26; ++i) {
        const std::string path(1, static_cast<char>('a' + i));
        add(1 + (i * 7) % 26, path, "", 5, 100);
        if (i % 5 != 0) files.push_back({path, 5, 100});
    }
    const ChangePlan result = plan(files);
    EXPECT_EQ(result.unchanged, 20);
    EXPECT_EQ(result.gone.size(), 6U);
    EXPECT_TRUE(result.to_read.empty());
}

INSTANTIATE_TEST_SUITE_P(layouts, ChangePlanTest, ::testing::ValuesIn(test_support::layouts()),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace codetext::indexer
