// A cursor is "HASH:LINE:PATH" and can be copied by a model without a slip. The hash tells of slips
// and of other questions, not of a forger. That one gains nothing: the path is only compared with
// those of the index.

#include "mcp/cursor.hpp"

#include <fmt/format.h>

#include <charconv>

#include "mcp/message.hpp"
#include "utils/hash.hpp"
#include "utils/path_below.hpp"

namespace codetext::mcp {

std::string cursor_text(const Position& position, std::string_view question) {
    const std::string place = fmt::format("{}:{}", position.line, position.path);
    return fmt::format("{:016x}:{}", xxh3(place, xxh3(question)), place);
}

Position parse_cursor(std::string_view cursor, std::string_view question) {
    constexpr std::size_t LINE_BEGIN = 17;
    Position position;
    const std::string_view place = cursor.substr(std::min(cursor.size(), LINE_BEGIN));
    const char* end = place.data() + place.size();
    const auto [colon, failure] = std::from_chars(place.data(), end, position.line);
    if (failure == std::errc() && colon != end && *colon == ':') {
        position.path.assign(colon + 1, end);
    }
    const bool is_ours = position.line >= 1 && is_path_below(position.path) &&
                         cursor_text(position, question) == cursor;
    if (is_ours) return position;
    throw ProtocolError(ErrorCode::BAD_PARAMS,
                        "\"cursor\" is not one that this search has given: pass next_cursor of the "
                        "last result, with the other arguments unchanged");
}

}  // namespace codetext::mcp
