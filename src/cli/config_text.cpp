// The parser builds a tree and frees it again by recursion, and bounds the depth of values but not
// that of dotted keys, which stand on one line. So no line may have more than a few hundred dots,
// and values nest a few deep: the product bounds the recursion, whatever the text holds.

#include "cli/config_text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <optional>

#include "cli/nearest_name.hpp"
#include "cli/options.hpp"

#define TOML_MAX_NESTED_VALUES 8
#define TOML_ENABLE_FORMATTERS 0
#define TOML_ENABLE_WINDOWS_COMPAT 0
#include <toml++/toml.h>

namespace codetext::cli {
namespace {

using Shape = ConfigKey::Shape;

constexpr std::ptrdiff_t MAX_DOTS_IN_LINE = 256;
/// Of a list in the repository's file: each value may cost something for every file of the index.
constexpr std::size_t MAX_STRANGERS_VALUES = 100, MAX_STRANGERS_LIST_BYTES = 4096;

std::string_view wanted(Shape shape) {
    switch (shape) {
        case Shape::SWITCH:
            return "true or false";
        case Shape::NUMBER:
            return "a whole number";
        case Shape::BYTES:
            return "a whole number, or a text such as \"1M\"";
        case Shape::TEXT:
            return "a text";
        case Shape::TEXTS:
            return "a list of texts";
        case Shape::TYPE_TABLE:
            return "a table of types";
    }
    return "";
}

/// One reading of a file.
class Reader {
  public:
    Reader(const std::string& file, Origin origin) : _file(file), _origin(origin) {}

    Settings read(std::string_view text) {
        _check_dots(text);
        try {
            const toml::table table = toml::parse(text);
            for (const auto& [key, value] : table) _read_key(key, value);
        } catch (const toml::parse_error& error) {
            _refuse(error.source().begin.line, error.description());
        }
        std::ranges::stable_sort(_settings, {}, &Located::line);
        Settings settings;
        for (Located& one : _settings) settings.push_back(std::move(one.setting));
        return settings;
    }

  private:
    struct Located {
        std::uint32_t line;
        Setting setting;
    };

    [[noreturn]] void _refuse(std::uint32_t line, std::string_view what) const {
        throw UsageError(fmt::format("{}: {}", _place(line), what));
    }

    [[noreturn]] void _refuse_shape(std::string_view key, std::string_view wanted,
                                    const toml::node& value) const {
        _refuse(value.source().begin.line, fmt::format("{} takes {}", key, wanted));
    }

    std::string _place(std::uint32_t line) const { return fmt::format("{}:{}", _file, line); }

    void _check_dots(std::string_view text) const {
        std::uint32_t line = 1;
        while (!text.empty()) {
            const std::string_view one = text.substr(0, text.find('\n'));
            if (std::ranges::count(one, '.') > MAX_DOTS_IN_LINE) {
                _refuse(line,
                        fmt::format("more than {} dots: use shorter lines", MAX_DOTS_IN_LINE));
            }
            text.remove_prefix(std::min(one.size() + 1, text.size()));
            ++line;
        }
    }

    [[noreturn]] void _refuse_unknown(std::string_view name, std::uint32_t line) const {
        std::vector<std::string_view> known;
        for (const ConfigKey& key : config_keys()) {
            if (_may_hold(key)) known.push_back(key.name);
        }
        _refuse(line,
                fmt::format("unknown key {}{}", name, did_you_mean(nearest_names(name, known))));
    }

    bool _may_hold(const ConfigKey& key) const {
        return _origin != Origin::REPOSITORY || key.is_for_repository;
    }

    void _read_key(const toml::key& name, const toml::node& value) {
        const std::uint32_t line = name.source().begin.line;
        const ConfigKey* key = config_key(name.str());
        if (key == nullptr) _refuse_unknown(name.str(), line);
        if (!_may_hold(*key)) {
            _refuse(line, fmt::format("the file of a repository may not hold {}: it may be a "
                                      "stranger's; your own file may",
                                      key->name));
        }
        if (key->shape == Shape::TYPE_TABLE) {
            _read_types(*key, value);
        } else if (key->shape == Shape::TEXTS) {
            _read_texts(*key, value);
        } else {
            _add(*key, line, {_one_value(*key, value)});
        }
    }

    void _add(const ConfigKey& key, std::uint32_t line, std::vector<std::string> values,
              std::string_view type = "") {
        _settings.push_back(
            {line, {&key, std::string(type), std::move(values), _origin, _place(line)}});
    }

    std::string _one_value(const ConfigKey& key, const toml::node& value) const {
        if (key.shape == Shape::SWITCH && value.is_boolean()) {
            return value.as_boolean()->get() ? "true" : "false";
        }
        const bool takes_number = key.shape == Shape::NUMBER || key.shape == Shape::BYTES;
        if (takes_number && value.is_integer()) return fmt::to_string(value.as_integer()->get());
        const bool takes_text = key.shape == Shape::TEXT || key.shape == Shape::BYTES;
        if (!takes_text || !value.is_string()) _refuse_shape(key.name, wanted(key.shape), value);
        return _text(value);
    }

    /// An option gets it as an argument, which ends at a NUL.
    std::string _text(const toml::node& value) const {
        std::string text = value.as_string()->get();
        if (text.find('\0') == text.npos) return text;
        _refuse(value.source().begin.line, "a text holds a NUL");
    }

    std::string_view _checked_text(std::string_view key, const toml::node& value) const {
        if (!value.is_string()) _refuse_shape(key, wanted(Shape::TEXTS), value);
        return value.as_string()->get();
    }

    void _take_from_limit(std::size_t bytes, std::uint32_t line) {
        _list_bytes += bytes;
        ++_list_values;
        if (_origin != Origin::REPOSITORY) return;
        if (_list_values <= MAX_STRANGERS_VALUES && _list_bytes <= MAX_STRANGERS_LIST_BYTES) return;
        _refuse(line, fmt::format("the lists in the file of a repository may hold {} texts and {} "
                                  "bytes in all",
                                  MAX_STRANGERS_VALUES, MAX_STRANGERS_LIST_BYTES));
    }

    /// Each value of a list has a line of its own.
    void _read_texts(const ConfigKey& key, const toml::node& value) {
        if (!value.is_array()) _refuse_shape(key.name, wanted(key.shape), value);
        for (const toml::node& one : *value.as_array()) {
            const std::uint32_t line = one.source().begin.line;
            _take_from_limit(_checked_text(key.name, one).size(), line);
            _add(key, line, {_text(one)});
        }
    }

    void _check_type_name(const toml::key& name) const {
        const bool is_plain = std::ranges::all_of(name.str(), [](char c) {
            const bool is_letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
            return is_letter || (c >= '0' && c <= '9') ||
                   std::string_view("_-+#.").find(c) != std::string_view::npos;
        });
        if (is_plain && !name.str().empty()) return;
        _refuse(name.source().begin.line,
                "the name of a type has letters, digits, and any of _-+#.");
    }

    void _read_types(const ConfigKey& key, const toml::node& value) {
        if (!value.is_table()) _refuse_shape(key.name, wanted(key.shape), value);
        for (const auto& [name, globs] : *value.as_table()) {
            _check_type_name(name);
            const std::string type = fmt::format("types.{}", name.str());
            if (!globs.is_array()) _refuse_shape(type, wanted(Shape::TEXTS), globs);
            std::vector<std::string> values;
            for (const toml::node& one : *globs.as_array()) {
                _take_from_limit(_checked_text(type, one).size(), one.source().begin.line);
                values.push_back(_text(one));
            }
            _add(key, name.source().begin.line, std::move(values), name.str());
        }
    }

    const std::string& _file;
    Origin _origin;
    std::vector<Located> _settings;
    std::size_t _list_values = 0, _list_bytes = 0;
};

}  // namespace

Settings settings_in(std::string_view text, const std::string& file, Origin origin) {
    return Reader(file, origin).read(text);
}

}  // namespace codetext::cli
