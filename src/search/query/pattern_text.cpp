#include "search/query/pattern_text.hpp"

#include <algorithm>

#include "utils/unicode.hpp"

namespace codetext::search {

namespace {

// A bracket or brace that closes is plain text unless one was opened before it.
constexpr std::string_view METACHARACTERS = "\\.+*?()|[{^$";
const std::string NOT_WORD = "[^\\pL\\pN\\pM_]";

bool is_ascii_punctuation(char c) {
    return (c >= '!' && c <= '/') || (c >= ':' && c <= '@') || (c >= '[' && c <= '`') ||
           (c >= '{' && c <= '~');
}

// Whether a group that sets one of `flags` opens somewhere: "(?" with the flag before the ":" or
// ")" that ends its flags. A name of a group may be taken for flags, which does no harm.
bool sets_flag(std::string_view pattern, std::string_view flags) {
    for (std::size_t at = pattern.find("(?"); at != std::string_view::npos;
         at = pattern.find("(?", at + 2)) {
        const std::string_view group = pattern.substr(at, pattern.find_first_of(":)", at) - at);
        if (group.find_first_of(flags) != std::string_view::npos) return true;
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

// What follows the backslash at `at`, an escape's name and argument, ends before the result.
std::size_t escape_end(std::string_view pattern, std::size_t at) {
    std::size_t end = std::min(at + 2, pattern.size());
    if (end - at == 2 &&
        (pattern[at + 1] == 'p' || pattern[at + 1] == 'P' || pattern[at + 1] == 'x')) {
        end = end < pattern.size() && pattern[end] == '{' ? pattern.find('}', end) : end + 1;
    }
    return std::min(end, pattern.size());
}

// The pattern with a quotation that it leaves open (`\\Q` without `\\E`) closed, so that what is
// put behind it is not quoted too.
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
            if (++at == pattern.size() || !is_ascii_punctuation(pattern[at])) return std::nullopt;
        } else if (METACHARACTERS.find(pattern[at]) != std::string_view::npos) {
            return std::nullopt;
        }
        literal += pattern[at];
    }
    return literal;
}

bool has_capital(std::string_view pattern) {
    std::string named;
    for (std::size_t at = 0; at < pattern.size();) {
        if (pattern[at] == '\\') {
            at = escape_end(pattern, at);
        } else {
            named += pattern[at++];
        }
    }
    return unicode::lower(named) != named;
}

bool needs_single_lines(std::string_view pattern) {
    return has_escape(pattern, "AzC") || sets_flag(pattern, "m");
}

bool folds_beyond_ascii(std::string_view pattern) {
    // A code point may be named in hexadecimal or octal digits.
    return !unicode::is_ascii(pattern) || has_escape(pattern, "x01234567") ||
           sets_flag(pattern, "i");
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

std::string bounded_by_words(std::string_view pattern) {
    return "(?:^|" + NOT_WORD + ")(" + closed(pattern) + ")(?:$|" + NOT_WORD + ")";
}

std::string bounded_by_words_inside(std::string_view pattern) {
    return NOT_WORD + "(" + closed(pattern) + ")(?:$|" + NOT_WORD + ")";
}

std::string whole_line(std::string_view pattern) { return "^(?:" + closed(pattern) + ")$"; }

}  // namespace codetext::search
