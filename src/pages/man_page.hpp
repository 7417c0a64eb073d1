#pragma once

// The man pages, in roff, made from the tables of the commands as the help texts are.

#include <string>
#include <string_view>
#include <vector>

#include "cli/options.hpp"

namespace codetext::pages {

/// "codetext-search-code" for the command "search code"; "codetext" for the program.
std::string page_name(const cli::Command& command);

/// The page of a command.
std::string man_page(const cli::Command& command, std::string_view version);

/// The page of the program, which lists the commands.
std::string program_man_page(const cli::Command& program, const std::vector<cli::Command>& commands,
                             std::string_view version);

}  // namespace codetext::pages
