#include <gmock/gmock.h>
#include <unicode/unistr.h>

#include "utils/reference.hpp"
#include "utils/text_find.hpp"
#include "utils/unicode.hpp"

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

TEST(count_line_feeds, counts_every_one) {
    reference::for_texts({"a", "\n", "\r", "\x8A", "\v"}, 3, [](const std::string& text) {
        ASSERT_EQ(text_find::count_line_feeds(text), std::count(text.begin(), text.end(), '\n'))
            << PrintToString(text);
    });
    EXPECT_EQ(text_find::count_line_feeds(std::string(70001, '\n')), 70001);
}

using Texts = std::vector<std::string>;

// Lead bytes, and second bytes on either side of what each allows.
const Texts BYTES = reference::words(
    "a \n \x80 \x8F \x90 \x9F \xA0 \xBF \xC1 \xC2 \xE0 \xE2 \xED \xF0 \xF1 \xF4 \xF5 \xFF");
// Every boundary, what is one bit or one byte off a boundary, and lone surrogates.
const Texts UNITS = reference::words(
    "a \n \r \v \f \x1C \x1D \x1E \t \x0E \x1B \x1F \u0085 \u2028 \u2029 \u2027 \xED\xA0\x80 "
    "\u00A9");

TEST(decode, agrees_with_icu) {
    reference::for_texts(BYTES, 4, [](const std::string& bytes) {
        std::string expected;
        icu::UnicodeString::fromUTF8(bytes).toUTF8String(expected);
        ASSERT_EQ(unicode::decode(bytes), expected) << PrintToString(bytes);
    });
}

TEST(joined_lines, agrees_with_the_reference) {
    EXPECT_THAT(reference::reference_lines("a\r\n\n\rb\u0085\u2028"),
                testing::ElementsAre("a", "", "", "b", ""));
    reference::for_texts(UNITS, 4, [](const std::string& text) {
        std::string expected;
        for (const std::string& line : reference::reference_lines(text)) expected += line + "\n";
        const auto joined = unicode::joined_lines(text);
        ASSERT_EQ(joined ? *joined + "\n" : "", expected) << PrintToString(text);
    });
}

const std::vector<std::pair<std::string, std::string>> LOWER_CASE_LINES = {
    {"", ""},
    {"XYZ", "xyz"},
    {"@AZ[`az{ sixteen and MORE bytes of ASCII", "@az[`az{ sixteen and more bytes of ascii"},
    {"\u0130X\u212A", "i\u0307xk"},                // into ASCII, and longer
    {"\u039F\u03A3", "\u03BF\u03C2"},              // a sigma that ends its word
    {"\u039F\u03A3\u039F", "\u03BF\u03C3\u03BF"},  // one that does not
    {"\u03A3", "\u03C3"},                          // one with no letter before it
    {"A\u03A3.", "a\u03C2."},
    {"A\u03A3.B", "a\u03C3.b"},                    // past a case-ignorable full stop
    {"\u1C90\u13A0\u13F0", "\u10D0\uAB70\u13F8"},  // Georgian, Cherokee
    {"\u023A\u023A\u1E9E\U00010400", "\u2C65\u2C65\u00DF\U00010428"},  // two bytes to three
    {"\xED\xA0\x80Z", "\xED\xA0\x80z"}};                               // a lone surrogate

// In texts of several lines, since lines are where a text is cut and sigma looks at its neighbours.
TEST(lower, gives_each_line_its_full_lower_case_form) {
    SCOPED_TRACE(reference::RandomTexts::SEED);
    reference::RandomTexts random({"-"});
    for (int i = 0; i < 5000; ++i) {
        std::string text, expected;
        for (std::size_t lines = random.below(9); lines > 0; --lines) {
            const auto& [line, lowered] = LOWER_CASE_LINES[random.below(LOWER_CASE_LINES.size())];
            const std::string padding = "\n" + random.text(2);
            text += line + padding;
            expected += lowered + padding;
        }
        ASSERT_EQ(unicode::lower(text), expected) << PrintToString(text);
    }
}

TEST(code_points, are_counted_and_found_by_their_first_bytes) {
    reference::for_texts(UNITS, 2, [](const std::string& text) {
        std::int64_t count = 0;
        for (std::size_t at = 0; at < text.size(); ++at) {
            if ((text[at] & 0xC0) == 0x80) continue;
            ASSERT_EQ(unicode::byte_offset(text, count++), at) << PrintToString(text);
        }
        ASSERT_EQ(unicode::code_points(text), count) << PrintToString(text);
        ASSERT_EQ(unicode::byte_offset(text, count), text.size());
        ASSERT_EQ(unicode::byte_offset(text, count + 1), text.size());
    });
}

}  // namespace
}  // namespace codetext
