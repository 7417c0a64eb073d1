#include "indexer/run/index_run.hpp"

#include <gmock/gmock.h>

#include <chrono>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <thread>

#include "indexer/listing/file_list.hpp"
#include "indexer/plan/change_plan.hpp"
#include "indexer/run/index_lock.hpp"
#include "indexer/run/parse_file.hpp"
#include "indexer/status.hpp"
#include "storage/temp_index.hpp"
#include "storage/verify.hpp"
#include "utils/binary.hpp"
#include "utils/open_below.hpp"

namespace codetext::indexer {
namespace {

namespace fs = std::filesystem;
using test_support::TempFolder;
using ::testing::IsEmpty;

/// What stands in the map for a file whose text the index keeps on disk.
const std::string ON_DISK = "(on disk)";

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
        const auto version = [&] { return watcher.fetchone("PRAGMA data_version")->integer(0); };
        const std::int64_t before = version();
        index();
        return version() != before;
    }

    fs::path root() const { return _folder.path(); }

    TempFolder _folder;
    int _writes = 0;
};

TEST_P(IndexRunTest, holds_the_text_of_every_file) {
    const std::string long_text = test_support::numbered_lines(1000), j32768(32768, 'j');
    const std::string x(BINARY_TEST_BYTES, 'x'), nul(1, '\0');
    std::string lines;
    for (int i = 0; i < 16385; ++i) lines += "j\n";
    const struct {
        std::string name, bytes, text;
    } FILES[] = {{"a.c", "one\r\ntwo\n", "one\ntwo"},
                 {"empty", "", ""},
                 {"large.json", j32768 + "j", ON_DISK},
                 {"large.txt", j32768 + "j", j32768 + "j"},
                 {"late_nul", x + nul, x + nul},
                 {"latin1", "caf\xE9\n", "caf\uFFFD"},
                 {"lines.json", lines, ON_DISK},
                 {"long.c", long_text, long_text.substr(0, long_text.size() - 1)},
                 {"small.json", j32768 + "\r\n", j32768}};
    std::map<std::string, std::string> expected;
    for (const auto& [name, bytes, text] : FILES) {
        write(name, bytes);
        expected[name] = text;
    }
    write("binary", "ab" + nul + "c");
    EXPECT_EQ(index().new_files, 9);
    EXPECT_EQ(texts(), expected);
    const std::string UNORDERED =
        "SELECT 1 FROM files a, files b WHERE a.id < b.id AND a.path > b.path";
    EXPECT_EQ(open().fetchall(UNORDERED).size(), 0U);
    const IndexStatus status = index_status(open());
    EXPECT_EQ(status.chunks, 22);
    EXPECT_EQ(status.kept_on_disk_bytes, 32769 + 32770);
    EXPECT_EQ(status.without_chunks, 0);
    const bool compressed = GetParam() == chunk_store::COMPRESSED;
    open().execute_script(compressed ? "DROP TABLE chunks" : "DROP TABLE code_chunks");
    if (compressed) {
        EXPECT_THROW(open(), schema::UnusableIndex) << "half of a layout";
    } else {
        EXPECT_EQ(index_status(open()).without_chunks, 7);
    }
}

TEST_P(IndexRunTest, follows_random_changes) {
    const unsigned seed = std::random_device{}();
    std::mt19937 random(seed);
    std::map<std::string, std::string> expected;
    std::set<std::string> binary;
    for (int round = 0; round < 25; ++round) {
        SCOPED_TRACE("round " + std::to_string(round) + " of seed " + std::to_string(seed));
        for (const std::string& name : reference::words("a.c b.json c d/e.c d/f.json g h")) {
            const auto change = random() % 7;
            if (change >= 5) continue;
            expected.erase(name);
            binary.erase(name);
            fs::remove(root() / name);
            if (change == 0) {
                const int lines = static_cast<int>(random() % 300);
                write(name, test_support::numbered_lines(lines, std::to_string(round)));
                expected[name] = _folder.read(name);
                if (lines > 0) expected[name].pop_back();
            } else if (change == 1) {
                write(name, std::string(1, '\0'));
                binary.insert(name);
            } else if (change == 2) {
                make_unreadable(name);
            } else if (change == 3) {
                write(name, std::string(40000 + random() % 9, 'j'));
                expected[name] = name.ends_with(".json") ? ON_DISK : _folder.read(name);
            }
        }
        ASSERT_EQ(index().files, std::ssize(expected));
        ASSERT_EQ(texts(), expected);
        ASSERT_EQ(index_status(open()).binary_files, std::ssize(binary));
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

    age("large.json", std::chrono::hours(1));
    EXPECT_EQ(index().kept_on_disk, 1);
    for (const char* name : {"a.c", "binary"}) {  // a new size at the same time
        const auto time = fs::last_write_time(root() / name);
        _folder.write(name, "longer\n");
        fs::last_write_time(root() / name, time);
    }
    EXPECT_EQ(texts().at("a.c"), "a");
    EXPECT_TRUE(index_writes());
    EXPECT_EQ(texts().at("a.c") + texts().at("binary"), "longerlonger");
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

// As `cp -p`, `tar x` and `rsync -a` leave files: as large and as old as those they replace.
TEST_P(IndexRunTest, notices_a_change_that_keeps_size_and_time) {
    for (const std::string name : {"a.c", "b.c", "c.c"}) _folder.write(name, name + " old\n");
    const fs::file_time_type long_ago = fs::file_time_type::clock::now() - std::chrono::hours(9);
    const auto restore_times = [&] {
        for (const auto& file : fs::directory_iterator(root())) {
            if (file.is_regular_file()) fs::last_write_time(file.path(), long_ago);
        }
    };
    restore_times();
    index();
    // As if all had been read long after they were written.
    Database db = open();
    for (const FileEntry& file : list_files(root(), 1).files) {
        db.execute("UPDATE files SET mtime_ns = ?, ctime_ns = ?, inode = ? WHERE path = ?",
                   {file.stamp.mtime_ns, file.stamp.ctime_ns, file.stamp.inode, file.path});
    }
    EXPECT_EQ(plan_changes(db, GetParam(), list_files(root(), 1).files).to_read.size(), 0U);
    std::this_thread::sleep_for(
        std::chrono::milliseconds(20));  // a tick of the file system's clock
    _folder.write("a.c", "a.c new\n");
    restore_times();
    db.execute("UPDATE files SET ctime_ns = ? WHERE path <> 'a.c'",
               {list_files(root(), 1).files.back().stamp.ctime_ns});
    EXPECT_EQ(index().changed_files, 1);
    EXPECT_EQ(texts().at("a.c"), "a.c new");
    // The inode alone tells of two files that changed places.
    for (const FileEntry& file : list_files(root(), 1).files) {
        const std::int64_t other = file.path == "a.c" ? 0 : 1;
        db.execute("UPDATE files SET mtime_ns = ?, ctime_ns = ?, inode = ? WHERE path = ?",
                   {file.stamp.mtime_ns, file.stamp.ctime_ns, file.stamp.inode + other, file.path});
    }
    EXPECT_EQ(plan_changes(db, GetParam(), list_files(root(), 1).files).to_read.size(), 2U);
}

TEST_P(IndexRunTest, keeps_what_was_committed_when_it_fails) {
    write("a.c", "a\n");
    index();
    write("c.c", "c\n");
    const auto fail = [](std::int64_t, std::int64_t) { throw std::runtime_error("fails"); };
    for (const std::int64_t chunks : {chunk_store::SHARD_CHUNKS - 1, chunk_store::SHARD_CHUNKS}) {
        write("a.c", std::string(static_cast<std::size_t>(chunks) * 64, '\n'));
        EXPECT_THROW(index_repository(root(), {.layout = GetParam(), .progress = fail}),
                     std::runtime_error);
        const bool was_a_batch = chunks == chunk_store::SHARD_CHUNKS;
        EXPECT_EQ(index_status(open()).chunks, was_a_batch ? chunks : 1);
    }
    write("a.c", "changed\n");
    EXPECT_EQ(open().fetchall("SELECT id FROM files").size(), 2U) << "searches know the new file";
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
}

INSTANTIATE_TEST_SUITE_P(layouts, IndexRunTest, ::testing::ValuesIn(test_support::layouts()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(index_run, keeps_a_file_on_disk_that_is_too_large_or_has_too_many_lines) {
    const TempFolder folder;
    const std::int64_t most_lines = chunk_store::MAX_FILE_CHUNKS * 64;
    folder.write("large", std::string(BINARY_TEST_BYTES, 'x'));  // and NULs, which take no disk
    fs::resize_file(folder.path() / "large", MAX_CHUNKED_FILE_BYTES + 1);
    folder.write("lines", std::string(most_lines + 1, '\n'));
    for (const char* path : {"large", "lines"}) {
        chunk_store::Packer packer(chunk_store::CODE_CHUNKS, nullptr);
        const PlannedFile file{{path, 0, 0}, "", std::nullopt, std::nullopt};
        EXPECT_EQ(parse_file(open_root(folder.path()), file, packer).outcome, Outcome::KEPT_ON_DISK)
            << path;
    }
}

TEST(index_run, trains_a_dictionary_where_there_is_enough_text) {
    if (chunk_store::default_layout() != chunk_store::COMPRESSED) {
        GTEST_SKIP() << "this SQLite has no compressed layout";
    }
    for (const int files : {40, 400, 401}) {  // one thread reads two dictionaries
        TempFolder folder;
        // The second run leaves file 0 its frames, which only the dictionary unpacks.
        for (const std::string prefix : {"    value = lookup(", "other"}) {
            for (int file = prefix == "other" ? 1 : 0; file < files; ++file) {
                const std::string name = std::to_string(file) + ".c";
                folder.write(
                    name, test_support::numbered_lines(300, prefix + std::to_string(files) + name));
            }
            std::int64_t last = 0;
            index_repository(folder.path(), {.layout = {}, .progress = [&](auto done, auto total) {
                                                 EXPECT_EQ(done, ++last);
                                                 EXPECT_LE(done, total);
                                             }});
            EXPECT_GT(last, 0);
        }
        Database db = schema::open_index(schema::index_path(folder.path()), Access::READ_WRITE);
        EXPECT_EQ(chunk_store::load_dictionary(db) != nullptr, files >= 400);
        EXPECT_THAT(schema::verify(db), IsEmpty());
        db.execute("DELETE FROM chunk_dictionaries");
        EXPECT_EQ(schema::verify(db).empty(), files == 40);
    }
}

}  // namespace
}  // namespace codetext::indexer
