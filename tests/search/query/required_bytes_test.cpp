#include "search/query/required_bytes.hpp"

#include <gtest/gtest.h>

#include "utils/reference.hpp"

namespace codetext::search {
namespace {

std::string members(const std::bitset<256>& bytes) {
    std::string all;
    for (std::size_t byte = 0; byte < 256; ++byte) {
        if (bytes[byte]) all += static_cast<char>(byte);
    }
    return all;
}

TEST(required_bytes, is_seen_only_where_every_match_has_it) {
    const struct {
        std::string pattern;
        std::size_t length;
        std::string bytes;
    } CASES[] = {{"[0-9]{7,}", 7, "0123456789"},
                 {"\\d\\d-?\\d{2,3}", 4, "-0123456789"},
                 {"\\w+[0-9]{5}", 5, "0123456789"},
                 {"x*[ab-d]{6}?\\.", 7, ".abcd"},
                 {"^[!-#]{9}$", 9, "!\"#"},
                 {"[a-c]{4}.[x-z]{9}", 9, "xyz"},
                 {"[ab]{4,}[0-9]*[ab]{3}", 4, "ab"},
                 {std::string(1000, '.') + "[0-9]{5}", 5, "0123456789"},
                 {"[ab]{99}", 64, "ab"}};
    for (const auto& [pattern, length, bytes] : CASES) {
        const auto required = required_bytes(pattern, true);
        ASSERT_TRUE(required) << pattern.substr(0, 40);
        EXPECT_EQ(required->length, length) << pattern.substr(0, 40);
        EXPECT_EQ(members(required->bytes), bytes) << pattern.substr(0, 40);
    }
    for (const std::string& pattern : reference::words(
             "0[0-9]{7} [0-9]{1,7} \\w{10} ([0-9]{7})? [0-9]{7}|x [^0-9]{7} [0-9]{7 [0-9]{,7} "
             "[0-9]{7,x} [0-9\u00e9]{7} [\\d]{7} [0-9]{0}[ab] [0-9]{07} [0-9]{4,05} "
             "[0-9]{4,9999999999} [0-9]* [[:digit:]]{9} [0-9]{3}.[0-9]{3}")) {
        EXPECT_FALSE(required_bytes(pattern, true)) << pattern.substr(0, 40);
    }
    EXPECT_EQ(members(required_bytes("[a-c]{7}", false)->bytes), "ABCabc");
    EXPECT_FALSE(required_bytes("[j-l]{7}", false)) << "U+212A is a k";
}

}  // namespace
}  // namespace codetext::search
