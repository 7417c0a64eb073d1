#pragma once

// Colour in text output: when it is used, and the escape sequences for each part of a line.
//
//   const cli::Colors colors = cli::use_color("auto", is_terminal) ? cli::ANSI : cli::NO_COLORS;
//   out.append(colors.path).append(path).append(colors.reset);

#include <string_view>

namespace codetext::cli {

/// What is written in front of each part, and `reset` behind it.
struct Colors {
    std::string_view path, line_number, match, reset;
};

inline constexpr Colors NO_COLORS{"", "", "", ""};
inline constexpr Colors ANSI{"\x1b[35m", "\x1b[32m", "\x1b[1;31m", "\x1b[0m"};

/// Whether to colour: `when` is "always", "never" or "auto", which colours on a terminal unless the
/// environment has a NO_COLOR that is not empty, or calls the terminal dumb.
bool use_color(std::string_view when, bool is_terminal);

}  // namespace codetext::cli
