// The examples of the headers in src/indexer, each in the surroundings that it takes for granted.

#include <gtest/gtest.h>

#include <cassert>

#include "indexer/listing/file_list.hpp"
#include "indexer/listing/file_status.hpp"
#include "indexer/listing/git_files.hpp"
#include "indexer/listing/tree_walk.hpp"
#include "indexer/plan/language.hpp"
#include "indexer/run/dictionary_sample.hpp"
#include "indexer/run/index_lock.hpp"
#include "indexer/run/index_run.hpp"
#include "indexer/run/index_store.hpp"
#include "indexer/run/parse_pipeline.hpp"
#include "indexer/status.hpp"
#include "storage/temp_index.hpp"
#include "utils/process.hpp"

namespace codetext::indexer {
namespace {

using Paths = std::vector<std::string>;

/// A repository of two files, and its index, which knows none of them.
class IndexerExamples : public ::testing::Test {
  protected:
    IndexerExamples() {
        folder.write("a.c", "int a;\n");
        folder.write("lib/b.c", "int b;\n");
        plan = plan_changes(db, layout, list_files(root, 2).files);
    }
    void make_git_work_tree() const {
        const std::vector<std::string> environment = {"PATH=/usr/local/bin:/usr/bin:/bin"};
        ASSERT_EQ(run_process({"git", "init", "-q", root}, environment).status, 0);
    }
    test_support::TempFolder folder;
    const std::filesystem::path root = folder.path();
    const chunk_store::Layout layout = chunk_store::default_layout().value();
    Database db = schema::open_or_create_index(root, layout);
    ChangePlan plan;
    chunk_store::DictionaryHandle dictionary;
    const Paths expected = {"a.c", "lib/b.c"};
    Paths seen;
};

TEST_F(IndexerExamples, file_list) {
#include "example_of/indexer/listing/file_list.hpp"
    EXPECT_EQ(list.files.size(), 2u);
}

TEST_F(IndexerExamples, git_files) {
    make_git_work_tree();
    const auto look_at = [&](const std::string& path) { seen.push_back(path); };
#include "example_of/indexer/listing/git_files.hpp"
    EXPECT_EQ(seen, expected);
}

TEST_F(IndexerExamples, file_status) {
    make_git_work_tree();
#include "example_of/indexer/listing/file_status.hpp"
    EXPECT_EQ(found.files.size(), 2u);
}

TEST_F(IndexerExamples, tree_walk) {
    const auto use = [&](const std::string& path) { seen.push_back(path); };
#include "example_of/indexer/listing/tree_walk.hpp"
    EXPECT_EQ(seen, expected);
}

TEST_F(IndexerExamples, change_plan) {
    const auto parse = [&](const PlannedFile& file) { seen.push_back(file.entry.path); };
#include "example_of/indexer/plan/change_plan.hpp"
    EXPECT_EQ(seen, expected);
}

TEST_F(IndexerExamples, language){
#include "example_of/indexer/plan/language.hpp"
}

TEST_F(IndexerExamples, dictionary_sample) {
#include "example_of/indexer/run/dictionary_sample.hpp"
    EXPECT_FALSE(dictionary) << "two small files are too few for one";
}

TEST_F(IndexerExamples, index_lock) {
#include "example_of/indexer/run/index_lock.hpp"
    EXPECT_THROW(IndexLock{root}, std::runtime_error);
}

TEST_F(IndexerExamples, index_run) {
    const auto print = [](std::int64_t files, std::int64_t new_files, std::int64_t changed_files) {
        EXPECT_EQ(files, 2);
        EXPECT_EQ(new_files, 2);
        EXPECT_EQ(changed_files, 0);
    };
#include "example_of/indexer/run/index_run.hpp"
}

TEST_F(IndexerExamples, index_store) {
    ParsePipeline pipeline = parse_files(root, plan.to_read, layout, dictionary, 0);
#include "example_of/indexer/run/index_store.hpp"
    EXPECT_EQ(index_status(db).chunks, 2);
}

TEST_F(IndexerExamples, parse_file) {
    const PlannedFile planned = plan.to_read[0];
    const std::int64_t id = 1;
    chunk_store::Writer writer(db, layout);
#include "example_of/indexer/run/parse_file.hpp"
    writer.flush();
    EXPECT_EQ(index_status(db).chunks, 1);
}

TEST_F(IndexerExamples, parse_pipeline) {
    const auto store = [&](const PlannedFile& file, const ParsedFile& parsed) {
        EXPECT_EQ(parsed.outcome, Outcome::CHUNKS);
        seen.push_back(file.entry.path);
    };
#include "example_of/indexer/run/parse_pipeline.hpp"
    EXPECT_EQ(seen, expected);
}

TEST_F(IndexerExamples, status) {
    index_repository(root);
    const auto print = [](std::int64_t files, std::int64_t chunks) {
        EXPECT_EQ(files, 2);
        EXPECT_EQ(chunks, 2);
    };
#include "example_of/indexer/status.hpp"
}

}  // namespace
}  // namespace codetext::indexer
