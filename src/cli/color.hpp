#pragma once

// Color in text output: whether to use it, and the escape sequences for each part of a line.

#include <string_view>

namespace codetext::cli {

/// Escape sequences: one goes in front of each part of a line, and `reset` after the part.
struct Colors {
    std::string_view path, line_number, match, reset;
};

inline constexpr Colors NO_COLORS{"", "", "", ""};
inline constexpr Colors ANSI{"\x1b[35m", "\x1b[32m", "\x1b[1;31m", "\x1b[0m"};

/// Whether to use color. `when` is "always", "never" or "auto". "auto" means: on a terminal, unless
/// the environment variable NO_COLOR is set and not empty, or TERM is "dumb".
bool use_color(std::string_view when, bool is_terminal);

}  // namespace codetext::cli
