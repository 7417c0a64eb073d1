#pragma once

// The text of a configuration file: TOML, read and held against the table of keys. The text may be
// a stranger's.

#include <string>
#include <string_view>
#include <vector>

#include "cli/config_keys.hpp"

namespace codetext::cli {

/// Who has set a value.
enum class Origin { REPOSITORY, USER, ENVIRONMENT };

/// A value of a key.
struct Setting {
    const ConfigKey* key = nullptr;
    std::string type;                 ///< of TYPE_TABLE: the name of the type
    std::vector<std::string> values;  ///< one, or those of a list; a switch is "true" or "false"
    Origin origin = Origin::USER;
    std::string place;  ///< "FILE:LINE", or the variable's name
};

/// In the order in which they count: the last one that sets a key, or all where they add up.
using Settings = std::vector<Setting>;

/// The most bytes that a configuration file may have.
inline constexpr std::size_t MAX_CONFIG_BYTES = 64 << 10;

/// The settings in `text`, which has at most MAX_CONFIG_BYTES, in the order of its lines. Throws
/// UsageError, which begins with "FILE:LINE: ", for what is not TOML, an unknown key, a value of
/// another shape, and a key that a file of this origin may not hold. The values themselves are not
/// checked: `apply` does that.
Settings settings_in(std::string_view text, const std::string& file, Origin origin);

}  // namespace codetext::cli
