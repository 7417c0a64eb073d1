#include "utils/path_below.hpp"

#include <gtest/gtest.h>

#include <random>

#include "utils/reference.hpp"

namespace codetext {
namespace {

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
