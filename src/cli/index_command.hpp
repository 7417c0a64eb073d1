#pragma once

// `codetext index [PATH]`: makes or refreshes the index of the repository that holds PATH.

namespace CLI {
class App;
}

namespace codetext::cli {

/// Adds the subcommand. Running it sets `exit_status`, which must outlive `app`, and throws
/// whatever ends the run. A file that cannot be read is reported on standard error and fails
/// nothing.
void add_index_command(CLI::App& app, int& exit_status);

}  // namespace codetext::cli
