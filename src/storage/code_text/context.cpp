#include "storage/code_text/context.hpp"

#include <algorithm>

namespace codetext::code_text {

namespace {

/// A range that ends among so many first lines is walked to: a chunk's lines always are.
constexpr std::uint64_t WALKED_LINES = 64;

using Cut = std::vector<ContextLine>;

// Indices from 0, both inclusive.
Cut walked(const Lines& lines, std::uint64_t first, std::uint64_t last, std::int64_t start) {
    Cut cut;
    std::uint64_t index = 0;
    for (const std::string_view line : lines) {
        if (index > last) break;
        if (index >= first) cut.push_back({start + static_cast<std::int64_t>(index), line});
        ++index;
    }
    return cut;
}

Cut indexed(const Lines& lines, std::uint64_t first, std::uint64_t last, std::int64_t start) {
    Cut cut;
    last = std::min<std::uint64_t>(last, lines.size() - 1);
    for (std::uint64_t index = first; index <= last; ++index) {
        cut.push_back({start + static_cast<std::int64_t>(index), lines[index]});
    }
    return cut;
}

}  // namespace

std::vector<ContextLine> context(const Lines& lines, std::int64_t first, std::int64_t last,
                                 std::int64_t start) {
    if (lines.empty() || last < start) return {};
    // Two numbers may be further apart than a signed number tells.
    const auto index_of = [start](std::int64_t number) {
        return static_cast<std::uint64_t>(number) - static_cast<std::uint64_t>(start);
    };
    const std::uint64_t first_index = index_of(std::max(first, start));
    const std::uint64_t last_index = index_of(last);
    return last_index < WALKED_LINES ? walked(lines, first_index, last_index, start)
                                     : indexed(lines, first_index, last_index, start);
}

}  // namespace codetext::code_text
