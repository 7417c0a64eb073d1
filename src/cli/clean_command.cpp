#include "cli/clean_command.hpp"

#include <filesystem>
#include <stdexcept>

#include "cli/output.hpp"
#include "cli/waiting.hpp"
#include "indexer/run/index_run.hpp"
#include "indexer/watch/watcher_lock.hpp"

namespace codetext::cli {

Command clean_command(RepositoryArguments& arguments) {
    Command command = repository_command("clean", "Remove the index of a repository", arguments);
    command.options.push_back(no_wait_option(arguments));
    return command;
}

int clean_main(const RepositoryArguments& arguments, const WhichIndex& which) {
    const std::filesystem::path root = which.root_for(arguments);
    const bool was_there = schema::open_index_directory(root, which.owners()).number() != -1;
    if (indexer::WatcherSight(root, which.owners()).lives()) {
        throw std::runtime_error("codetext watch is running on " + root.string() +
                                 ": end it first");
    }
    indexer::clean_index(root,
                         lock_options(which.owners(), indexer::Work::CLEAN, arguments.no_wait));
    const std::string place = (root / schema::INDEX_DIRECTORY).string();
    print_line((was_there ? "removed the index in " : "no index in ") + place);
    return 0;
}

}  // namespace codetext::cli
