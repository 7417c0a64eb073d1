// What others wrote reaches a terminal escaped, and no name forges a line of output. The transcript
// hostile_names.txt shows the program at it.

#include "cli/escaped.hpp"

#include <gtest/gtest.h>

#include "utils/reference.hpp"

namespace codetext::cli {
namespace {

using Cases = std::vector<std::pair<std::string, std::string>>;

/// What a path is, of which quoted_path gave the quoted form.
std::string unquoted(std::string_view quoted) {
    if (!quoted.starts_with('"')) return std::string(quoted);
    const std::string_view names = "abtnvfr\"\\", bytes = "\a\b\t\n\v\f\r\"\\";
    std::string path;
    for (std::size_t at = 1; at + 1 < quoted.size(); ++at) {
        if (quoted[at] != '\\') {
            path += quoted[at];
        } else if (const std::size_t name = names.find(quoted[++at]); name != names.npos) {
            path += bytes[name];
        } else {
            path += static_cast<char>(std::stoi(std::string(quoted.substr(at, 3)), nullptr, 8));
            at += 2;
        }
    }
    return path;
}

TEST(escaped, shows_what_a_terminal_would_obey) {
    const Cases CASES = {
        {"a\tb \\ \" ~", "a\tb \\ \" ~"},
        {std::string("\0\x01\x1F\x7F\n\r", 6), "\\x00\\x01\\x1f\\x7f\\n\\x0d"},
        {"\x1B[2J\xC2\x9B"
         "2J",
         "\\x1b[2J<U+009B>2J"},
        {"\u0080\u009F\u00A0", "<U+0080><U+009F>\u00A0"},
        {"\u061B\u061C\u061D", "\u061B<U+061C>\u061D"},
        {"\u200D\u200E\u200F\u2010", "\u200D<U+200E><U+200F>\u2010"},
        {"\u2027\u2028\u2029\u202E\u202F", "\u2027<U+2028><U+2029><U+202E>\u202F"},
        {"\u2065\u2066\u2069\u206A\U0001F600", "\u2065<U+2066><U+2069>\u206A\U0001F600"},
        {"\xE9t\xE2\x80 \xC0\x8A\xED\xA0\x80", "\\xe9t\\xe2\\x80 \\xc0\\x8a\\xed\\xa0\\x80"}};
    for (const auto& [text, expected] : CASES) EXPECT_EQ(escaped(text), expected);
}

TEST(quoted_path, is_one_harmless_line_that_gives_the_path_back) {
    const Cases CASES = {{"a b/\u00e9.c", "a b/\u00e9.c"},
                         {"a\"\\.c", "a\"\\.c"},
                         {"\"a\\", R"("\"a\\")"},
                         {"a\n\"\\b:1:", R"("a\n\"\\b:1:")"},
                         {"\x1B\u202E\t7", R"("\033\342\200\256\t7")"},
                         {"\xE9", R"("\351")"}};
    for (const auto& [path, expected] : CASES) EXPECT_EQ(quoted_path(path), expected);
    reference::for_texts(
        reference::words("a|\n|\"|\\|n|\t|\x1B|\x7F|0|\u00e9|\u0085|\u202E|\xE9|\xE2\x80", '|'), 3,
        [](const std::string& path) {
            const std::string quoted = quoted_path(path);
            EXPECT_EQ(unquoted(quoted), path);
            ASSERT_EQ(escaped(quoted), quoted);
            ASSERT_EQ(quoted.find('\t'), quoted.npos);
        });
}

}  // namespace
}  // namespace codetext::cli
