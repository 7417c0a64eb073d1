#include "search/query/named_groups.hpp"

#include <algorithm>

namespace codetext::search {
namespace {

// How many bytes the first piece of the pattern has: an escape, a quotation, a class or a
// character.
std::size_t piece_bytes(std::string_view pattern) {
    if (pattern.starts_with("\\Q")) return std::min(pattern.find("\\E", 2), pattern.size());
    if (pattern[0] == '\\') return std::min<std::size_t>(2, pattern.size());
    if (pattern[0] != '[') return 1;
    // A "]" that comes first is a member of the class, as are named classes, whole.
    std::size_t at = pattern.starts_with("[^") ? 2 : 1;
    for (bool is_first = true; at < pattern.size(); is_first = false) {
        if (pattern[at] == ']' && !is_first) return at + 1;
        const std::string_view rest = pattern.substr(at);
        const std::size_t end = rest.starts_with("[:") ? rest.find(":]", 2) : rest.npos;
        if (end != rest.npos)
            at += end + 2;
        else
            at += pattern[at] == '\\' ? 2 : 1;
    }
    return pattern.size();
}

}  // namespace

std::string with_named_groups(std::string_view pattern) {
    constexpr std::string_view BEGIN = "(?<";
    std::string result;
    std::size_t taken = 0;
    while (taken < pattern.size()) {
        const std::string_view rest = pattern.substr(taken);
        const std::size_t size = piece_bytes(rest);
        const bool is_look_behind = rest.size() > 3 && (rest[3] == '=' || rest[3] == '!');
        if (rest.starts_with(BEGIN) && !is_look_behind) {
            result += "(?P<";
            taken += BEGIN.size();
        } else {
            result += rest.substr(0, size);
            taken += size;
        }
    }
    return result;
}

}  // namespace codetext::search
