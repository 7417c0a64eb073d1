#pragma once

// Color in text output: whether to use it, and the escape sequences for each part of a line.

#include <string>
#include <string_view>
#include <vector>

namespace codetext::cli {

/// Escape sequences: one goes in front of each part of a line, and `reset` after a part that has
/// one.
struct Colors {
    std::string path, line_number, column, match, reset;
};

/// The colors of a terminal, changed by settings such as "path:fg:blue", "match:style:bold",
/// "line:bg:0,64,0" or "match:none", in their order: what ripgrep's --colors takes. Throws
/// std::invalid_argument with the setting and what it may be.
Colors terminal_colors(const std::vector<std::string>& settings);

/// Whether to use color. `when` is "always", "ansi", "never" or "auto". "auto" means: on a
/// terminal, unless the environment variable NO_COLOR is set and not empty, or TERM is "dumb".
bool use_color(std::string_view when, bool is_terminal);

}  // namespace codetext::cli
