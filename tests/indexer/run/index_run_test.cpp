#include "indexer/run/index_run.hpp"

#include <gmock/gmock.h>

#include <chrono>
#include <map>
#include <random>
#include <set>
#include <stdexcept>

#include "indexer/plan/change_plan.hpp"
#include "indexer/run/index_lock.hpp"
#include "indexer/run/parse_file.hpp"
#include "indexer/status.hpp"
#include "storage/temp_index.hpp"
#include "storage/verify.hpp"

namespace codetext::indexer {
namespace {

namespace fs = std::filesystem;
using test_support::TempFolder;
using ::testing::IsEmpty;

/// What stands in the map for a file whose text the index keeps on disk.
const std::string ON_DISK = "(on disk)";

/// A number that another connection's commit changes.
std::int64_t data_version(const Database& db) {
    return db.fetchone("PRAGMA data_version")->integer(0);
}

/// A repository and its index. Files get a time long past when they are written, so that a run may
/// rely on it; each write has another one.
class IndexRunTest : public ::testing::TestWithParam<chunk_store::Layout> {
  protected:
    void write(const std::string& name, std::string_view bytes) {
        _folder.write(name, bytes);
        age(name, std::chrono::hours(1000) - std::chrono::seconds(++_writes));
    }

    void age(const std::string& name, std::chrono::seconds by) {
        fs::last_write_time(root() / name, fs::file_time_type::clock::now() - by);
    }

    /// Makes a file larger than any read takes; it occupies no disk.
    void make_unreadable(const std::string& name) {
        write(name, "");
        fs::resize_file(root() / name, std::uintmax_t{3} << 30);
        age(name, std::chrono::hours(1));
    }

    IndexReport index() {
        return index_repository(root(), {.layout = GetParam(), .threads = 2, .progress = {}});
    }

    Database open() { return schema::open_index(schema::index_path(root()), Access::READ_WRITE); }

    /// What the index holds: each file's text by its path.
    std::map<std::string, std::string> texts() {
        const Database db = open();
        EXPECT_THAT(schema::verify(db), IsEmpty());
        std::vector<code_text::FileRow> files;
        auto [source, reason] = code_text::text_source(db, files, std::nullopt, true, GetParam());
        EXPECT_EQ(reason, std::nullopt);
        std::map<std::string, std::string> result;
        for (const Row& row : db.fetchall("SELECT path, id, text_on_disk FROM files")) {
            result[row.text(0)] =
                row.integer(2) != 0 ? ON_DISK
                                    : code_text::lines(source, row.integer(1), row.text(0)).text();
        }
        return result;
    }

    /// Runs, and tells whether that wrote anything.
    bool index_writes() {
        const Database watcher = open();
        const std::int64_t before = data_version(watcher);
        index();
        return data_version(watcher) != before;
    }

    fs::path root() const { return _folder.path(); }

    TempFolder _folder;
    int _writes = 0;
};

TEST_P(IndexRunTest, holds_the_text_of_every_file) {
    const std::string long_text = test_support::numbered_lines(1000);
    write("a.c", "one\r\ntwo\n");
    write("empty", "");
    write("long.c", long_text);
    write("latin1", "caf\xE9\n");
    write("binary", std::string("ab\0c", 4));
    write("late_nul", std::string(BINARY_TEST_BYTES, 'x') + std::string("\0", 1));
    write("small.json", std::string(32768, 'j') + "\r\n");
    write("large.json", std::string(32769, 'j'));
    write("large.txt", std::string(100000, 'j'));
    std::string lines;
    for (int i = 0; i < 16385; ++i) lines += "j\n";
    write("lines.json", lines);

    const IndexReport report = index();
    EXPECT_EQ(report.new_files, 9);
    const std::map<std::string, std::string> expected = {
        {"a.c", "one\ntwo"},
        {"empty", ""},
        {"long.c", long_text.substr(0, long_text.size() - 1)},
        {"latin1", "caf\uFFFD"},
        {"late_nul", std::string(BINARY_TEST_BYTES, 'x') + std::string("\0", 1)},
        {"small.json", std::string(32768, 'j')},
        {"large.json", ON_DISK},
        {"large.txt", std::string(100000, 'j')},
        {"lines.json", ON_DISK}};
    EXPECT_EQ(texts(), expected);
    std::string by_id;
    for (const Row& row : open().fetchall("SELECT path FROM files ORDER BY id")) {
        by_id += row.text(0) + ' ';
    }
    EXPECT_EQ(by_id,
              "a.c empty large.json large.txt late_nul latin1 lines.json long.c small.json ");

    const IndexStatus status = index_status(open());
    EXPECT_EQ(status.chunks, 22);
    EXPECT_EQ(status.kept_on_disk_bytes, 32769 + 32770);
    EXPECT_EQ(status.without_chunks, 0);
}

TEST_P(IndexRunTest, follows_random_changes) {
    const unsigned seed = std::random_device{}();
    std::mt19937 random(seed);
    const std::vector<std::string> names = {"a.c", "b.json", "c", "d/e.c", "d/f.json", "g", "h"};
    std::map<std::string, std::string> expected;
    std::set<std::string> binary;
    for (int round = 0; round < 25; ++round) {
        for (const std::string& name : names) {
            const auto change = random() % 7;
            if (change < 5) binary.erase(name);
            switch (change) {
                case 0: {
                    const int lines = static_cast<int>(random() % 300);
                    write(name, test_support::numbered_lines(lines, std::to_string(round)));
                    expected[name] = _folder.read(name);
                    if (lines > 0) expected[name].pop_back();
                    break;
                }
                case 1:
                case 2:
                case 4:
                    fs::remove(root() / name);
                    expected.erase(name);
                    if (change == 1) write(name, std::string(1, '\0'));
                    if (change == 1) binary.insert(name);
                    if (change == 4) make_unreadable(name);
                    break;
                case 3:
                    write(name, std::string(40000 + random() % 9, 'j'));
                    expected[name] = name.ends_with(".json") ? ON_DISK : _folder.read(name);
                    break;
                default:
                    break;
            }
        }
        const IndexReport report = index();
        ASSERT_EQ(texts(), expected) << "round " << round << " of seed " << seed;
        ASSERT_EQ(report.files, static_cast<std::int64_t>(expected.size())) << "seed " << seed;
        ASSERT_EQ(index_status(open()).binary_files, static_cast<std::int64_t>(binary.size()))
            << "round " << round << " of seed " << seed;
    }
}

TEST_P(IndexRunTest, writes_only_what_changed) {
    write("a.c", "a\n");
    write("large.json", std::string(40000, 'j'));
    write("binary", std::string(1, '\0'));
    make_unreadable("unreadable");
    index();
    EXPECT_FALSE(index_writes());
    const IndexReport report = index();
    EXPECT_EQ(report.files, 2);
    EXPECT_EQ(report.kept_on_disk, 1);
    EXPECT_EQ(report.binary_files, 1);
    EXPECT_EQ(report.new_files + report.changed_files + report.gone_files, 0);
    EXPECT_EQ(report.unreadable.size(), 1U) << "it is tried, and reported, again";
    EXPECT_EQ(index_status(open()).unreadable_files, 1);

    age("a.c", std::chrono::hours(1));
    EXPECT_TRUE(index_writes()) << "it takes over the new time";
    EXPECT_FALSE(index_writes());
    age("a.c", std::chrono::hours(2));
    EXPECT_EQ(index().changed_files, 0);
    age("a.c", -std::chrono::hours(1));
    index();
    age("a.c", -std::chrono::hours(2));
    EXPECT_FALSE(index_writes()) << "neither time can be relied on";

    age("large.json", std::chrono::hours(1));
    EXPECT_EQ(index().kept_on_disk, 1);
    open().execute("UPDATE files SET language = 'x' WHERE path = 'a.c'");
    EXPECT_EQ(index().changed_files, 1) << "its language is another one";
    write("a.c", std::string(1, '\0'));
    EXPECT_EQ(index().gone_files, 1) << "it is binary now";
}

TEST_P(IndexRunTest, notices_a_change_within_the_tick_of_the_last_run) {
    _folder.write("a.c", "old\n");
    const auto time = fs::last_write_time(root() / "a.c");
    index();
    _folder.write("a.c", "new\n");
    fs::last_write_time(root() / "a.c", time);
    EXPECT_EQ(index().changed_files, 1);
    EXPECT_EQ(texts().at("a.c"), "new");
}

TEST_P(IndexRunTest, keeps_what_was_committed_when_it_fails) {
    write("a.c", "a\n");
    index();
    open().execute_script(
        "CREATE TRIGGER fail BEFORE UPDATE ON files WHEN new.path = 'c.c' "
        "BEGIN SELECT raise(ABORT, 'disk full'); END");
    write("a.c", "changed\n");
    write("c.c", "c\n");
    EXPECT_THROW(index(), DatabaseError);
    EXPECT_EQ(open().fetchall("SELECT id FROM files").size(), 2U) << "searches know the new file";
    open().execute_script("DROP TRIGGER fail");
    EXPECT_EQ(index().files, 2);
    EXPECT_EQ(texts(), (std::map<std::string, std::string>{{"a.c", "changed"}, {"c.c", "c"}}));
}

TEST_P(IndexRunTest, refuses_what_it_cannot_do) {
    write("a.c", "a\n");
    index();
    const bool compressed = GetParam() == chunk_store::COMPRESSED;
    const auto other = compressed ? chunk_store::CODE_CHUNKS : chunk_store::COMPRESSED;
    EXPECT_THROW(index_repository(root(), {.layout = other, .progress = {}}),
                 std::invalid_argument);
    const IndexLock lock(root());
    EXPECT_THROW(index(), std::runtime_error) << "while another run goes on";
    EXPECT_THROW(upgrade_index(root()), std::runtime_error);
    const fs::path lock_file = schema::index_path(root()).parent_path() / "lock";
    fs::rename(lock_file, root() / "elsewhere");
    fs::create_symlink(root() / "elsewhere", lock_file);
    EXPECT_THROW(IndexLock{root()}, std::system_error) << "a link, even to a lock of its own";
}

INSTANTIATE_TEST_SUITE_P(layouts, IndexRunTest, ::testing::ValuesIn(test_support::layouts()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(index_run, trains_a_dictionary_where_there_is_enough_text) {
    if (chunk_store::default_layout() != chunk_store::COMPRESSED) {
        GTEST_SKIP() << "this SQLite has no compressed layout";
    }
    for (const bool enough : {false, true}) {
        TempFolder folder;
        for (int file = 0; file < (enough ? 400 : 40); ++file) {
            const std::string name = std::to_string(file) + ".c";
            folder.write(name, test_support::numbered_lines(300, "    value = lookup(" + name));
        }
        index_repository(folder.path());
        // The first file keeps its frames, which only the first dictionary unpacks.
        for (int file = 1; file < (enough ? 400 : 40); ++file) {
            folder.write(std::to_string(file) + ".c", test_support::numbered_lines(301, "other"));
        }
        std::int64_t last = 0;
        index_repository(folder.path(), {.layout = {}, .progress = [&](auto done, auto total) {
                                             EXPECT_EQ(done, ++last);
                                             EXPECT_LE(done, total);
                                         }});
        EXPECT_GT(last, 0);
        const Database db =
            schema::open_index(schema::index_path(folder.path()), Access::READ_ONLY);
        EXPECT_EQ(chunk_store::load_dictionary(db) != nullptr, enough);
        EXPECT_THAT(schema::verify(db), IsEmpty());
    }
}

}  // namespace
}  // namespace codetext::indexer
