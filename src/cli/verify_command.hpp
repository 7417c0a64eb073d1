#pragma once

// `codetext verify [PATH]`: checks that the index reads back whole and agrees with itself. Nothing
// is compared with the files on disk.

namespace CLI {
class App;
}

namespace codetext::cli {

/// Adds the subcommand. Running it sets `exit_status`, which must outlive `app`: 0 for a whole
/// index, 1 when problems were found, each printed on a line of its own.
void add_verify_command(CLI::App& app, int& exit_status);

}  // namespace codetext::cli
