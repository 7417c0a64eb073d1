#include "cli/config_command.hpp"

#include <fmt/format.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <functional>
#include <string>

#include "cli/config.hpp"
#include "cli/exit_status.hpp"
#include "cli/output.hpp"
#include "utils/unicode.hpp"

namespace codetext::cli {
namespace {

using Json = rapidjson::Writer<rapidjson::StringBuffer>;
using Shape = ConfigKey::Shape;

void text(Json& json, const std::string& value) {
    const std::string decoded = unicode::decode(value);
    json.String(decoded.data(), static_cast<rapidjson::SizeType>(decoded.size()));
}

void raw(Json& json, std::string_view value) {
    json.RawValue(value.data(), value.size(), rapidjson::kNullType);
}

bool is_decimal(const std::string& value) {
    return std::ranges::all_of(value, [](char c) { return c >= '0' && c <= '9'; });
}

void write_value(Json& json, const Setting& setting) {
    const Shape shape = setting.key->shape;
    const std::string& first = setting.values.empty() ? setting.type : setting.values.front();
    if (shape == Shape::TYPE_TABLE) {
        json.StartArray();
        for (const std::string& value : setting.values) text(json, value);
        json.EndArray();
    } else if (shape == Shape::SWITCH ||
               (shape != Shape::TEXT && shape != Shape::TEXTS && is_decimal(first))) {
        raw(json, first);
    } else {
        text(json, first);
    }
}

std::string_view name_of(Origin origin) {
    switch (origin) {
        case Origin::REPOSITORY:
            return "repository";
        case Origin::USER:
            return "user";
        case Origin::ENVIRONMENT:
            return "environment";
    }
    return "";
}

std::string value_text(const Setting& setting) {
    rapidjson::StringBuffer buffer;
    Json json(buffer);
    write_value(json, setting);
    return buffer.GetString();
}

std::string full_name(const Setting& setting) {
    const std::string name(setting.key->name);
    return setting.key->shape == Shape::TYPE_TABLE ? name + "." + setting.type : name;
}

/// Whether a later setting takes its place.
bool is_overridden(const Settings& settings, std::size_t position) {
    const Setting& one = settings[position];
    return std::any_of(settings.begin() + static_cast<std::ptrdiff_t>(position) + 1, settings.end(),
                       [&](const Setting& later) {
                           return one.key->shape != Shape::TEXTS && later.key == one.key &&
                                  later.type == one.type;
                       });
}

/// Calls `set` for what is in force of each key, or `unset` where nobody sets it.
void each_key(const Settings& settings, const std::function<void(const Setting&)>& set,
              const std::function<void(const ConfigKey&)>& unset) {
    for (const ConfigKey& key : config_keys()) {
        bool is_set = false;
        for (std::size_t i = 0; i < settings.size(); ++i) {
            if (settings[i].key != &key || is_overridden(settings, i)) continue;
            set(settings[i]);
            is_set = true;
        }
        if (!is_set) unset(key);
    }
}

void print_text(const Settings& settings) {
    each_key(
        settings,
        [](const Setting& setting) {
            print_line(fmt::format("{} = {} ({})", full_name(setting), value_text(setting),
                                   setting.place));
        },
        [](const ConfigKey& key) {
            print_line(fmt::format("{} = {} (default)", key.name,
                                   key.unset == "null" ? "none" : key.unset));
        });
}

void member(Json& json, const char* name, const std::string& value) {
    json.Key(name);
    text(json, value);
}

std::string json_text(const Settings& settings) {
    rapidjson::StringBuffer buffer;
    Json json(buffer);
    json.StartArray();
    each_key(
        settings,
        [&](const Setting& setting) {
            json.StartObject();
            member(json, "key", full_name(setting));
            json.Key("value");
            write_value(json, setting);
            member(json, "from", std::string(name_of(setting.origin)));
            member(json, "place", setting.place);
            json.EndObject();
        },
        [&](const ConfigKey& key) {
            json.StartObject();
            member(json, "key", std::string(key.name));
            json.Key("value");
            raw(json, key.unset);
            member(json, "from", "default");
            json.EndObject();
        });
    json.EndArray();
    return buffer.GetString();
}

}  // namespace

Command config_command(ConfigArguments& arguments) {
    Command command = repository_command(
        "config", "Show the defaults of a search, and where each is set", arguments.repository);
    command.options = {{0, "json", "", "Options", "As one JSON array", Flag{&arguments.json}}};
    command.notes =
        "Defaults come from .codetext.toml at the repository's root, then from your own\n"
        "file ($CODETEXT_CONFIG, else codetext/config.toml in $XDG_CONFIG_HOME or\n"
        "~/.config), then from the environment. The command line overrides them all.";
    return command;
}

int config_main(const ConfigArguments& arguments, const WhichIndex& which) {
    const std::filesystem::path root = which.root_for(arguments.repository);
    const Settings settings = which.no_config ? Settings() : settings_for(root);
    SearchArguments checked;
    apply(settings, checked);
    if (arguments.json) {
        fmt::print("{}\n", json_text(settings));
    } else {
        print_text(settings);
    }
    return SUCCESS;
}

}  // namespace codetext::cli
