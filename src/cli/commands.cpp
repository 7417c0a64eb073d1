#include "cli/commands.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "cli/clean_command.hpp"
#include "cli/nearest_name.hpp"
#include "cli/search_command.hpp"
#include "cli/upgrade_command.hpp"
#include "cli/verify_command.hpp"

namespace codetext::cli {
namespace {

Option help_option(AllArguments& arguments) {
    return {'h', "help", "", "Other", "Print this text", Flag{&arguments.help}};
}

Option owner_option(AllArguments& arguments) {
    return {0,
            "any-owner",
            "",
            "Other",
            "Use an index that another user owns, who may have put anything into it",
            Flag{&arguments.which.any_owner}};
}

Option root_option(AllArguments& arguments) {
    return {0,
            "root",
            "DIR",
            "Other",
            "Use the index in the directory DIR, not the nearest one",
            List{&arguments.which.roots}};
}

Option version_option(AllArguments& arguments) {
    return {'V', "version", "", "Other", "Print the version", Flag{&arguments.version}};
}

Option config_option(AllArguments& arguments) {
    return {0,
            "no-config",
            "",
            "Other",
            "Read no default from a file or the environment (see `codetext config`)",
            Flag{&arguments.which.no_config}};
}

std::string_view first_word(std::string_view name) { return name.substr(0, name.find(' ')); }

std::string_view after_first_word(std::string_view name) {
    const std::size_t space = name.find(' ');
    return space == std::string_view::npos ? "" : name.substr(space + 1);
}

std::vector<std::string_view> names_of(const std::vector<Command>& commands) {
    std::vector<std::string_view> names;
    names.reserve(commands.size());
    for (const Command& command : commands) names.push_back(command.name);
    return names;
}

/// The command with a name of two words whose second word is missing or misspelt.
[[noreturn]] void refuse_second_word(const Command& command,
                                     const std::vector<std::string>& given) {
    const std::string second = given.size() > 1 ? " " + given[1] : "";
    throw UsageError(fmt::format("unknown command {}{}; did you mean {}?", first_word(command.name),
                                 second, command.name));
}

[[noreturn]] void refuse_first_word(const std::vector<Command>& commands,
                                    const std::string& given) {
    std::vector<std::string_view> words, meant;
    for (const Command& command : commands) words.push_back(first_word(command.name));
    const std::vector<std::string_view> nearest = nearest_names(given, words);
    for (const Command& command : commands) {
        const bool is_near = std::ranges::find(nearest, first_word(command.name)) != nearest.end();
        if (is_near) meant.push_back(command.name);
    }
    const std::string all =
        fmt::format("; the commands are {}", fmt::join(names_of(commands), ", "));
    throw UsageError(
        fmt::format("unknown command {}{}", given, meant.empty() ? all : did_you_mean(meant)));
}

}  // namespace

std::vector<Command> all_commands(AllArguments& arguments) {
    std::vector<Command> commands = {
        index_command(arguments.index),   search_command(arguments.search),
        status_command(arguments.status), upgrade_command(arguments.upgrade),
        verify_command(arguments.verify), clean_command(arguments.clean),
        watch_command(arguments.watch),   mcp_command(arguments.mcp),
        config_command(arguments.config)};
    for (Command& command : commands) {
        command.options.push_back(root_option(arguments));
        command.options.push_back(owner_option(arguments));
        command.options.push_back(config_option(arguments));
        command.options.push_back(help_option(arguments));
        command.options.push_back(version_option(arguments));
    }
    return commands;
}

Command program_command(AllArguments& arguments) {
    return {.name = "",
            .summary = "codetext keeps the text of a repository in an index and searches it.",
            .positionals = {},
            .usage = "COMMAND [OPTION...]",
            .rest = &arguments.none,
            .most_positionals = 0,
            .options = {help_option(arguments), version_option(arguments)},
            .notes =
                "Run `codetext index` anywhere in a repository first. Then search it:\n"
                "`codetext search code PATTERN`. `codetext COMMAND --help` lists the options.",
            .dash_tip = "options of a command follow its name"};
}

Chosen choose(const std::vector<Command>& commands, const std::vector<std::string>& given) {
    if (given.empty()) {
        throw UsageError(fmt::format("a command is missing; the commands are {}",
                                     fmt::join(names_of(commands), ", ")));
    }
    for (const Command& command : commands) {
        if (given.front() != first_word(command.name)) continue;
        const std::string_view second = after_first_word(command.name);
        if (second.empty()) return {&command, {given.begin() + 1, given.end()}};
        const bool has_second = given.size() > 1 && given[1] == second;
        const bool asks_for_help = given.size() == 2 && (given[1] == "--help" || given[1] == "-h");
        if (!has_second && !asks_for_help) refuse_second_word(command, given);
        return {&command, {given.begin() + (has_second ? 2 : 1), given.end()}};
    }
    refuse_first_word(commands, given.front());
}

}  // namespace codetext::cli
