#pragma once

// `codetext status [PATH]`: what the index of the repository that holds PATH consists of.

namespace CLI {
class App;
}

namespace codetext::cli {

/// Adds the subcommand. Running it sets `exit_status`, which must outlive `app`, and throws when
/// there is no index that can be read.
void add_status_command(CLI::App& app, int& exit_status);

}  // namespace codetext::cli
