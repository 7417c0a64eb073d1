// The examples of the headers in src/indexer, each in the surroundings that it takes for granted.

#include <gtest/gtest.h>

#include <cassert>

#include "examples/seen.hpp"
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

/// A repository of two files, and its index, which knows none of them.
class IndexerExamples : public ::testing::Test, public test::Takers {
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
};

TEST_F(IndexerExamples, file_list) {
#include "example_of/indexer/listing/file_list.hpp"
    EXPECT_EQ(list.files.size(), 2u);
}

TEST_F(IndexerExamples, file_status) {
    make_git_work_tree();
#include "example_of/indexer/listing/file_status.hpp"
    EXPECT_EQ(found.files.size(), 2u);
}

TEST_F(IndexerExamples, git_files) {
    make_git_work_tree();
#include "example_of/indexer/listing/git_files.hpp"
    EXPECT_EQ(seen.text, "a.c,lib/b.c,");
}

TEST_F(IndexerExamples, tree_walk) {
#include "example_of/indexer/listing/tree_walk.hpp"
    EXPECT_EQ(seen.text, "a.c,lib/b.c,");
}

TEST_F(IndexerExamples, change_plan) {
#include "example_of/indexer/plan/change_plan.hpp"
    EXPECT_EQ(seen.text, "a.c,lib/b.c,");
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
#include "example_of/indexer/run/index_run.hpp"
    EXPECT_EQ(seen.text, "2:2:0,");
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
#include "example_of/indexer/run/parse_pipeline.hpp"
    EXPECT_EQ(seen.text, "a.c:chunks,lib/b.c:chunks,");
}

TEST_F(IndexerExamples, status) {
    index_repository(root);
#include "example_of/indexer/status.hpp"
    EXPECT_EQ(seen.text, "2:2,");
}

}  // namespace codetext::indexer
