// The examples of the headers in src/cli, each in the surroundings that it takes for granted.

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "cli/color.hpp"
#include "cli/commands.hpp"
#include "cli/existing_index.hpp"
#include "cli/file_types.hpp"
#include "cli/help.hpp"
#include "cli/nearest_name.hpp"
#include "cli/output.hpp"
#include "cli/repository.hpp"
#include "cli/search_paths.hpp"
#include "cli/text_output.hpp"
#include "indexer/run/index_run.hpp"
#include "utils/temp_folder.hpp"

namespace codetext::cli {
namespace {

using Names = std::vector<std::string>;

/// A repository of one file with its index; the current directory is `lib` in it.
class CliExamples : public ::testing::Test {
  protected:
    CliExamples() {
        folder.write("drivers/net/tun.c", "int tun;\n");
        std::filesystem::create_directory(folder.path() / "lib");
        indexer::index_repository(folder.path());
        std::filesystem::current_path(folder.path() / "lib");
    }
    ~CliExamples() override { std::filesystem::current_path(_before); }
    test_support::TempFolder folder;

  private:
    const std::filesystem::path _before = std::filesystem::current_path();
};

TEST_F(CliExamples, color) {
    const bool is_terminal = false;
    const std::string path = "a.c";
    std::string out;
#include "example_of/cli/color.hpp"
    EXPECT_EQ(out, "a.c");
}

TEST_F(CliExamples, commands) {
#include "example_of/cli/commands.hpp"
    EXPECT_EQ(arguments.search.paths, (Names{"x"}));
}

TEST_F(CliExamples, existing_index) {
#include "example_of/cli/existing_index.hpp"
    EXPECT_EQ(db.fetchone("SELECT count(*) FROM files")->integer(0), 1);
}

TEST_F(CliExamples, file_types) {
#include "example_of/cli/file_types.hpp"
    EXPECT_EQ(members, (Names{"python", "cpp", ".h"}));
}

TEST_F(CliExamples, help) {
    AllArguments arguments;
    const Command command = program_command(arguments);
    testing::internal::CaptureStdout();
#include "example_of/cli/help.hpp"
    EXPECT_NE(testing::internal::GetCapturedStdout().find("--version"), std::string::npos);
}

TEST_F(CliExamples, nearest_name) {
#include "example_of/cli/nearest_name.hpp"
    EXPECT_EQ(hint, "; did you mean --color?");
}

TEST_F(CliExamples, options) {
#include "example_of/cli/options.hpp"
    EXPECT_TRUE(all);
    EXPECT_EQ(paths, (Names{"-odd-name"}));
}

TEST_F(CliExamples, output) {
    const auto stop = [] { FAIL() << "nobody has closed standard output"; };
    testing::internal::CaptureStdout();
    {
#include "example_of/cli/output.hpp"
        out.flush();
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "src/main.c:1:int main() {}\n");
}

TEST_F(CliExamples, repository) {
#include "example_of/cli/repository.hpp"
    EXPECT_EQ(root, folder.path());
}

TEST_F(CliExamples, repository_arguments) {
#include "example_of/cli/repository_arguments.hpp"
    parse(command, {"src"});
    EXPECT_EQ(arguments.path(), "src");
}

TEST_F(CliExamples, search_arguments) {
#include "example_of/cli/search_arguments.hpp"
    EXPECT_EQ(arguments.patterns, (Names{"foo"}));
    EXPECT_EQ(arguments.paths, (Names{"src"}));
}

TEST_F(CliExamples, search_paths) {
#include "example_of/cli/search_paths.hpp"
    EXPECT_EQ(shown, "../drivers/net/tun.c");
}

TEST_F(CliExamples, text_output) {
    const search::Query query = search::make_query({.patterns = {"int"}});
    const SearchPaths paths(Names{});
    const code_text::FileRow file{1, "drivers/net/tun.c", "c", std::nullopt};
    search::FileResult result;
    result.file = &file;
    result.lines = {{1, 0, "int tun;"}};
    std::string out;
#include "example_of/cli/text_output.hpp"
    EXPECT_EQ(out, "../drivers/net/tun.c\n1:int tun;\n");
}

}  // namespace
}  // namespace codetext::cli
