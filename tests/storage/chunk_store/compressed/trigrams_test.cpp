#include "storage/chunk_store/compressed/trigrams.hpp"

#include <gtest/gtest.h>

#include <set>

#include "storage/temp_index.hpp"
#include "utils/unicode.hpp"

namespace codetext::chunk_store {
namespace {

using Codes = std::vector<std::uint32_t>;

void add_trigrams(const std::string& text, std::set<std::uint32_t>& all) {
    for (std::size_t i = 0; i + 3 <= text.size(); ++i) {
        std::uint32_t code = 0;
        for (const char c : text.substr(i, 3)) {
            code = code << 8 | static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
        }
        if (text.substr(i, 3).find('\n') == std::string::npos) all.insert(code);
    }
}

TEST(trigrams, collector_finds_each_once) {
    std::mt19937 random(11);
    TrigramCollector collector;
    for (int round = 0; round < 2000; ++round) {
        const std::string text = test_support::nasty_text(random, static_cast<int>(random() % 40));
        Codes found = {42};
        const std::uint32_t count = collector.append(text, found);
        std::set<std::uint32_t> expected;
        add_trigrams(text, expected);
        if (text.find("\u212a") != text.npos || text.find("\u0130") != text.npos) {
            add_trigrams(unicode::lower(text), expected);
        }
        ASSERT_EQ(found.size(), count + 1u);
        std::sort(found.begin() + 1, found.end());
        ASSERT_EQ(Codes(found.begin() + 1, found.end()), Codes(expected.begin(), expected.end()))
            << text;
    }
}

TEST(trigrams, query_of_a_needle) {
    // The second of each is what it asks for; "\u00e9=" is of two code points, though three bytes.
    const std::pair<std::string, std::string> CASES[] = {
        {"", ""},        {"ab", ""},   {"\u00e9=", ""},  {"abc", "abc"}, {"ABCa", "abc bca"},
        {"aaaa", "aaa"}, {"a\nb", ""}, {"abc\nd", "abc"}};
    for (const auto& [needle, trigrams] : CASES) {
        std::set<std::uint32_t> codes;
        for (const std::string& trigram : reference::words(trigrams)) add_trigrams(trigram, codes);
        const auto query = trigram_query(needle);
        EXPECT_EQ(query ? query->trigrams : Codes{}, Codes(codes.begin(), codes.end())) << needle;
    }
}

}  // namespace
}  // namespace codetext::chunk_store
