#include "pages/option_values.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "cli/file_types.hpp"

namespace codetext::pages {

bool takes_value(const cli::Option& option) { return !option.value_name.empty(); }

std::vector<std::string> value_words(const cli::Option& option) {
    if (const auto* choice = std::get_if<cli::Choice>(&option.target)) {
        return {choice->words.begin(), choice->words.end()};
    }
    if (option.value_name != "TYPE") return {};
    const auto types = cli::type_names();
    return {types.begin(), types.end()};
}

bool is_file(std::string_view value_name) {
    constexpr std::array<std::string_view, 3> FILES = {"PATH", "FILE", "DIR"};
    return std::ranges::find(FILES, value_name) != FILES.end();
}

std::vector<std::string> names(const cli::Option& option) {
    std::vector<std::string> result;
    if (option.short_name != 0) result.push_back(fmt::format("-{}", option.short_name));
    result.push_back(fmt::format("--{}", option.long_name));
    return result;
}

std::string_view brief(std::string_view help) {
    std::size_t end = help.size();
    for (const std::string_view mark : {"; ", ": ", " (", ". "}) {
        end = std::min(end, help.find(mark));
    }
    return help.substr(0, end);
}

std::string_view first_word(std::string_view command_name) {
    return command_name.substr(0, command_name.find(' '));
}

std::string_view second_word(std::string_view command_name) {
    const std::size_t space = command_name.find(' ');
    return space == std::string_view::npos ? "" : command_name.substr(space + 1);
}

std::string replaced(std::string_view text, char from, std::string_view to) {
    std::string result;
    for (const char byte : text) {
        if (byte == from) {
            result += to;
        } else {
            result += byte;
        }
    }
    return result;
}

}  // namespace codetext::pages
