#include "utils/text_find.hpp"

#include <gtest/gtest.h>

#include "utils/reference.hpp"

namespace codetext {
namespace {

using testing::PrintToString;

std::string folded(std::string text) {
    for (char& byte : text) {
        if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
    }
    return text;
}

void expect_found_as_by_reference(std::string_view text, const std::string& needle,
                                  std::size_t from = 0) {
    ASSERT_EQ(text_find::find(text, needle, from), text.find(needle, from))
        << PrintToString(needle) << " from " << from << " in " << PrintToString(text);
    const std::string lowered = folded(needle);
    ASSERT_EQ(text_find::find_ignoring_ascii_case(text, lowered, from),
              folded(std::string(text)).find(lowered, from))
        << PrintToString(lowered) << " from " << from << " in " << PrintToString(text);
}

// Needles out of the text itself, so that most are found, with a byte changed here and there; '@',
// '[' and '`' are what a careless folding takes for letters.
TEST(find, agrees_with_the_reference) {
    reference::RandomTexts random({"e", "E", "zq", "@", "`", "[", "{", "\xC3\x89", " ", "\n"});
    reference::for_texts({"e", "E", "Zq", "@", "`", "["}, 4, [&](const std::string& text) {
        for (const std::string& whole : {text, random.text(20)}) {
            const std::size_t begin = random.below(whole.size() + 1);
            std::string needle = whole.substr(begin, random.below(70));
            if (!needle.empty() && random.below(3) == 0) needle[0] ^= 0x20;
            // The needle may reach past the end of what is searched.
            const std::string_view part = std::string_view(whole).substr(
                0, whole.size() - random.below(2) * (whole.size() > 0));
            expect_found_as_by_reference(part, needle, random.below(part.size() + 2));
        }
    });
}

// Nearly the needle at every place: the search hands over to another one on its way, which reads
// the text in blocks of 4096 bytes and more.
TEST(find, finds_in_repetitive_text) {
    for (const std::size_t half : {1, 60, 3000}) {
        const std::string needle = std::string(half, 'a') + "b" + std::string(half, 'a');
        const std::size_t step = half == 60 ? 1 : 113;
        for (std::size_t place = half; place < 9000; place += step) {
            std::string text(10000, place % 2 == 0 ? 'A' : 'a');
            text[place] = 'b';
            const std::size_t found = place + half < text.size() ? place - half : std::string::npos;
            ASSERT_EQ(text_find::find_ignoring_ascii_case(text, needle), found) << needle.size();
            text = folded(text);
            ASSERT_EQ(text_find::find(text, needle), found) << needle.size();
        }
    }
    std::string text;
    for (int i = 0; i < 3000; ++i) text += "ab";
    text += "bb" + text + "bb";
    expect_found_as_by_reference(text, "ababbb", 10);
    expect_found_as_by_reference(text, "ababbb", 5997);
    // A search that compared at every place would take minutes.
    const std::string letters(64 << 20, 'a'), half(2000, 'a');
    EXPECT_EQ(text_find::find_ignoring_ascii_case(letters, half + "b" + half),
              text_find::NOT_FOUND);
}

TEST(lowers_into_ascii, holds_for_the_two_characters_that_do) {
    for (const std::string other : {"", "K", "I", "\u212B", "\u0131", "\u012F"}) {
        const std::string text = std::string(37, 'k') + other;
        EXPECT_FALSE(text_find::lowers_into_ascii(text)) << other;
        EXPECT_TRUE(text_find::lowers_into_ascii(text + "\u212A" + text)) << other;
        EXPECT_TRUE(text_find::lowers_into_ascii(text + "\u0130")) << other;
    }
}

TEST(count_line_feeds, counts_every_one) {
    reference::for_texts({"a", "\n", "\r", "\x8A", "\v"}, 3, [](const std::string& text) {
        ASSERT_EQ(text_find::count_line_feeds(text), std::count(text.begin(), text.end(), '\n'))
            << PrintToString(text);
    });
    EXPECT_EQ(text_find::count_line_feeds(std::string(70001, '\n')), 70001);
}

}  // namespace
}  // namespace codetext
