#include "cli/hyperlink.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace codetext::cli {
namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 10> NAMED = {{
    {"none", ""},
    {"default", "file://{host}{path}"},
    {"file", "file://{host}{path}"},
    {"grep+", "grep+://{path}:{line}"},
    {"kitty", "file://{host}{path}#{line}"},
    {"macvim", "mvim://open?url=file://{path}&line={line}&column={column}"},
    {"textmate", "txmt://open?url=file://{path}&line={line}&column={column}"},
    {"vscode", "vscode://file{path}:{line}:{column}"},
    {"vscode-insiders", "vscode-insiders://file{path}:{line}:{column}"},
    {"vscodium", "vscodium://file{path}:{line}:{column}"},
}};

bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

[[noreturn]] void refuse(std::string_view form, std::string_view why) {
    std::string names;
    for (const auto& [name, url] : NAMED) names += (names.empty() ? "" : ", ") + std::string(name);
    throw std::invalid_argument(fmt::format(
        "--hyperlink-format: \"{}\" {}; give a URL with {{path}}, or one of {}", form, why, names));
}

std::string url_form(std::string_view form) {
    const auto* named =
        std::ranges::find(NAMED, form, &std::pair<std::string_view, std::string_view>::first);
    if (named != NAMED.end()) return std::string(named->second);
    if (std::ranges::any_of(form, is_control)) refuse(form, "holds a control character");
    if (form.find("{path}") == form.npos) refuse(form, "has no {path}");
    return std::string(form);
}

/// Percent-encoding (RFC 3986, 2.1) of all but the unreserved characters and "/".
std::string encoded(std::string_view path) {
    std::string url;
    for (const char c : path) {
        const bool is_plain = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
                              (c >= 'A' && c <= 'Z') ||
                              std::string_view("-._~/").find(c) != std::string_view::npos;
        if (is_plain) {
            url += c;
        } else {
            url += fmt::format("%{:02X}", static_cast<unsigned char>(c));
        }
    }
    return url;
}

std::string host_name() {
    std::array<char, 256> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

}  // namespace

Hyperlink::Hyperlink(std::string_view form, const std::filesystem::path& root)
    : _form(url_form(form)), _root(root.string()) {
    if (!_root.ends_with('/')) _root += '/';
    const std::size_t host = _form.find("{host}");
    if (host != std::string::npos) _form.replace(host, 6, encoded(host_name()));
}

std::string Hyperlink::begin(std::string_view path, std::int64_t line, std::int64_t column) const {
    std::string url;
    for (std::string_view rest = _form; !rest.empty();) {
        const auto take = [&rest](std::string_view name) {
            if (!rest.starts_with(name)) return false;
            rest.remove_prefix(name.size());
            return true;
        };
        if (take("{path}")) {
            url += encoded(_root + std::string(path));
        } else if (take("{line}")) {
            url += std::to_string(line);
        } else if (take("{column}")) {
            url += std::to_string(column);
        } else {
            url += rest.front();
            rest.remove_prefix(1);
        }
    }
    return "\x1b]8;;" + url + "\x1b\\";
}

}  // namespace codetext::cli
