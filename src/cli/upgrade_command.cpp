#include "cli/upgrade_command.hpp"

#include <fmt/format.h>

#include "cli/existing_index.hpp"
#include "cli/output.hpp"
#include "cli/waiting.hpp"
#include "indexer/run/index_run.hpp"

namespace codetext::cli {

Command upgrade_command(RepositoryArguments& arguments) {
    Command command = repository_command(
        "upgrade", "Bring the index of an older codetext to today's format, as `index` does too",
        arguments);
    command.options.push_back(no_wait_option(arguments));
    return command;
}

int upgrade_main(const RepositoryArguments& arguments, const WhichIndex& which) {
    const std::filesystem::path root = which.root_for(arguments);
    check_index(root, which.owners());
    const auto steps = indexer::upgrade_index(
        root, lock_options(which.owners(), indexer::Work::UPGRADE, arguments.no_wait));
    for (const schema::UpgradeStep& step : steps) {
        print_line(fmt::format("{} to {}: {}", step.from, step.to, step.what));
    }
    if (steps.empty()) print_line(fmt::format("up to date: schema {}", schema::SCHEMA_VERSION));
    return 0;
}

}  // namespace codetext::cli
