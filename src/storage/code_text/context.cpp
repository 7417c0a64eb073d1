#include "storage/code_text/context.hpp"

#include <algorithm>

namespace codetext::code_text {

std::vector<ContextLine> context(const Lines& lines, std::int64_t first, std::int64_t last,
                                 std::int64_t start) {
    std::vector<ContextLine> cut;
    if (lines.empty() || last < start) return cut;
    // Two numbers may be further apart than a signed number tells.
    const auto index_of = [start](std::int64_t number) {
        return static_cast<std::uint64_t>(number) - static_cast<std::uint64_t>(start);
    };
    const std::uint64_t end = std::min<std::uint64_t>(index_of(last), lines.size() - 1);
    for (std::uint64_t index = index_of(std::max(first, start)); index <= end; ++index) {
        cut.push_back({start + static_cast<std::int64_t>(index), lines[index]});
    }
    return cut;
}

}  // namespace codetext::code_text
