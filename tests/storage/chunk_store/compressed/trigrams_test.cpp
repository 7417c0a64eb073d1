#include "storage/chunk_store/compressed/trigrams.hpp"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "storage/temp_index.hpp"
#include "utils/unicode.hpp"

namespace codetext::chunk_store {
namespace {

std::set<std::uint32_t> plain_trigrams(const std::string& text) {
    std::set<std::uint32_t> all;
    const auto fold = [](char c) {
        return static_cast<std::uint32_t>(
            static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c));
    };
    for (std::size_t i = 0; i + 3 <= text.size(); ++i) {
        if (text.substr(i, 3).find('\n') != std::string::npos) continue;
        all.insert(fold(text[i]) << 16 | fold(text[i + 1]) << 8 | fold(text[i + 2]));
    }
    return all;
}

TEST(trigrams, collector_finds_each_once) {
    std::mt19937 random(11);
    TrigramCollector collector;
    for (int round = 0; round < 2000; ++round) {
        const std::string text = test_support::nasty_text(random, static_cast<int>(random() % 40));
        std::vector<std::uint32_t> found = {42};
        const std::uint32_t count = collector.append(text, found);
        ASSERT_EQ(found.size(), count + 1u);
        const std::set<std::uint32_t> distinct(found.begin() + 1, found.end());
        ASSERT_EQ(distinct.size(), count) << text;
        std::set<std::uint32_t> expected = plain_trigrams(text);
        if (text.find("\u212a") != text.npos || text.find("\u0130") != text.npos) {
            expected.merge(plain_trigrams(unicode::lower(text)));
        }
        ASSERT_EQ(distinct, expected) << text;
    }
}

TEST(trigrams, query_of_a_needle) {
    // The second of each is what it asks for; "\u00e9=" is of two code points, though three bytes.
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", ""},        {"ab", ""},   {"\u00e9=", ""},  {"abc", "abc"}, {"ABCa", "abc bca"},
        {"aaaa", "aaa"}, {"a\nb", ""}, {"abc\nd", "abc"}};
    for (const auto& [needle, trigrams] : cases) {
        std::vector<std::uint32_t> codes;
        for (const std::string& t : reference::words(trigrams)) {
            codes.push_back(std::uint32_t(t[0]) << 16 | std::uint32_t(t[1]) << 8 |
                            std::uint32_t(t[2]));
        }
        const auto query = trigram_query(needle);
        EXPECT_EQ(query ? query->trigrams : std::vector<std::uint32_t>{}, codes) << needle;
    }
}

}  // namespace
}  // namespace codetext::chunk_store
