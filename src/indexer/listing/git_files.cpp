#include "indexer/listing/git_files.hpp"

#include <algorithm>
#include <future>
#include <stdexcept>
#include <string_view>

#include "indexer/listing/git_repository.hpp"
#include "indexer/listing/git_view.hpp"
#include "utils/process.hpp"

namespace codetext::indexer {
namespace {

/// git's own message, without the line breaks at its end.
[[noreturn]] void fail(const std::filesystem::path& directory, std::string message) {
    while (message.ends_with('\n')) message.pop_back();
    throw std::runtime_error("git cannot list the files of " + directory.string() + ": " + message);
}

/// git refuses a repository that another user owns, unless the configuration of this user names it
/// in safe.directory. It looks at nothing else when it only has to say where the repository is.
void check_owner(const GitRepository& repository) {
    if (is_owned_by_user(repository)) return;
    const ProcessResult asked = run_process(
        {"git", "-C", repository.work_tree.native(), "rev-parse", "--git-dir"}, git_environment());
    if (asked.status != 0) fail(repository.work_tree, asked.errors);
}

// The first two settings may stand in the user's own configuration, and would start programs.
ProcessResult run_git(const GitView& view, const std::filesystem::path& directory,
                      const std::vector<std::string>& what, std::string_view input = {}) {
    std::vector<std::string> arguments = {"git",
                                          "-C",
                                          directory.native(),
                                          "-c",
                                          "core.fsmonitor=false",
                                          "-c",
                                          "core.hooksPath=/dev/null"};
    arguments.insert(arguments.end(), what.begin(), what.end());
    return run_process(arguments, view.environment(), input);
}

ProcessResult list(const GitView& view, const std::filesystem::path& directory,
                   const std::vector<std::string>& what) {
    ProcessResult result = run_git(view, directory, what);
    if (result.status != 0) fail(directory, std::move(result.errors));
    return result;
}

void append_split(std::string_view text, char separator, std::vector<std::string>& parts) {
    while (!text.empty()) {
        const std::string_view part = text.substr(0, text.find(separator));
        if (!part.empty()) parts.emplace_back(part);
        text.remove_prefix(std::min(part.size() + 1, text.size()));
    }
}

}  // namespace

GitPaths git_paths(const std::filesystem::path& root, const std::filesystem::path& directory) {
    const GitRepository repository = open_git_repository(root);
    check_owner(repository);
    const GitView view(repository);
    // Without a policy, std::async does without a thread where the system has none to give.
    auto untracked = std::async([&] {
        return list(view, directory, {"ls-files", "-z", "--others", "--exclude-standard"});
    });
    const ProcessResult tracked = list(view, directory, {"ls-files", "-z", "--cached"});
    const ProcessResult others = untracked.get();

    GitPaths result;
    append_split(tracked.output, '\0', result.paths);
    const auto middle = static_cast<std::ptrdiff_t>(result.paths.size());
    append_split(others.output, '\0', result.paths);
    const auto first_other = result.paths.begin() + middle;
    // A repository inside that git does not track ends in "/". Without it, the order of the paths
    // may be another one.
    std::for_each(first_other, result.paths.end(), [](std::string& path) {
        if (path.ends_with('/')) path.pop_back();
    });
    std::sort(first_other, result.paths.end());
    std::inplace_merge(result.paths.begin(), first_other, result.paths.end());
    append_split(tracked.errors, '\n', result.warnings);
    append_split(others.errors, '\n', result.warnings);
    return result;
}

std::vector<std::string> git_ignored(const std::filesystem::path& root,
                                     const std::vector<std::string>& paths) {
    constexpr std::string_view HERE = "./";  // what follows is a path, however it begins
    std::string input;
    for (const std::string& path : paths) input.append(HERE).append(path).push_back('\0');
    const GitView view(open_git_repository(root));
    const ProcessResult result = run_git(view, root, {"check-ignore", "-z", "--stdin"}, input);
    if (result.status != 0) return {};
    std::vector<std::string> ignored;
    append_split(result.output, '\0', ignored);
    for (std::string& path : ignored) path.erase(0, HERE.size());
    return ignored;
}

}  // namespace codetext::indexer
