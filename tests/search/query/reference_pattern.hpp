#pragma once

// What a pattern finds in a text, line by line and as a search goes through it.

#include "search/query/pattern.hpp"
#include "utils/reference.hpp"
#include "utils/unicode.hpp"

namespace codetext::reference {

using Found = std::pair<std::size_t, std::int64_t>;  // where its line starts, and its column

inline std::vector<Found> line_by_line(const search::Pattern& pattern, const std::string& text) {
    std::vector<Found> found;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        if (auto column = pattern.search(std::string(text, start, end - start))) {
            found.emplace_back(start, *column);
        }
        start = end + 1;
    }
    return found;
}

// Goes on behind the line of each match, as code_text::line_matches does.
inline std::vector<Found> through_the_text(const search::Pattern& pattern,
                                           const std::string& text) {
    std::vector<Found> found;
    for (std::size_t from = 0; from <= text.size();) {
        const auto match = pattern.search_text(text, from);
        if (!match) break;
        const std::size_t start = *match == 0 ? 0 : text.rfind('\n', *match - 1) + 1;
        found.emplace_back(start, unicode::code_points(text.substr(start, *match - start)));
        from = std::min(text.find('\n', *match), text.size()) + 1;
    }
    return found;
}

}  // namespace codetext::reference
