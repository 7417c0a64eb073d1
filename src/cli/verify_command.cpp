#include "cli/verify_command.hpp"

#include <string>
#include <vector>

#include "cli/existing_index.hpp"
#include "cli/output.hpp"
#include "cli/repository.hpp"
#include "storage/verify.hpp"

namespace codetext::cli {

Command verify_command(RepositoryArguments& arguments) {
    Command command = repository_command("verify", "Check that the index is undamaged", arguments);
    command.notes = "Exit status: 0 for a whole index, 1 for a damaged one, 2 for an error.";
    return command;
}

int verify_main(const RepositoryArguments& arguments, schema::Owners owners) {
    const Database db = open_existing_index(find_root(arguments.path()), owners);
    const std::vector<std::string> problems = schema::verify(db);
    for (const std::string& problem : problems) print_line(problem);
    if (problems.empty()) print_line("the index is whole");
    return problems.empty() ? 0 : 1;
}

}  // namespace codetext::cli
