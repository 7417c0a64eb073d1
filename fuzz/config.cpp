// A configuration file, the first byte of the input saying whose: any text is taken or refused with
// its place, and a repository's sets nothing but what it may.

#include "cli/config.hpp"

#include "cli/escaped.hpp"
#include "fuzz.hpp"
#include "utils/reference.hpp"
#include "utils/unicode.hpp"

namespace codetext::fuzz {

using namespace cli;

/// Each setting with its line moved down by `lines`, in a form that can be compared.
std::vector<std::string> shown(const Settings& settings, long lines) {
    std::vector<std::string> result;
    for (const Setting& setting : settings) {
        require(setting.place.starts_with("FILE:"), "a setting has a place");
        const long line = std::stol(setting.place.substr(5)) + lines;
        result.push_back(std::string(setting.key->name) + ' ' + setting.type + ' ' +
                         std::to_string(line));
        result.insert(result.end(), setting.values.begin(), setting.values.end());
    }
    return result;
}

void check_narrow(const SearchArguments& set) {
    const SearchArguments none;
    const bool is_narrow = !set.fresh && set.fresh_after == none.fresh_after && !set.text &&
                           !set.smart_case && set.color == none.color && set.colors.empty() &&
                           set.threads == none.threads && set.limit == none.limit &&
                           set.globs.empty() && set.types.empty() && set.source == none.source;
    require(is_narrow, "a repository's file only narrows");
}

void target(Input input) {
    const Origin origin = input.number(1) % 2 == 0 ? Origin::REPOSITORY : Origin::USER;
    const std::string text = input.rest();
    try {
        const Settings settings = settings_in(text, "FILE", origin);
        if (!text.starts_with("\xef\xbb\xbf")) {
            const Settings moved = settings_in("\n" + text, "FILE", origin);
            require(shown(settings, 1) == shown(moved, 0), "a line in front moves all others");
        }
        SearchArguments arguments;
        apply(settings, arguments);
        if (origin == Origin::REPOSITORY) check_narrow(arguments);
    } catch (const UsageError& error) {
        const std::string message = escaped(error.what());
        require(message.starts_with("FILE:"), "a message says where");
        require(unicode::decode(message) == message && message.find('\n') == message.npos,
                "a message is one line of UTF-8");
    }
}

}  // namespace codetext::fuzz
