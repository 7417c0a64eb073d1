// The examples of the headers that other rooms and users of the library include, each in the
// surroundings that it takes for granted. `example_of/...` is the example itself; extract.cmake
// takes it out of the header.

#include <gtest/gtest.h>

#include <atomic>
#include <cassert>
#include <sstream>

#include "indexer/plan/language.hpp"
#include "indexer/run/index_run.hpp"
#include "indexer/run/lock_holder.hpp"
#include "indexer/run/preview.hpp"
#include "indexer/run/repair.hpp"
#include "indexer/status.hpp"
#include "indexer/watch/request.hpp"
#include "indexer/watch/watcher.hpp"
#include "indexer/watch/watcher_lock.hpp"
#include "search/files/coverage.hpp"
#include "search/query/replacement.hpp"
#include "search/run/line_renderer.hpp"
#include "search/run/search_run.hpp"
#include "storage/indexed_at.hpp"
#include "storage/temp_index.hpp"
#include "storage/verify.hpp"
#include "utils/directory_entries.hpp"
#include "utils/fsio.hpp"
#include "utils/hash.hpp"
#include "utils/once.hpp"
#include "utils/open_below.hpp"
#include "utils/ordered_pool.hpp"
#include "utils/platform.hpp"
#include "utils/process.hpp"
#include "utils/sorted_lookup.hpp"
#include "utils/unicode.hpp"

namespace codetext {

/// Remembers what it is called with as one text: a ":" between values, a "," after each call.
class Seen {
  public:
    template <typename... Values>
    void operator()(const Values&... values) {
        ((_add(values), text += ':'), ...);
        text.back() = ',';
    }
    std::string text;

  private:
    void _add(const chunk_store::ChunkRow& row) { text += row.text.view(); }
    void _add(const code_text::Lines& lines) { text += lines.text(); }
    void _add(const auto& value) {
        if constexpr (requires(std::ostream & out) { out << value; }) {
            text += (std::ostringstream() << value).str();
        } else {
            text += std::to_string(value.size());
        }
    }
};

/// An index of two files, and the names that examples take for granted.
class Examples : public ::testing::Test {
  protected:
    Examples() {
        files.push_back(index.put(7, "drivers/a.c", "one\ntwo spin_lock(&a);\nthree\n"));
        files.push_back(index.put(9, "src/main.c", "x = 1;\nint needle;\n"));
        db.execute("UPDATE files SET language = 'c', size = 1000 * id");
    }

    /// What the examples since the last call have handed to the functions below.
    std::string taken() { return std::exchange(seen.text, ""); }

    test_support::TempIndex index{chunk_store::default_layout().value()};
    Database& db = index.db;
    const chunk_store::Layout layout = index.layout;
    std::vector<code_text::FileRow> files;
    const std::filesystem::path root = index.folder.path();
    std::string path = db.db_path(), line = "x = 1; x = 2; no ERROR", text = "one\ntwo\n";
    Seen seen;
    Seen &look_at = seen, &mark = seen, &match = seen, &parse_again = seen, &print = seen,
         &report = seen, &search_in = seen, &show = seen, &store = seen, &use = seen;
};

TEST_F(Examples, utils) {
    path = root;
    {
#include "example_of/utils/descriptor.hpp"
        EXPECT_TRUE(directory);
    }
    {
#include "example_of/utils/platform.hpp"
        EXPECT_TRUE(directory);
#include "example_of/utils/directory_entries.hpp"
        EXPECT_NE(taken().find(".codetext"), std::string::npos);
    }
    index.folder.write("src/main.c", "int main;");
    {
#include "example_of/utils/open_below.hpp"
        EXPECT_TRUE(file);
    }
    index.folder.write("a.txt", "one\r\ntwo \xFF\n");
    path = root / "a.txt";
    {
#include "example_of/utils/fsio.hpp"
        use(bytes);
#include "example_of/utils/unicode.hpp"
        use(lines.value());
        EXPECT_EQ(taken(), "one\r\ntwo \xFF\n,one\ntwo \uFFFD,");
    }
    const auto read = [](const code_text::FileRow& file) { return "<" + file.path + ">"; };
    const std::vector<std::int64_t> ids = {1, 3, 7, 9}, others = {2, 3, 9, 11};
#include "example_of/utils/ordered_pool.hpp"
#include "example_of/utils/sorted_lookup.hpp"
    EXPECT_EQ(taken(), "<drivers/a.c>,<src/main.c>,3,9,");
    const auto refuse = [&](const std::string& bad) { use(bad); };
    {
#include "example_of/utils/path_below.hpp"
        EXPECT_EQ(taken(), "../a,");
    }
    const std::size_t wanted = 2;
    std::atomic<int> done = 0;
    const auto work = [&] { ++done; };
    {
#include "example_of/utils/threads.hpp"
        helpers.clear();
        EXPECT_EQ(done, 2);
    }
    {
#include "example_of/utils/hash.hpp"
#include "example_of/utils/once.hpp"
        EXPECT_TRUE(hash != xxh3(text) && text.ends_with("unpacked"));
    }
    const std::vector<std::string> environment = {"PATH=/usr/local/bin:/usr/bin:/bin"};
    const auto list = [&] {
#include "example_of/utils/process.hpp"
    };
    EXPECT_THROW(list(), std::runtime_error) << "there is no git work tree";
}

TEST_F(Examples, database) {
    {
#include "example_of/storage/database.hpp"
#include "example_of/storage/database/cursor.hpp"
#include "example_of/storage/database/row.hpp"
        EXPECT_EQ(taken(), "drivers/a.c,src/main.c,7,9,7:drivers/a.c,9:src/main.c,");
    }
    {
#include "example_of/storage/database/database.hpp"
#include "example_of/storage/verify.hpp"
        EXPECT_TRUE(row);
    }
    {
#include "example_of/storage/schema.hpp"
        use(schema::version(db));
        EXPECT_EQ(taken(), "9,3.3.0,");
    }
    {
#include "example_of/storage/index_directory.hpp"
        EXPECT_TRUE(directory);
        const std::int64_t now_ns = 1'700'000'000'000'000'000;
#include "example_of/storage/indexed_at.hpp"
        EXPECT_EQ(taken(), "1,");
    }
    db.execute("BEGIN");
#include "example_of/storage/database/error.hpp"
#include "example_of/storage/database/transaction.hpp"
    EXPECT_FALSE(db.fetchone("SELECT 1 FROM files WHERE id = 7"));
}

namespace chunk_store {

TEST_F(Examples, chunk_store) {
    index.add_row(13, "new.c", 0);
#include "example_of/storage/chunk_store/inventory.hpp"
#include "example_of/storage/chunk_store/layout.hpp"
    const std::int64_t file_id = 13;
    {
#include "example_of/storage/chunk_store/writer.hpp"
        use(stored_rows(db, this->layout, file_rowids(9).first, file_rowids(13).second).size());
    }
    EXPECT_EQ(taken(), "13,1,2,");
    if (layout != COMPRESSED) GTEST_SKIP() << "SQLite is before 3.43";
    const auto [first, end] = file_rowids(13);
#include "example_of/storage/chunk_store.hpp"
#include "example_of/storage/chunk_store/candidates.hpp"
#include "example_of/storage/chunk_store/chunk_row.hpp"
#include "example_of/storage/chunk_store/matching_rows.hpp"
    const std::string chunk = "one\ntwo spin_lock(&a);\nthree,";
    EXPECT_EQ(taken(), chunk + "7,1:one\ntwo," + chunk);
}

}  // namespace chunk_store

namespace code_text {

struct Regex {
    std::optional<std::int64_t> search(std::string_view) const { return std::nullopt; }
};

TEST_F(Examples, code_text) {
    const FileRow& file = files[1];
    const std::string needle = "int";
    {
        auto source = std::get<ChunkText>(text_source(db, files, needle, true, layout).source);
#include "example_of/storage/code_text/chunk_text.hpp"
        use(all);
#include "example_of/storage/code_text/chunking.hpp"
    }
    EXPECT_EQ(taken(), "x = 1;\nint needle;,x = 1;\nint needle;,1:2:one\ntwo,");
    const Lines lines("a\nb\nc\nd\ne\nf");
    const std::int64_t match_line = 2;
#include "example_of/storage/code_text/context.hpp"
    use(around.size(), around.front().content);
    {
#include "example_of/storage/code_text/disk_text.hpp"
    }
    const Segment segment{65, Lines("y\n  x = 1"), true};
    const SegmentList segments({{1, Lines("a\nb"), false}, {3, Lines("c"), true}});
#include "example_of/storage/code_text/line_matches.hpp"
#include "example_of/storage/code_text/segment.hpp"
    EXPECT_EQ(taken(), "4:a,x = 1;\nint needle;,66:2:  x = 1,1:a,1:b,3:c,");
    {
#include "example_of/storage/code_text/text_source.hpp"
        use(segments.size(), segments[0].lines[0]);
    }
    EXPECT_EQ(taken(), "1:x = 1;,");
}

}  // namespace code_text

TEST_F(Examples, search) {
#include "example_of/search/files/glob.hpp"
#include "example_of/search/query/match_span.hpp"
#include "example_of/search/query/pattern.hpp"
    EXPECT_EQ(taken(), "web/app.js,0:3,7:10,17,");
#include "example_of/search/query/replacement.hpp"
    EXPECT_EQ(text, "foo_remove");
    {
#include "example_of/search/files/file_selection.hpp"
        use(files.size(), files[0].path);
#include "example_of/search/files/coverage.hpp"
    }
#include "example_of/search/query/query.hpp"
    EXPECT_EQ(query.needle, "spin_lock(");
    auto [source, reason] = code_text::text_source(db, files, query.needle, true, layout);
    const code_text::FileRow& file = files[0];
    {
#include "example_of/search/run/file_search.hpp"
    } EXPECT_EQ(taken(), "1:drivers/a.c,1,1:one,2:two spin_lock(&a);,3:three,drivers/a.c,");
    const auto make_renderer = test_support::renderer(
        [](const code_text::FileRow& found, const search::ResultLine&) { return found.path; });
    const auto emit = [&](std::string_view out, bool) {
        print(out);
        return true;
    };
#include "example_of/search/run/search_run.hpp"
    EXPECT_EQ(taken(), "drivers/a.c,");
    const auto write = [&](std::string_view part) { print(part.size()); };
#include "example_of/search/run/output_buffer.hpp"
    out.hand_on();
    EXPECT_EQ(taken(), "7,");
}

namespace indexer {

TEST_F(Examples, indexer) {
#include "example_of/indexer/plan/language.hpp"
#include "example_of/indexer/run/index_run.hpp"
#include "example_of/indexer/run/preview.hpp"
#include "example_of/indexer/status.hpp"
    {
#include "example_of/indexer/run/repair.hpp"
    } EXPECT_EQ(taken(), "2:0:2,0:0:0,2:2,");
    const Descriptor stop(::open("/dev/null", O_RDONLY | O_CLOEXEC));  // it is readable
    {
        const Descriptor file(
            ::open((root / ".codetext/holder").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
#include "example_of/indexer/run/lock_holder.hpp"
        EXPECT_EQ(taken(), "codetext index,");
    }
#include "example_of/indexer/watch/request.hpp"
#include "example_of/indexer/watch/watcher.hpp"
#include "example_of/indexer/watch/watcher_lock.hpp"
    EXPECT_EQ(taken(), "2:0,2:0,") << "once more when the directories are watched";
}

}  // namespace indexer
}  // namespace codetext
