// Decoding, lines, lower case and code points against ICU and the slow references, and finding
// against the standard library's.

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include "fuzz.hpp"
#include "utils/reference.hpp"
#include "utils/text_find.hpp"
#include "utils/unicode.hpp"

namespace codetext::fuzz {

std::string utf8_of(const icu::UnicodeString& text) {
    std::string utf8;
    return text.toUTF8String(utf8);
}

void target(Input input) {
    const std::string needle = input.line();
    const std::string text = unicode::decode(input.rest());
    icu::UnicodeString units = icu::UnicodeString::fromUTF8(input.rest());
    require(text == utf8_of(units), "decode gives what ICU gives");
    require(unicode::code_points(text) == units.countChar32(), "code_points counts as ICU");
    require(unicode::lower(text) == utf8_of(units.toLower(icu::Locale::getRoot())),
            "lower gives what ICU gives");

    std::string lines;
    for (const std::string& line : reference::reference_lines(text)) lines += line + "\n";
    const auto joined = unicode::joined_lines(text);
    require((joined ? *joined + "\n" : "") == lines, "joined_lines gives the lines");

    require(text_find::find(text, needle, 1) == text.find(needle, 1), "find finds the first");
    std::string folded = text, folded_needle = needle;
    for (std::string* one : {&folded, &folded_needle}) {
        for (char& c : *one) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    }
    require(text_find::find_ignoring_ascii_case(text, folded_needle) == folded.find(folded_needle),
            "find_ignoring_ascii_case folds ASCII alone");
}

}  // namespace codetext::fuzz
