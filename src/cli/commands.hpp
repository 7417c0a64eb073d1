#pragma once

// The commands of the program, as data, and the choice of the one that a command line names.
// What follows its name goes to cli::parse.

#include <string>
#include <vector>

#include "cli/config_command.hpp"
#include "cli/index_command.hpp"
#include "cli/mcp_command.hpp"
#include "cli/options.hpp"
#include "cli/repository_arguments.hpp"
#include "cli/search_arguments.hpp"
#include "cli/status_command.hpp"
#include "cli/verify_command.hpp"
#include "cli/watch_command.hpp"
#include "cli/which_index.hpp"

namespace codetext::cli {

/// What the user gave to the command that was chosen; the others keep their defaults.
struct AllArguments {
    bool help = false, version = false;
    WhichIndex which;
    std::vector<std::string> none;  ///< the program itself takes no positionals
    IndexArguments index;
    SearchArguments search;
    StatusArguments status;
    RepositoryArguments upgrade, clean;
    VerifyArguments verify;
    WatchArguments watch;
    McpArguments mcp;
    ConfigArguments config;
};

/// The commands in the order of the help text; each has --help, --root, --any-owner and
/// --no-config. `arguments` must outlive them.
std::vector<Command> all_commands(AllArguments& arguments);

/// The program without a command: --help and --version. `arguments` must outlive it.
Command program_command(AllArguments& arguments);

struct Chosen {
    const Command* command;
    std::vector<std::string> arguments;  ///< those that follow the command's name
};

/// The command that the words in front of `given` name. Throws UsageError where they name none.
Chosen choose(const std::vector<Command>& commands, const std::vector<std::string>& given);

}  // namespace codetext::cli
