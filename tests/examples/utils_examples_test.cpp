// The examples of the headers in src/utils, each in the surroundings that it takes for granted.
// `example_of/...` is the example itself; extract.cmake takes it out of the header.

#include <fcntl.h>
#include <gtest/gtest.h>

#include <atomic>

#include "utils/byte_block.hpp"
#include "utils/descriptor.hpp"
#include "utils/fsio.hpp"
#include "utils/ordered_pool.hpp"
#include "utils/process.hpp"
#include "utils/sorted_lookup.hpp"
#include "utils/temp_folder.hpp"
#include "utils/threads.hpp"
#include "utils/unicode.hpp"

namespace codetext::byte_block {

TEST(examples, byte_block) {
    const std::string text = "a\nb\n" + std::string(BLOCK_BYTES, ' ');
#include "example_of/utils/byte_block.hpp"
    EXPECT_EQ(line_feeds, 0b1010u);
}

}  // namespace codetext::byte_block

namespace codetext {

using Numbers = std::vector<std::int64_t>;

TEST(examples, descriptor) {
    const test_support::TempFolder folder;
    const auto is_directory = [](const std::string& path) {
#include "example_of/utils/descriptor.hpp"
        return directory.number() >= 0;
    };
    EXPECT_TRUE(is_directory(folder.path()));
    EXPECT_THROW(is_directory(folder.path() / "missing"), std::system_error);
}

TEST(examples, fsio) {
    const test_support::TempFolder folder;
    folder.write("a.txt", "one");
    const std::filesystem::path path = folder.path() / "a.txt";
#include "example_of/utils/fsio.hpp"
    EXPECT_EQ(bytes, "one");
}

TEST(examples, ordered_pool) {
    const std::vector<std::string> files = {"a", "b", "c"};
    const auto read = [](const std::string& file) { return "<" + file + ">"; };
    std::string out;
    const auto print = [&](const std::string& text) { out += text; };
#include "example_of/utils/ordered_pool.hpp"
    EXPECT_EQ(out, "<a><b><c>");
}

TEST(examples, threads) {
    const std::size_t wanted = 2;
    std::atomic<int> done = 0;
    const auto work = [&] { ++done; };
#include "example_of/utils/threads.hpp"
    helpers.clear();
    EXPECT_EQ(done, 2);
}

TEST(examples, process) {
    const std::string root = "/";
    const std::vector<std::string> environment = {"PATH=/usr/local/bin:/usr/bin:/bin"};
    const auto run = [&] {
#include "example_of/utils/process.hpp"
    };
    EXPECT_THROW(run(), std::runtime_error);
}

TEST(examples, sorted_lookup) {
    const Numbers ids = {1, 3, 7, 9}, others = {2, 3, 9, 11};
    Numbers used;
    const auto use = [&](std::int64_t id) { used.push_back(id); };
#include "example_of/utils/sorted_lookup.hpp"
    EXPECT_EQ(used, (Numbers{3, 9}));
}

TEST(examples, unicode) {
    const test_support::TempFolder folder;
    folder.write("a.txt", "one\r\ntwo \xFF\n");
    const std::filesystem::path path = folder.path() / "a.txt";
#include "example_of/utils/unicode.hpp"
    EXPECT_EQ(lines, "one\ntwo \uFFFD");
}

}  // namespace codetext
