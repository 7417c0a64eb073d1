#include "cli/config.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "cli/color.hpp"
#include "cli/file_types.hpp"
#include "cli/hyperlink.hpp"
#include "search/files/glob.hpp"
#include "utils/fsio.hpp"
#include "utils/open_below.hpp"
#include "utils/platform.hpp"

namespace codetext::cli {

namespace fs = std::filesystem;

namespace {

bool is_absence(int error) { return error == ENOENT || error == ENOTDIR; }

[[noreturn]] void throw_unreadable(const fs::path& file, const std::error_code& why) {
    throw std::system_error(why, fmt::format("cannot read {}", file.string()));
}

/// A file below a directory. A failure names `shown`.
Settings read_below(const Descriptor& directory, const fs::path& name, const fs::path& shown,
                    Origin origin) {
    try {
        const std::string text =
            fsio::read_file_below(directory, name.native(), MAX_CONFIG_BYTES).bytes;
        return settings_in(text, shown.string(), origin);
    } catch (const std::system_error& error) {
        throw_unreadable(shown, error.code());
    }
}

/// Nearly every repository has none: that costs two calls of the system.
Settings repository_settings(const fs::path& root) {
    const Descriptor directory = open_root(root);
    const bool is_there(open_below(directory, REPOSITORY_CONFIG,
                                   platform::OPEN_FOR_LOOKUP | O_CLOEXEC | O_NOFOLLOW));
    if (!is_there && is_absence(errno)) return {};
    return read_below(directory, REPOSITORY_CONFIG, root / REPOSITORY_CONFIG, Origin::REPOSITORY);
}

/// The user's own may be reached through links.
Settings user_settings() {
    const fs::path file = user_config();
    if (file.empty() || (::access(file.c_str(), F_OK) == -1 && is_absence(errno))) return {};
    std::error_code failure;
    const fs::path real = fs::canonical(file, failure);
    if (failure) throw_unreadable(file, failure);
    return read_below(open_root(real.parent_path()), real.filename(), file, Origin::USER);
}

Settings environment_settings() {
    Settings settings;
    for (const ConfigKey& key : config_keys()) {
        if (key.variable.empty()) continue;
        const std::string variable(key.variable);
        const char* value = std::getenv(variable.c_str());
        if (value == nullptr || *value == '\0') continue;
        settings.push_back({&key, "", {value}, Origin::ENVIRONMENT, variable});
    }
    return settings;
}

void append(Settings& settings, const Settings& more) {
    settings.insert(settings.end(), more.begin(), more.end());
}

bool reads_repository_file(const Settings& settings) {
    return std::ranges::none_of(settings, [](const Setting& setting) {
        return setting.key->name == REPOSITORY_FILE && setting.values.front() == "false";
    });
}

/// Sets one value after the other.
class Applier {
  public:
    explicit Applier(SearchArguments& arguments)
        : _arguments(arguments), _command(search_command(arguments)) {
        _command.rest = &_rest;
        _command.most_positionals = 0;
    }

    void apply(const Setting& setting) {
        try {
            _apply(setting);
        } catch (const std::invalid_argument& error) {
            throw UsageError(fmt::format("{}: {}", setting.place, error.what()));
        } catch (const UsageError& error) {
            throw UsageError(fmt::format("{}: {}", setting.place, error.what()));
        }
    }

  private:
    void _apply(const Setting& setting) {
        const std::string_view key = setting.key->name;
        if (key == EXCLUDE) return _exclude(setting);
        if (key == TYPES) return _add_type(setting);
        if (key == OPTIONS) return _add_options(setting);
        if (key == REPOSITORY_FILE) return;
        const std::string& value = setting.values.front();
        const bool is_switch = setting.key->shape == ConfigKey::Shape::SWITCH;
        parse(_command, {is_switch ? fmt::format("--{}{}", value == "true" ? "" : "no-",
                                                 setting.key->option())
                                   : fmt::format("--{}={}", setting.key->option(), value)});
        const bool is_strangers = setting.origin == Origin::REPOSITORY;
        if (key == "max_columns" && is_strangers) _check_strangers_columns();
        if (key == "colors") terminal_colors({value});
        if (key == "hyperlink_format") static_cast<void>(Hyperlink(value, "/"));
    }

    /// Neither more of a line than a terminal gets in any case, nor nothing.
    void _check_strangers_columns() const {
        const std::int64_t most = _arguments.max_columns;
        if (most >= 1 && most <= TERMINAL_LINE_BYTES) return;
        throw UsageError(fmt::format("the file of a repository may set max_columns from 1 to {}",
                                     TERMINAL_LINE_BYTES));
    }

    void _exclude(const Setting& setting) {
        const std::string& glob = setting.values.front();
        // Braces may stand for thousands of globs.
        const bool has_braces = glob.find('{') != glob.npos;
        if (setting.origin == Origin::REPOSITORY && has_braces) {
            throw UsageError(fmt::format(
                "the file of a repository may hold no braces in globs: write {} out", glob));
        }
        if (glob.starts_with('!')) {
            throw UsageError(fmt::format("\"{}\" is left out as it stands: no \"!\"", glob));
        }
        static_cast<void>(search::Glob("!" + glob));
        _arguments.left_out.push_back(glob);
    }

    /// -t with a built-in type must not read more because of a stranger's file.
    void _add_type(const Setting& setting) {
        if (setting.origin == Origin::REPOSITORY && is_built_in_type(setting.type)) {
            throw UsageError(fmt::format(
                "types.{} is built in: the file of a repository may only name new types",
                setting.type));
        }
        std::vector<std::string> members;
        for (const std::string& glob : setting.values) {
            const std::optional<std::string> member = member_of_glob(glob);
            if (!member) {
                throw UsageError(fmt::format(
                    "types.{}: \"{}\" is neither *.ENDING nor a file's name", setting.type, glob));
            }
            members.push_back(*member);
        }
        _arguments.own_types[setting.type] = members;
    }

    /// What names the patterns, or makes another kind of command, says what the positionals are.
    void _add_options(const Setting& setting) {
        parse(_command, setting.values);
        const bool is_other = !_arguments.patterns.empty() || !_arguments.pattern_files.empty() ||
                              _arguments.files || _arguments.type_list;
        if (is_other) throw UsageError(setting.values.front() + " stands on the command line only");
    }

    SearchArguments& _arguments;
    Command _command;
    std::vector<std::string> _rest;
};

}  // namespace

fs::path user_config() {
    if (const char* named = std::getenv("CODETEXT_CONFIG")) return named;
    const auto absolute = [](const char* directory) {
        return directory != nullptr && *directory == '/';
    };
    constexpr std::string_view FILE = "codetext/config.toml";
    if (const char* config = std::getenv("XDG_CONFIG_HOME"); absolute(config)) {
        return fs::path(config) / FILE;
    }
    const char* home = std::getenv("HOME");
    return absolute(home) ? fs::path(home) / ".config" / FILE : fs::path();
}

Settings settings_for(const fs::path& root) {
    const Settings own = user_settings();
    Settings settings;
    if (reads_repository_file(own)) settings = repository_settings(root);
    append(settings, own);
    append(settings, environment_settings());
    return settings;
}

void apply(const Settings& settings, SearchArguments& arguments) {
    if (settings.empty()) return;
    Applier applier(arguments);
    for (const Setting& setting : settings) applier.apply(setting);
}

}  // namespace codetext::cli
