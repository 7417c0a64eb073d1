// The command line of `search code`: any arguments are taken or refused, and each is taken byte by
// byte.

#include "cli/escaped.hpp"
#include "cli/file_types.hpp"
#include "cli/search_arguments.hpp"
#include "fuzz.hpp"
#include "search/query/query.hpp"
#include "utils/reference.hpp"
#include "utils/unicode.hpp"

namespace codetext::fuzz {

using cli::SearchArguments;

SearchArguments parsed(const std::vector<std::string>& arguments) {
    SearchArguments result;
    cli::parse(cli::search_command(result), arguments);
    return result;
}

void target(Input input) {
    const std::vector<std::string> arguments = reference::words(input.rest(), '\0');
    try {
        SearchArguments given = parsed(arguments);
        given.settle_patterns();
        require(!given.patterns.empty() || !given.pattern_files.empty() || given.files,
                "a search has a pattern");
        require(given.lines_before() >= 0 && given.lines_after() >= 0, "no count is negative");
        cli::members_of_types(given.types);
    } catch (const cli::UsageError& error) {
        const std::string shown = cli::escaped(error.what());
        require(unicode::decode(shown) == shown && shown.find('\n') == shown.npos,
                "a message is one line of UTF-8");
    }
    std::vector<std::string> behind = {"--"};
    for (const std::string& argument : arguments) {
        behind.push_back(argument);
        const auto options = {"--regexp=" + argument, std::string("-e"), argument};
        require(parsed(options).patterns == std::vector(2, argument), "a value arrives as given");
    }
    require(parsed(behind).paths == arguments, "what follows -- arrives as given");
}

}  // namespace codetext::fuzz
