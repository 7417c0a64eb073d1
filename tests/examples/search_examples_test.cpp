// The examples of the headers in src/search, each in the surroundings that it takes for granted.

#include <gtest/gtest.h>

#include "search/files/glob.hpp"
#include "search/query/match_span.hpp"
#include "search/query/required_bytes.hpp"
#include "search/run/candidate_chunks.hpp"
#include "search/run/search_batches.hpp"
#include "search/run/search_run.hpp"
#include "storage/temp_index.hpp"

namespace codetext::search {
namespace {

/// An index of a few files.
class SearchExamples : public ::testing::Test {
  protected:
    SearchExamples() : index(chunk_store::default_layout().value()), db(index.db) {
        files.push_back(index.put(1, "drivers/a.c", "one\ntwo spin_lock(&a);\nthree\n"));
        files.push_back(index.put(2, "lib/b.c", "spin_lock(&b);\n"));
    }
    test_support::TempIndex index;
    Database& db;
    std::vector<code_text::FileRow> files;
    const Query query = make_query({.patterns = {"spin_lock("}, .fixed_strings = true});
};

TEST_F(SearchExamples, file_selection) {
    db.execute("UPDATE files SET language = 'c'");
#include "example_of/search/files/file_selection.hpp"
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].path, "drivers/a.c");
}

TEST_F(SearchExamples, glob) {
    std::string searched;
    const auto search_in = [&](std::string_view path) { searched = path; };
#include "example_of/search/files/glob.hpp"
    EXPECT_EQ(searched, "web/app.js");
}

TEST_F(SearchExamples, match_span) {
    const std::string line = "x = 1; x = 2";
    std::vector<std::size_t> marked;
    const auto mark = [&](std::size_t start, std::size_t end) {
        marked.insert(marked.end(), {start, end});
    };
#include "example_of/search/query/match_span.hpp"
    EXPECT_EQ(marked, (std::vector<std::size_t>{0, 3, 7, 10}));
}

TEST_F(SearchExamples, pattern) {
    const std::string line = "no ERROR";
    std::int64_t used = -1;
    const auto use = [&](std::int64_t column) { used = column; };
#include "example_of/search/query/pattern.hpp"
    EXPECT_EQ(used, 3);
}

TEST_F(SearchExamples, query) {
#include "example_of/search/query/query.hpp"
    EXPECT_EQ(query.needle, "spin_lock(");
}

TEST_F(SearchExamples, required_bytes) {
    const std::string text = "12 123 1234567";
    std::size_t at = 0;
#include "example_of/search/query/required_bytes.hpp"
    EXPECT_EQ(at, 7u);
}

TEST_F(SearchExamples, file_search) {
    code_text::TextSource source{
        code_text::text_source(db, files, query.needle, true, index.layout).source};
    const code_text::FileRow& file = files[0];
    std::vector<std::int64_t> shown;
    const auto show = [&](std::int64_t number, std::string_view) { shown.push_back(number); };
#include "example_of/search/run/file_search.hpp"
    EXPECT_EQ(shown, (std::vector<std::int64_t>{1, 2, 3}));
}

TEST_F(SearchExamples, candidate_chunks) {
    if (index.layout != chunk_store::COMPRESSED) GTEST_SKIP() << "the other layout is not asked";
    std::size_t read = 0;
    const auto read_rows_of = [&](std::span<const std::int64_t> ids) { read = ids.size(); };
#include "example_of/search/run/candidate_chunks.hpp"
    EXPECT_EQ(read, 2u);
}

TEST_F(SearchExamples, search_batches) {
    SearchOptions options;
    options.query = query;
    int used = 0;
    const auto use = [&](const SearchBatch&) { ++used; };
#include "example_of/search/run/search_batches.hpp"
    EXPECT_EQ(used, 1);
}

TEST_F(SearchExamples, search_run) {
    std::string out;
    const auto render = [](const FileResult& result_of_file, std::string& text) {
        text = result_of_file.file->path;
        return 0;
    };
    const auto emit = [&](std::string_view text) {
        out += text;
        return true;
    };
    const auto report = [](const std::string& why) { FAIL() << why; };
#include "example_of/search/run/search_run.hpp"
    EXPECT_EQ(out, "drivers/a.clib/b.c");
}

}  // namespace
}  // namespace codetext::search
