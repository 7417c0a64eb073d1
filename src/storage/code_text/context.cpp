#include "storage/code_text/context.hpp"

#include <algorithm>

namespace codetext::code_text {

std::vector<ContextLine> context(const Lines& lines, std::int64_t first, std::int64_t last,
                                 std::int64_t start) {
    const auto count = static_cast<std::int64_t>(lines.size());
    std::vector<ContextLine> cut;
    if (last < start) return cut;
    // From here on the differences of the numbers cannot overflow.
    const std::int64_t end_index = std::min(last - start, count - 1);
    for (std::int64_t index = std::max(first, start) - start; index <= end_index; ++index) {
        cut.push_back({start + index, lines[static_cast<std::size_t>(index)]});
    }
    return cut;
}

}  // namespace codetext::code_text
