#include "cli/config_keys.hpp"

#include <algorithm>
#include <array>

namespace codetext::cli {
namespace {

using enum ConfigKey::Shape;

// The repository's file holds only what leaves files out, names sets of files, or makes lines
// shorter. It has no colors (a path could be made to look like a match), nothing that changes which
// lines match, and nothing that programs rely on when they read an answer.
constexpr auto KEYS = std::to_array<ConfigKey>({
    {EXCLUDE, TEXTS, true, "", "[]"},
    {"max_filesize", BYTES, true, "", "null"},
    {TYPES, TYPE_TABLE, true, "", "{}"},
    {"max_columns", NUMBER, true, "", "null"},
    {"trim", SWITCH, true, "", "false"},
    {"smart_case", SWITCH, false, "", "false"},
    {"context", NUMBER, false, "", "0"},
    {"limit", NUMBER, false, "", "null"},
    {"max_bytes", NUMBER, false, "", "null"},
    {"heading", SWITCH, false, "", "null"},
    {"column", SWITCH, false, "", "false"},
    {"sort", TEXT, false, "", "\"path\""},
    {"color", TEXT, false, "CODETEXT_COLOR", "\"auto\""},
    {"colors", TEXTS, false, "", "[]"},
    {"hyperlink_format", TEXT, false, "", "null"},
    {"threads", NUMBER, false, "CODETEXT_THREADS", "null"},
    {"fresh", SWITCH, false, "", "false"},
    {"fresh_after", NUMBER, false, "CODETEXT_FRESH_AFTER", "null"},
    {OPTIONS, TEXTS, false, "", "[]"},
    {REPOSITORY_FILE, SWITCH, false, "", "true"},
});

}  // namespace

std::string ConfigKey::option() const {
    std::string option(name);
    std::ranges::replace(option, '_', '-');
    return option;
}

std::span<const ConfigKey> config_keys() { return KEYS; }

const ConfigKey* config_key(std::string_view name) {
    const auto* key = std::ranges::find(KEYS, name, &ConfigKey::name);
    return key == KEYS.end() ? nullptr : key;
}

}  // namespace codetext::cli
