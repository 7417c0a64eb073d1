#include "indexer/listing/git_files.hpp"

#include <algorithm>
#include <future>
#include <stdexcept>
#include <string_view>

#include "utils/platform.hpp"
#include "utils/process.hpp"

namespace codetext::indexer {
namespace {

bool reaches_git(std::string_view variable) {
    return !variable.starts_with("GIT_") || variable.starts_with("GIT_EXEC_PATH=") ||
           (variable.starts_with("GIT_CONFIG_") && !variable.starts_with("GIT_CONFIG_PARAMETERS="));
}

std::vector<std::string> git_environment() {
    std::vector<std::string> result = {"GIT_OPTIONAL_LOCKS=0"};
    for (char** variable = environ; *variable != nullptr; ++variable) {
        if (reaches_git(*variable)) result.emplace_back(*variable);
    }
    return result;
}

ProcessResult list(const std::filesystem::path& directory, std::vector<std::string> what) {
    std::vector<std::string> arguments = {"git",
                                          "-C",
                                          directory.native(),
                                          "-c",
                                          "core.fsmonitor=false",
                                          "-c",
                                          "core.hooksPath=/dev/null",
                                          "ls-files",
                                          "-z"};
    arguments.insert(arguments.end(), what.begin(), what.end());
    ProcessResult result = run_process(arguments, git_environment());
    if (result.status != 0) {
        while (result.errors.ends_with('\n')) result.errors.pop_back();
        throw std::runtime_error("git cannot list the files of " + directory.string() + ": " +
                                 result.errors);
    }
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

bool is_git_root(const std::filesystem::path& directory) {
    std::error_code ignored;
    const std::filesystem::path git = directory / ".git";
    const std::filesystem::file_status status = std::filesystem::status(git, ignored);
    if (std::filesystem::is_regular_file(status)) return true;
    return std::filesystem::is_directory(status) &&
           std::filesystem::exists(std::filesystem::symlink_status(git / "HEAD", ignored));
}

bool in_git_work_tree(const std::filesystem::path& directory) {
    std::filesystem::path at = std::filesystem::canonical(directory);
    while (!is_git_root(at)) {
        if (at == at.root_path()) return false;
        at = at.parent_path();
    }
    return true;
}

GitPaths git_paths(const std::filesystem::path& directory) {
    // Without a policy, std::async does without a thread where the system has none to give.
    auto untracked = std::async([&directory] {
        return list(directory, {"--others", "--exclude-standard"});
    });
    const ProcessResult tracked = list(directory, {"--cached"});
    const ProcessResult others = untracked.get();

    GitPaths result;
    append_split(tracked.output, '\0', result.paths);
    const auto middle = static_cast<std::ptrdiff_t>(result.paths.size());
    append_split(others.output, '\0', result.paths);
    const auto first_other = result.paths.begin() + middle;
    std::for_each(first_other, result.paths.end(), [](std::string& path) {
        if (path.ends_with('/')) path.pop_back();
    });
    std::sort(first_other, result.paths.end());
    std::inplace_merge(result.paths.begin(), first_other, result.paths.end());
    append_split(tracked.errors, '\n', result.warnings);
    append_split(others.errors, '\n', result.warnings);
    return result;
}

}  // namespace codetext::indexer
