// The examples of the headers in src/search, each in the surroundings that it takes for granted.

#include <gtest/gtest.h>

#include <cassert>

#include "examples/seen.hpp"
#include "search/files/glob_regex.hpp"
#include "search/query/match_span.hpp"
#include "search/query/pattern_literals.hpp"
#include "search/query/required_bytes.hpp"
#include "search/run/candidate_chunks.hpp"
#include "search/run/search_batches.hpp"
#include "search/run/search_run.hpp"
#include "storage/temp_index.hpp"

namespace codetext::search {

/// An index of two files.
class SearchExamples : public ::testing::Test, public test::Takers {
  protected:
    SearchExamples() : index(chunk_store::default_layout().value()), db(index.db) {
        files.push_back(index.put(1, "drivers/a.c", "one\ntwo spin_lock(&a);\nthree\n"));
        files.push_back(index.put(2, "lib/b.c", "spin_lock(&b);\n"));
        options.query = query;
    }
    test_support::TempIndex index;
    Database& db;
    std::vector<code_text::FileRow> files;
    const Query query = make_query({.patterns = {"spin_lock("}, .fixed_strings = true});
    SearchOptions options;
    const std::string line = "x = 1; x = 2; no ERROR";
};

TEST_F(SearchExamples, file_selection) {
    db.execute("UPDATE files SET language = 'c'");
#include "example_of/search/files/file_selection.hpp"
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].path, "drivers/a.c");
}

TEST_F(SearchExamples, glob) {
#include "example_of/search/files/glob.hpp"
    EXPECT_EQ(seen.text, "web/app.js,");
}

TEST_F(SearchExamples, glob_regex){
#include "example_of/search/files/glob_regex.hpp"
}

TEST_F(SearchExamples, match_span) {
#include "example_of/search/query/match_span.hpp"
    EXPECT_EQ(seen.text, "0:3,7:10,");
}

TEST_F(SearchExamples, pattern) {
#include "example_of/search/query/pattern.hpp"
    EXPECT_EQ(seen.text, "17,");
}

TEST_F(SearchExamples, pattern_literals) {
#include "example_of/search/query/pattern_literals.hpp"
    EXPECT_NE(literals.find('D'), std::string::npos) << literals;
    EXPECT_EQ(literals.find('S'), std::string::npos) << literals;
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

TEST_F(SearchExamples, candidate_chunks) {
    if (index.layout != chunk_store::COMPRESSED) GTEST_SKIP() << "the other layout is not asked";
#include "example_of/search/run/candidate_chunks.hpp"
    EXPECT_EQ(seen.text, "2,") << "two files";
}

TEST_F(SearchExamples, file_search) {
    code_text::TextSource source{
        code_text::text_source(db, files, query.needle, true, index.layout).source};
    const code_text::FileRow& file = files[0];
#include "example_of/search/run/file_search.hpp"
    EXPECT_EQ(seen.text, "1:one,2:two spin_lock(&a);,3:three,");
}

TEST_F(SearchExamples, search_batches) {
#include "example_of/search/run/search_batches.hpp"
    EXPECT_EQ(seen.text, "2,") << "one batch of two files";
}

TEST_F(SearchExamples, search_run) {
    const auto render = [](const FileResult& result, std::string& out) {
        out = result.file->path;
        return 0;
    };
    const auto emit = [this](std::string_view text) {
        print(text);
        return true;
    };
#include "example_of/search/run/search_run.hpp"
    EXPECT_EQ(seen.text, "drivers/a.c,lib/b.c,");
}

}  // namespace codetext::search
