#include "indexer/listing/git_repository.hpp"

#include <sys/stat.h>

#include <stdexcept>
#include <string>
#include <string_view>

#include "utils/fsio.hpp"
#include "utils/user.hpp"

namespace codetext::indexer {
namespace fs = std::filesystem;

namespace {

[[noreturn]] void refuse(const fs::path& work_tree, const std::string& why) {
    throw std::runtime_error("git cannot list the files of " + work_tree.string() + ": " + why);
}

/// The path that a file of git's holds: its text without `prefix` and the line breaks at its end.
fs::path path_in(const fs::path& file, std::string_view prefix, const fs::path& work_tree) {
    const std::string text = fsio::read_bytes_no_follow(file);
    std::string_view path = text;
    if (!path.starts_with(prefix)) refuse(work_tree, file.string() + " names no repository");
    path.remove_prefix(prefix.size());
    path = path.substr(0, path.find_last_not_of("\r\n") + 1);
    return file.parent_path() / path;
}

bool is_a_directory(const fs::path& path) {
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

bool is_owned(const fs::path& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == -1) return false;
    return is_this_user(status.st_uid);
}

}  // namespace

bool is_git_root(const fs::path& directory) {
    std::error_code ignored;
    const fs::path git = directory / ".git";
    const fs::file_status status = fs::status(git, ignored);
    if (fs::is_regular_file(status)) return true;
    return fs::is_directory(status) && fs::exists(fs::symlink_status(git / "HEAD", ignored));
}

std::optional<fs::path> git_root_above(const fs::path& directory) {
    fs::path at = fs::canonical(directory);
    while (!is_git_root(at)) {
        if (at == at.root_path()) return std::nullopt;
        at = at.parent_path();
    }
    return at;
}

GitRepository open_git_repository(const fs::path& work_tree) {
    GitRepository found{fs::absolute(work_tree), fs::absolute(work_tree) / ".git", {}};
    if (!is_a_directory(found.git_directory)) {
        found.git_directory = path_in(found.git_directory, "gitdir: ", work_tree);
    }
    found.common_directory = found.git_directory;
    const fs::path common = found.git_directory / "commondir";
    std::error_code ignored;
    if (fs::exists(common, ignored)) found.common_directory = path_in(common, "", work_tree);
    if (!is_a_directory(found.common_directory / "objects") ||
        !is_a_directory(found.common_directory / "refs")) {
        refuse(work_tree, found.git_directory.string() + " is not a git repository");
    }
    // git would wait for the writer of a FIFO.
    const fs::file_status index = fs::status(found.git_directory / "index", ignored);
    if (fs::exists(index) && !fs::is_regular_file(index)) {
        refuse(work_tree, "the index is not a regular file");
    }
    return found;
}

bool is_owned_by_user(const GitRepository& repository) {
    return is_owned(repository.work_tree) && is_owned(repository.work_tree / ".git") &&
           is_owned(repository.git_directory);
}

}  // namespace codetext::indexer
