// The examples of the headers in src/utils, each in the surroundings that it takes for granted.
// `example_of/...` is the example itself; extract.cmake takes it out of the header.

#include <fcntl.h>
#include <gtest/gtest.h>

#include <atomic>

#include "examples/seen.hpp"
#include "utils/byte_block.hpp"
#include "utils/descriptor.hpp"
#include "utils/fsio.hpp"
#include "utils/ordered_pool.hpp"
#include "utils/platform.hpp"
#include "utils/process.hpp"
#include "utils/sorted_lookup.hpp"
#include "utils/temp_folder.hpp"
#include "utils/threads.hpp"
#include "utils/unicode.hpp"

namespace codetext {

class UtilsExamples : public ::testing::Test, public test::Takers {
  protected:
    UtilsExamples() { folder.write("a.txt", "one\r\ntwo \xFF\n"); }
    test_support::TempFolder folder;
    std::string path = folder.path() / "a.txt";
};

namespace byte_block {

TEST_F(UtilsExamples, byte_block) {
    const std::string text = "a\nb\n" + std::string(BLOCK_BYTES, ' ');
#include "example_of/utils/byte_block.hpp"
    EXPECT_EQ(line_feeds, 0b1010u);
}

}  // namespace byte_block

TEST_F(UtilsExamples, descriptor) {
    const auto run = [this] {
#include "example_of/utils/descriptor.hpp"
    };
    EXPECT_THROW(run(), std::system_error) << "a file is no directory";
    path = folder.path();
    EXPECT_NO_THROW(run());
}

TEST_F(UtilsExamples, fsio) {
#include "example_of/utils/fsio.hpp"
    EXPECT_EQ(bytes, "one\r\ntwo \xFF\n");
}

TEST_F(UtilsExamples, ordered_pool) {
    const std::vector<std::string> files = {"a", "b", "c"};
    const auto read = [](const std::string& file) { return "<" + file + ">"; };
#include "example_of/utils/ordered_pool.hpp"
    EXPECT_EQ(seen.text, "<a>,<b>,<c>,");
}

TEST_F(UtilsExamples, platform) {
    path = folder.path();
#include "example_of/utils/platform.hpp"
    EXPECT_TRUE(directory);
}

TEST_F(UtilsExamples, process) {
    const std::string root = "/";
    const std::vector<std::string> environment = {"PATH=/usr/local/bin:/usr/bin:/bin"};
    const auto run = [&] {
#include "example_of/utils/process.hpp"
    };
    EXPECT_THROW(run(), std::runtime_error) << "there is no git work tree";
}

TEST_F(UtilsExamples, sorted_lookup) {
    const std::vector<std::int64_t> ids = {1, 3, 7, 9}, others = {2, 3, 9, 11};
#include "example_of/utils/sorted_lookup.hpp"
    EXPECT_EQ(seen.text, "3,9,");
}

TEST_F(UtilsExamples, threads) {
    const std::size_t wanted = 2;
    std::atomic<int> done = 0;
    const auto work = [&] { ++done; };
#include "example_of/utils/threads.hpp"
    helpers.clear();
    EXPECT_EQ(done, 2);
}

TEST_F(UtilsExamples, unicode) {
#include "example_of/utils/unicode.hpp"
    EXPECT_EQ(lines, "one\ntwo \uFFFD");
}

}  // namespace codetext
