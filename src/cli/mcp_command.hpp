#pragma once

// `codetext mcp [PATH]`: lets a client of the Model Context Protocol search the repository that
// holds PATH.

#include <string>

#include "cli/options.hpp"
#include "cli/repository_arguments.hpp"
#include "cli/which_index.hpp"

namespace codetext::cli {

struct McpArguments {
    RepositoryArguments repository;
    bool no_refresh = false;
};

/// The command's table. `arguments` must outlive it.
Command mcp_command(McpArguments& arguments);

/// Serves on standard input and output until the client goes away, or SIGINT or SIGTERM comes, then
/// returns exit status 0. Throws what mcp::serve throws.
int mcp_main(const McpArguments& arguments, const WhichIndex& which, const std::string& version);

}  // namespace codetext::cli
