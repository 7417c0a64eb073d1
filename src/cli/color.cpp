// A part of a line has up to two colors and some styles. Each is a parameter of the escape sequence
// "Select Graphic Rendition" (ECMA-48, 8.3.117), which they make together.

#include "cli/color.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

namespace codetext::cli {

namespace {

constexpr std::array<std::string_view, 8> COLORS = {"black", "red",     "green", "yellow",
                                                    "blue",  "magenta", "cyan",  "white"};
constexpr int FIRST_FOREGROUND = 30, FIRST_BRIGHT_FOREGROUND = 90, TO_BACKGROUND = 10;

/// What one part of a line looks like.
struct Look {
    std::string foreground = {}, background = {};  ///< parameters; empty: the terminal's own
    bool is_intense = false;
    std::map<std::string_view, bool> styles = {};

    std::string sequence() const {
        std::vector<std::string> parameters;
        constexpr std::array<std::pair<std::string_view, std::string_view>, 3> STYLES = {
            {{"bold", "1"}, {"italic", "3"}, {"underline", "4"}}};
        for (const auto& [style, parameter] : STYLES) {
            const auto found = styles.find(style);
            if (found != styles.end() && found->second) parameters.emplace_back(parameter);
        }
        if (!foreground.empty()) parameters.push_back(foreground);
        if (!background.empty()) parameters.push_back(background);
        if (parameters.empty()) return "";
        return fmt::format("\x1b[{}m", fmt::join(parameters, ";"));
    }
};

std::string_view environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/// A number from 0 to 255, decimal or, after "0x", hexadecimal.
std::optional<int> byte_in(std::string_view text) {
    const int base = text.starts_with("0x") ? 16 : 10;
    if (base == 16) text.remove_prefix(2);
    int value = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    const bool is_byte =
        error == std::errc() && end == text.data() + text.size() && value >= 0 && value <= 0xFF;
    return is_byte ? std::optional(value) : std::nullopt;
}

std::vector<std::string_view> pieces_of(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    while (true) {
        const std::size_t end = std::min(text.find(separator), text.size());
        pieces.push_back(text.substr(0, end));
        if (end == text.size()) return pieces;
        text.remove_prefix(end + 1);
    }
}

/// The parameter for a color by its name, its number, or its parts of red, green and blue.
std::optional<std::string> color_parameter(std::string_view value, bool is_background,
                                           bool is_intense) {
    const int to_background = is_background ? TO_BACKGROUND : 0;
    const auto* named = std::ranges::find(COLORS, value);
    if (named != COLORS.end()) {
        const int first = is_intense ? FIRST_BRIGHT_FOREGROUND : FIRST_FOREGROUND;
        return std::to_string(first + to_background + static_cast<int>(named - COLORS.begin()));
    }
    std::vector<std::string> numbers;
    for (const std::string_view piece : pieces_of(value, ',')) {
        const auto number = byte_in(piece);
        if (!number) return std::nullopt;
        numbers.push_back(std::to_string(*number));
    }
    if (numbers.size() != 1 && numbers.size() != 3) return std::nullopt;
    return fmt::format("{};{};{}", 38 + to_background, numbers.size() == 1 ? 5 : 2,
                       fmt::join(numbers, ";"));
}

[[noreturn]] void refuse(std::string_view setting, std::string_view why) {
    throw std::invalid_argument(fmt::format("--colors: \"{}\": {}", setting, why));
}

void set_style(Look& look, std::string_view setting, std::string_view style) {
    constexpr std::array<std::string_view, 4> STYLES = {"bold", "intense", "underline", "italic"};
    const bool is_off = style.starts_with("no");
    const std::string_view name = is_off ? style.substr(2) : style;
    const auto* known = std::ranges::find(STYLES, name);
    if (known == STYLES.end()) {
        refuse(setting, fmt::format("a style is one of {}, or one of these after \"no\"",
                                    fmt::join(STYLES, ", ")));
    }
    if (name == "intense") {
        look.is_intense = !is_off;
    } else {
        look.styles[*known] = !is_off;
    }
}

void apply(Look& look, std::string_view setting, const std::vector<std::string_view>& pieces) {
    if (pieces.size() == 2 && pieces[1] == "none") {
        look = Look();
        return;
    }
    if (pieces.size() != 3)
        refuse(setting, "not PART:fg:COLOR, PART:bg:COLOR, PART:style:STYLE or PART:none");
    if (pieces[1] == "style") return set_style(look, setting, pieces[2]);
    const bool is_background = pieces[1] == "bg";
    if (!is_background && pieces[1] != "fg") refuse(setting, "not fg, bg or style");
    const auto parameter = color_parameter(pieces[2], is_background, look.is_intense);
    if (!parameter) {
        refuse(setting, fmt::format("a color is one of {}, a number from 0 to 255, or three of "
                                    "them with commas for red, green and blue",
                                    fmt::join(COLORS, ", ")));
    }
    (is_background ? look.background : look.foreground) = *parameter;
}

}  // namespace

Colors terminal_colors(const std::vector<std::string>& settings) {
    std::map<std::string_view, Look> looks = {
        {"path", {.foreground = "35"}},
        {"line", {.foreground = "32"}},
        {"column", {}},
        {"match", {.foreground = "31", .styles = {{"bold", true}}}}};
    for (const std::string& setting : settings) {
        const std::vector<std::string_view> pieces = pieces_of(setting, ':');
        const auto look = looks.find(pieces.front());
        if (look == looks.end()) refuse(setting, "begins with none of path, line, column, match");
        apply(look->second, setting, pieces);
    }
    return {looks["path"].sequence(), looks["line"].sequence(), looks["column"].sequence(),
            looks["match"].sequence(), "\x1b[0m"};
}

bool use_color(std::string_view when, bool is_terminal) {
    if (when != "auto") return when != "never";
    // https://no-color.org: any value but an empty one.
    return is_terminal && environment("NO_COLOR").empty() && environment("TERM") != "dumb";
}

}  // namespace codetext::cli
