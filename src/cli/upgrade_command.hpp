#pragma once

// `codetext upgrade [PATH]`: applies the schema steps that an older index lacks.

namespace CLI {
class App;
}

namespace codetext::cli {

/// Adds the subcommand. Running it sets `exit_status`, which must outlive `app`, and throws when
/// there is no index or a step fails.
void add_upgrade_command(CLI::App& app, int& exit_status);

}  // namespace codetext::cli
