#pragma once

// The defaults of a search that a person has set. The weakest first: the repository's file, the
// user's file, the environment. The command line comes after them. What a user has set counts
// before what the repository says, for its file may be a stranger's.

#include <filesystem>

#include "cli/config_text.hpp"
#include "cli/search_arguments.hpp"

namespace codetext::cli {

/// The repository's file, at its root.
inline constexpr std::string_view REPOSITORY_CONFIG = ".codetext.toml";

/// The user's file: $CODETEXT_CONFIG, else codetext/config.toml in $XDG_CONFIG_HOME, else in
/// ~/.config. Empty where there is none to look for.
std::filesystem::path user_config();

/// All that is set for a search of the repository at `root`. No file is none. Throws UsageError for
/// what settings_in refuses, std::system_error for a file that cannot be read: the repository's
/// must be a regular file, not reached through a link.
Settings settings_for(const std::filesystem::path& root);

/// Sets the arguments. Throws UsageError, which begins with the setting's place, for a value that
/// its option refuses.
void apply(const Settings& settings, SearchArguments& arguments);

}  // namespace codetext::cli
