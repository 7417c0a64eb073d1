#pragma once

// What the completions of all shells say of an option, read off its table: the words that its value
// may be, whether the value is a file, and a description for one line of a menu.

#include <string>
#include <string_view>
#include <vector>

#include "cli/options.hpp"

namespace codetext::pages {

bool takes_value(const cli::Option& option);

/// The words that the value may be: those of a Choice, and the types of files for a value that the
/// help calls TYPE. Empty: any text, or a file.
std::vector<std::string> value_words(const cli::Option& option);

/// Whether an argument of this name is completed as a file: PATH, FILE or DIR.
bool is_file(std::string_view value_name);

/// "-t", "--type": the short name first, where the option has one.
std::vector<std::string> names(const cli::Option& option);

/// The first part of a help text, up to the first `;`, `:`, `(` or full stop.
std::string_view brief(std::string_view help);

std::string_view first_word(std::string_view command_name);
/// The second word of a command's name; empty for one word.
std::string_view second_word(std::string_view command_name);

/// `text` with each `from` replaced.
std::string replaced(std::string_view text, char from, std::string_view to);

}  // namespace codetext::pages
