#pragma once

// The help texts, made from the table of options.

#include <string>
#include <vector>

#include "cli/options.hpp"

namespace codetext::cli {

/// What `codetext COMMAND --help` prints, in lines of at most 80 columns.
std::string help_text(const Command& command);

/// What `codetext --help` prints: the commands, then the options of the program itself.
std::string program_help(const Command& program, const std::vector<Command>& commands);

}  // namespace codetext::cli
