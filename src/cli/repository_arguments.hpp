#pragma once

// What a command takes that works on a whole repository: one directory of it, or none.

#include <string>
#include <string_view>
#include <vector>

#include "cli/options.hpp"

namespace codetext::cli {

struct RepositoryArguments {
    std::vector<std::string> paths;  ///< at most one
    bool no_wait = false;            ///< refuse where another process works on the index
    /// The directory given, or the current one.
    std::string path() const { return paths.empty() ? "." : paths.front(); }
};

/// A command that takes a PATH and no option yet. `arguments` must outlive it.
inline Command repository_command(std::string_view name, std::string_view summary,
                                  RepositoryArguments& arguments) {
    return {.name = name,
            .summary = summary,
            .positionals = {{"PATH", "A directory of the repository (default: the current one)"}},
            .usage = "[PATH]",
            .rest = &arguments.paths,
            .most_positionals = 1,
            .options = {},
            .notes = "",
            .dash_tip = "use -- for a path that begins with -"};
}

/// For a command that writes the index. `arguments` must outlive it.
inline Option no_wait_option(RepositoryArguments& arguments) {
    return {0,
            "no-wait",
            "",
            "Other",
            "While another run is going on, end with status 2 instead of waiting for it",
            Flag{&arguments.no_wait}};
}

}  // namespace codetext::cli
