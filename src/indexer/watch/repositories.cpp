#include "indexer/watch/repositories.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <iterator>
#include <new>
#include <stdexcept>

#include "indexer/listing/git_files.hpp"

namespace codetext::indexer {
namespace fs = std::filesystem;

namespace {

constexpr std::int64_t LONGEST_LOCK_S = 30;

bool is_locked(const GitRepository& repository) {
    struct stat status {};
    const fs::path lock = repository.git_directory / "index.lock";
    if (::lstat(lock.c_str(), &status) == -1) return false;
    return std::abs(std::time(nullptr) - status.st_mtime) < LONGEST_LOCK_S;
}

}  // namespace

Repositories::Repositories(fs::path root) : _root(std::move(root)) {
    const auto top = git_root_above(_root);
    if (!top) return;
    if (*top != _root) _root_in_tree = _root.lexically_relative(*top).string() + '/';
    try {
        _repositories.emplace("", open_git_repository(*top));
    } catch (const std::runtime_error&) {  // the listing says what is wrong with it
    }
}

void Repositories::add(const std::string& path) {
    if (path.empty() || !is_git_root(_root / path)) return;
    try {
        _repositories.insert_or_assign(path, open_git_repository(_root / path));
    } catch (const std::runtime_error&) {  // likewise
    }
}

std::vector<fs::path> Repositories::places() const {
    std::vector<fs::path> places;
    for (const auto& [path, repository] : _repositories) {
        places.push_back(repository.git_directory);
        places.push_back(repository.common_directory);
        places.push_back(repository.common_directory / "info");
    }
    fs::path above = _root;
    for (const char byte : _root_in_tree) {
        if (byte == '/') places.push_back(above = above.parent_path());
    }
    return places;
}

std::vector<std::string> Repositories::without_ignored(std::vector<std::string> paths) const {
    std::map<std::string_view, std::vector<std::string>> asked;  // by repository
    for (const std::string& path : paths) {
        const std::string& owner = _owner_of(path);
        const bool is_outer = owner.empty();
        asked[owner].push_back(is_outer ? _root_in_tree + path : path.substr(owner.size() + 1));
    }
    std::vector<std::string> ignored;
    for (const auto& [owner, asked_paths] : asked) {
        const auto repository = _repositories.find(owner);
        if (repository == _repositories.end()) continue;
        for (const std::string& path : git_ignored(repository->second.work_tree, asked_paths)) {
            ignored.push_back(owner.empty() ? path.substr(_root_in_tree.size())
                                            : std::string(owner) + '/' + path);
        }
    }
    std::ranges::sort(paths);
    std::ranges::sort(ignored);
    std::vector<std::string> rest;
    std::ranges::set_difference(paths, ignored, std::back_inserter(rest));
    return rest;
}

bool Repositories::is_git_at_work() const {
    return std::ranges::any_of(_repositories,
                               [](const auto& entry) { return is_locked(entry.second); });
}

/// The repository around `path`; of a repository inside, that is the one around it.
const std::string& Repositories::_owner_of(std::string_view path) const {
    static const std::string OUTER;
    while (true) {
        const std::size_t slash = path.rfind('/');
        if (slash == std::string_view::npos) return OUTER;
        path = path.substr(0, slash);
        const auto found = _repositories.find(path);
        if (found != _repositories.end()) return found->first;
    }
}

}  // namespace codetext::indexer
