#include "cli/upgrade_command.hpp"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "cli/existing_index.hpp"
#include "cli/repository.hpp"
#include "indexer/run/index_run.hpp"

namespace codetext::cli {
namespace {

void run(const std::filesystem::path& path) {
    const std::filesystem::path root = find_root(path);
    check_index(root);
    const auto steps = indexer::upgrade_index(root);
    for (const schema::UpgradeStep& step : steps) {
        fmt::print("{} to {}: {}\n", step.from, step.to, step.what);
    }
    if (steps.empty()) fmt::print("up to date: schema {}\n", schema::SCHEMA_VERSION);
}

}  // namespace

void add_upgrade_command(CLI::App& app, int& exit_status) {
    auto path = std::make_shared<std::string>(".");
    CLI::App* command = app.add_subcommand(
        "upgrade", "Bring the index of an older codetext to today's format, as `index` does too");
    command->add_option("PATH", *path, "A directory of the repository (default: .)")->type_name("");
    command->callback([path, &exit_status] {
        run(*path);
        exit_status = 0;
    });
}

}  // namespace codetext::cli
