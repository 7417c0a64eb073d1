#include "cli/verify_command.hpp"

#include <fmt/format.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "cli/existing_index.hpp"
#include "cli/output.hpp"
#include "cli/repository.hpp"
#include "storage/schema.hpp"
#include "storage/verify.hpp"

namespace codetext::cli {

namespace {

std::vector<std::string> verify_quickly(const std::filesystem::path& path) {
    schema::check_database_files(path);
    const PageCheck check = check_pages(path);
    if (!check.is_database) return schema::verify_file(path);  // says what is there instead
    if (!check.has_checksums) {
        throw std::runtime_error(fmt::format(
            "{} has no checksums: run `codetext upgrade`, or leave out --quick", path.string()));
    }
    return schema::page_problems(check);
}

}  // namespace

Command verify_command(VerifyArguments& arguments) {
    Command command =
        repository_command("verify", "Check that the index is undamaged", arguments.repository);
    command.options.push_back({0, "quick", "", "Checks",
                               "Check the checksum of each page, and nothing else",
                               Flag{&arguments.quick}});
    command.notes = "Exit status: 0 for a whole index, 1 for a damaged one, 2 for an error.";
    return command;
}

int verify_main(const VerifyArguments& arguments, schema::Owners owners) {
    const std::filesystem::path root = find_root(arguments.repository.path());
    check_index(root, owners);
    const std::filesystem::path path = schema::index_path(root);
    const std::vector<std::string> problems =
        arguments.quick ? verify_quickly(path) : schema::verify_file(path);
    for (const std::string& problem : problems) print_line(problem);
    if (problems.empty()) print_line("the index is whole");
    return problems.empty() ? 0 : 1;
}

}  // namespace codetext::cli
