#include "cli/mcp_command.hpp"

#include <unistd.h>

#include "cli/existing_index.hpp"
#include "cli/exit_status.hpp"
#include "cli/file_types.hpp"
#include "cli/output.hpp"
#include "cli/stop_signals.hpp"
#include "mcp/server.hpp"

namespace codetext::cli {

Command mcp_command(McpArguments& arguments) {
    Command command = repository_command(
        "mcp", "Let a model's client search (Model Context Protocol)", arguments.repository);
    command.options = {{0, "no-refresh", "", "Options",
                        "Never make or refresh the index: only read it",
                        Flag{&arguments.no_refresh}}};
    command.notes =
        "Speaks JSON-RPC, a line for each message, on standard input and output. A client\n"
        "starts it. An index that is there is kept fresh; the tool `refresh` makes one.\n\n"
        "Exit status: 0 when the client has gone, or after Ctrl-C or SIGTERM.";
    return command;
}

int mcp_main(const McpArguments& arguments, const WhichIndex& which, const std::string& version) {
    mcp::ServerOptions options;
    options.root = which.root_for(arguments.repository);
    options.owners = which.owners();
    options.program_version = version;
    options.may_write = !arguments.no_refresh;
    options.input = STDIN_FILENO;
    options.output = STDOUT_FILENO;
    options.open_index = [&] { return open_existing_index(options.root, options.owners); };
    options.members_of_types = [](const std::vector<std::string>& types) {
        return members_of_types(types);
    };
    options.log = report;
    const StopSignals signals;
    options.stop = signals.descriptor();
    mcp::serve(options);
    return SUCCESS;
}

}  // namespace codetext::cli
