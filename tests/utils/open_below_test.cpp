#include "utils/open_below.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <random>
#include <thread>

#include "utils/path_below.hpp"
#include "utils/reference.hpp"
#include "utils/temp_folder.hpp"

namespace codetext {
namespace {

namespace fs = std::filesystem;
using test_support::TempFolder;

constexpr auto WAYS = {open_below, _open_by_components};

TEST(open_below, opens_what_lies_below_and_follows_no_link) {
    TempFolder folder;
    folder.write("root/d/e/file", "x");
    folder.write("outside/file", "secret");
    const fs::path root = folder.path() / "root";
    fs::create_symlink("d/e/file", root / "link");
    fs::create_symlink("e", root / "d/inner");
    fs::create_symlink(folder.path() / "outside", root / "out");
    const Descriptor opened = open_root(root);
    const std::pair<const char*, int> cases[] = {{"d/e/file", 0},     {"d", 0},
                                                 {"d/none", ENOENT},  {"d/e/file/x", ENOTDIR},
                                                 {"link", ELOOP},     {"d/inner/file", ELOOP},
                                                 {"out/file", ELOOP}, {"out", ELOOP}};
    for (const auto& [path, error] : cases) {
        for (const auto way : WAYS) {
            errno = 0;
            const Descriptor found = way(opened, path, O_RDONLY | O_CLOEXEC);
            // The last directory before a link says that the link is none.
            const bool is_link = error == ELOOP && (errno == ELOOP || errno == ENOTDIR);
            EXPECT_TRUE(errno == error || is_link) << path << ": " << errno;
            EXPECT_EQ(bool(found), error == 0) << path;
        }
    }
    for (const std::string path : {"", ".", "..", "/", "/etc/passwd", "../outside/file", "d/../d",
                                   "d//e", "d/", "./d", "d/.", "d/e/..", "d/./e"}) {
        EXPECT_FALSE(is_path_below(path)) << path;
        EXPECT_FALSE(open_below(opened, path, O_RDONLY)) << path;
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_FALSE(is_path_below(std::string("d\0", 2)));
    EXPECT_TRUE(is_path_below("..d/.e/f..g/..."));
    EXPECT_THROW(open_root(root / "d/e/file"), std::system_error);
}

// A directory that is exchanged for a link, again and again, while files below it are opened.
TEST(open_below, never_leads_out_while_a_directory_becomes_a_link) {
    TempFolder folder;
    folder.write("root/d/file", "inside");
    folder.write("outside/file", "outside");
    const fs::path root = folder.path() / "root";
    fs::create_symlink(folder.path() / "outside", root / "link");
    std::atomic<bool> stop = false;
    const std::jthread exchange([&] {
        while (!stop) {
            ::renameat2(AT_FDCWD, (root / "d").c_str(), AT_FDCWD, (root / "link").c_str(),
                        RENAME_EXCHANGE);
        }
    });
    const Descriptor opened = open_root(root);
    for (const auto way : WAYS) {
        int found = 0, refused = 0;
        while (found < 200 || refused < 200) {
            const Descriptor file = way(opened, "d/file", O_RDONLY | O_CLOEXEC);
            ++(file ? found : refused);
            char byte = 0;
            ASSERT_TRUE(!file || (::read(file.number(), &byte, 1) == 1 && byte == 'i'));
        }
    }
    stop = true;
}

TEST(path_below, agrees_with_a_look_at_each_component) {
    std::mt19937 random(20261123);
    int good = 0;
    for (int round = 0; round < 200'000; ++round) {
        std::string path;
        for (auto left = random() % 30; left > 0; --left)
            path += "/./.abcdefgh\xAF\xAE\x01\0"[random() % 17];
        bool expected = !path.empty() && path.find('\0') == std::string::npos;
        for (std::string_view component : reference::words(path, '/')) {
            expected = expected && !component.empty() && component != "." && component != "..";
        }
        ASSERT_EQ(is_path_below(path), expected) << ::testing::PrintToString(path);
        good += expected ? 1 : 0;
    }
    EXPECT_GT(good, 20'000);
}

}  // namespace
}  // namespace codetext
