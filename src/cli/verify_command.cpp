#include "cli/verify_command.hpp"

#include <fmt/format.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "cli/existing_index.hpp"
#include "cli/exit_status.hpp"
#include "cli/index_command.hpp"
#include "cli/output.hpp"
#include "cli/waiting.hpp"
#include "indexer/run/repair.hpp"
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

int repair(const std::filesystem::path& root, indexer::LockOptions lock) {
    indexer::IndexOptions options;
    options.lock = std::move(lock);
    const indexer::RepairReport report = indexer::repair_index(root, options);
    for (const std::string& problem : report.problems) print_line(problem);
    switch (report.mended) {
        case indexer::Mended::NOTHING:
            print_line("the index is whole");
            break;
        case indexer::Mended::FILES:
            print_line(fmt::format("read {} file(s) again; the index is whole now",
                                   report.index.new_files + report.index.changed_files));
            break;
        case indexer::Mended::INDEX:
            print_line(fmt::format("made the index anew from {} file(s)", report.index.files));
            break;
    }
    report_problems(report.index);
    return SUCCESS;
}

}  // namespace

Command verify_command(VerifyArguments& arguments) {
    Command command =
        repository_command("verify", "Check that the index is undamaged", arguments.repository);
    command.options.push_back({0, "quick", "", "Checks",
                               "Check the checksum of each page, and nothing else",
                               Flag{&arguments.quick, {&arguments.repair}}});
    command.options.push_back({0, "repair", "", "Checks",
                               "Rebuild what is damaged from the files on disk",
                               Flag{&arguments.repair, {&arguments.quick}}});
    command.options.push_back(no_wait_option(arguments.repository));
    command.notes =
        "Exit status: 0 for an index that is whole, or that --repair made whole,\n"
        "1 for a damaged one, 2 for an error.";
    return command;
}

int verify_main(const VerifyArguments& arguments, const WhichIndex& which) {
    const std::filesystem::path root = which.root_for(arguments.repository);
    check_index(root, which.owners());
    if (arguments.repair) {
        return repair(root, lock_options(which.owners(), indexer::Work::REPAIR,
                                         arguments.repository.no_wait));
    }
    const std::filesystem::path path = schema::index_path(root);
    const std::vector<std::string> problems =
        arguments.quick ? verify_quickly(path) : schema::verify_file(path);
    for (const std::string& problem : problems) print_line(problem);
    if (problems.empty()) print_line("the index is whole");
    return problems.empty() ? SUCCESS : NOTHING;
}

}  // namespace codetext::cli
