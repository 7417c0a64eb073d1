#include "cli/verify_command.hpp"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "cli/existing_index.hpp"
#include "cli/repository.hpp"
#include "storage/verify.hpp"

namespace codetext::cli {
namespace {

int run(const std::filesystem::path& path) {
    const Database db = open_index(find_root(path));
    const std::vector<std::string> problems = schema::verify(db);
    for (const std::string& problem : problems) fmt::print("{}\n", problem);
    if (problems.empty()) fmt::print("the index is whole\n");
    return problems.empty() ? 0 : 1;
}

}  // namespace

void add_verify_command(CLI::App& app, int& exit_status) {
    auto path = std::make_shared<std::string>(".");
    CLI::App* command =
        app.add_subcommand("verify", "Check that the index is undamaged (exit status 1 if not)");
    command->add_option("PATH", *path, "A directory of the repository (default: .)")->type_name("");
    command->callback([path, &exit_status] { exit_status = run(*path); });
}

}  // namespace codetext::cli
