#include "storage/code_text/context.hpp"

#include <algorithm>

namespace codetext::code_text {

std::vector<ContextLine> context(const Lines& lines, std::int64_t first, std::int64_t last,
                                 std::int64_t start) {
    std::vector<ContextLine> cut;
    if (last < start || last < first) return cut;
    // Two numbers may be further apart than a signed number tells.
    const auto index_of = [start](std::int64_t number) {
        return static_cast<std::uint64_t>(number) - static_cast<std::uint64_t>(start);
    };
    std::int64_t number = std::max(first, start);
    for (const std::string_view line : lines.slice(index_of(number), index_of(last))) {
        cut.push_back({number++, line});
    }
    return cut;
}

}  // namespace codetext::code_text
