#pragma once

// The keys of a configuration, as data: what each holds, who may set it, and which option it is.
// docs/CONFIGURATION.md describes them for users.

#include <span>
#include <string>
#include <string_view>

namespace codetext::cli {

struct ConfigKey {
    /// What its value is in a file.
    enum class Shape { SWITCH, NUMBER, BYTES, TEXT, TEXTS, TYPE_TABLE };

    std::string_view name;
    Shape shape;
    bool is_for_repository;     ///< the repository's own file, which a stranger may have written
    std::string_view variable;  ///< of the environment, which sets it too; empty: none
    std::string_view unset;     ///< what counts where nobody sets it, as JSON

    /// The long name of its option. A switch that is off is that of "no-" and this name.
    std::string option() const;
};

/// In the order in which `codetext config` shows them.
std::span<const ConfigKey> config_keys();

/// None for an unknown name.
const ConfigKey* config_key(std::string_view name);

/// The keys that no option has a name for.
inline constexpr std::string_view EXCLUDE = "exclude", OPTIONS = "options", TYPES = "types",
                                  REPOSITORY_FILE = "repository_file";

}  // namespace codetext::cli
