// What can be told of a pattern from its text, without RE2's parse, which is not for others to use.
// Whoever is in doubt answers on the safe side: an escaped backslash before a letter may look like
// an escape, and the pattern is then searched the slower way.
//
// A pattern is put between other pieces of a pattern only after an open quotation (\Q) is closed,
// or the quotation would take in what follows.

#include "search/query/pattern_text.hpp"

#include <algorithm>

#include "utils/unicode.hpp"

namespace codetext::search {

namespace {

// A closing bracket or brace is plain text unless an opening one stands before it.
constexpr std::string_view METACHARACTERS = "\\.+*?()|[{^$";
const std::string NOT_WORD = "[^\\pL\\pN\\pM_]";

/// Whether a backslash before it makes it plain text.
bool escapes_to_itself(char c) {
    return c == ' ' || c == '\t' || (c >= '!' && c <= '/') || (c >= ':' && c <= '@') ||
           (c >= '[' && c <= '`') || (c >= '{' && c <= '~');
}

// Whether a group sets one of `flags` somewhere: "(?" with flags after it, this one among them.
bool sets_flag(std::string_view pattern, std::string_view flags) {
    constexpr std::string_view ALL_FLAGS = "imsU-";
    for (std::size_t at = pattern.find("(?"); at != std::string_view::npos;
         at = pattern.find("(?", at + 2)) {
        const std::size_t end =
            std::min(pattern.find_first_not_of(ALL_FLAGS, at + 2), pattern.size());
        if (pattern.substr(at, end - at).find_first_of(flags) != std::string_view::npos)
            return true;
    }
    return false;
}

bool has_escape(std::string_view pattern, std::string_view letters) {
    for (std::size_t at = pattern.find('\\');
         at != std::string_view::npos && at + 1 < pattern.size(); at = pattern.find('\\', at + 1)) {
        if (letters.find(pattern[at + 1]) != std::string_view::npos) return true;
    }
    return false;
}

// The pattern with an open quotation (`\\Q` without `\\E`) closed, so that it does not quote what
// is put after the pattern.
std::string closed(std::string_view pattern) {
    for (std::size_t at = pattern.find('\\'); at < pattern.size();
         at = pattern.find('\\', at + 2)) {
        if (pattern.substr(at, 2) != "\\Q") continue;
        at = pattern.find("\\E", at);
        if (at == std::string_view::npos) return std::string(pattern) + "\\E";
    }
    return std::string(pattern);
}

}  // namespace

std::optional<std::string> literal_of(std::string_view pattern) {
    std::string literal;
    for (std::size_t at = 0; at < pattern.size(); ++at) {
        if (pattern[at] == '\\') {
            if (++at == pattern.size() || !escapes_to_itself(pattern[at])) return std::nullopt;
        } else if (METACHARACTERS.find(pattern[at]) != std::string_view::npos) {
            return std::nullopt;
        }
        literal += pattern[at];
    }
    return literal;
}

bool needs_single_lines(std::string_view pattern) {
    return has_escape(pattern, "AzC") || sets_flag(pattern, "m");
}

bool folds_beyond_ascii(std::string_view pattern) {
    // A code point may be named in hexadecimal or octal digits.
    return !unicode::is_ascii(pattern) || has_escape(pattern, "x01234567") ||
           sets_flag(pattern, "i");
}

std::size_t unicode_classes(std::string_view pattern) {
    std::size_t count = 0;
    for (std::size_t at = pattern.find('\\'); at < pattern.size();
         at = pattern.find('\\', at + 2)) {
        const std::string_view escape = pattern.substr(at, 2);
        if (escape == "\\p" || escape == "\\P") ++count;
        if (escape == "\\Q") at = std::min(pattern.find("\\E", at), pattern.size());
    }
    return count;
}

std::string alternatives(const std::vector<std::string>& patterns) {
    if (patterns.size() == 1) return patterns.front();
    std::string joined;
    for (const std::string& pattern : patterns) {
        if (!joined.empty()) joined += '|';
        joined += "(?:" + closed(pattern) + ")";
    }
    return joined;
}

// RE2 has no look-around: the characters beside the match are part of the expression, and group 1
// is the match. A match inside the line has a character before it; one at its beginning may have
// none.
std::string bounded_by_words(std::string_view pattern) {
    return "(?:^|" + NOT_WORD + ")(" + closed(pattern) + ")(?:$|" + NOT_WORD + ")";
}

std::string bounded_by_words_inside(std::string_view pattern) {
    return NOT_WORD + "(" + closed(pattern) + ")(?:$|" + NOT_WORD + ")";
}

std::string whole_line(std::string_view pattern) { return "^(?:" + closed(pattern) + ")$"; }

}  // namespace codetext::search
