#pragma once

// Where the next page of results begins. A client gets it as text and gives it back; what it gives
// back may be anything.

#include <cstdint>
#include <string>
#include <string_view>

namespace codetext::mcp {

/// A line of a file. What lies before, in the order of paths and lines, was shown.
struct Position {
    std::string path;
    std::int64_t line = 1;
};

/// `question` is what decides which results there are, in which order: a cursor belongs to it.
std::string cursor_text(const Position& position, std::string_view question);

/// Throws ProtocolError for what cursor_text has not given for this question.
Position parse_cursor(std::string_view cursor, std::string_view question);

}  // namespace codetext::mcp
