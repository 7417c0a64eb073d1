#include "indexer/watch/watched_tree.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <system_error>
#include <utility>

#include "storage/index_directory.hpp"
#include "utils/directory_entries.hpp"
#include "utils/open_below.hpp"

namespace codetext::indexer {
namespace {

using Kind = FileEvent::Kind;

constexpr int OPEN_DIRECTORY = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// More paths than these are not worth asking git about.
constexpr std::size_t MOST_PATHS = 256;

/// Our own writes: the index, and what git_view makes where the tree holds the temporary files.
bool is_ours(std::string_view name) {
    return name == schema::INDEX_DIRECTORY || name.starts_with("codetext-git-");
}

bool holds_rules(std::string_view name) {
    return name == ".gitignore" || name == "exclude" || name == "info";
}

std::string joined(const std::string& directory, std::string_view name) {
    return directory.empty() ? std::string(name) : directory + '/' + std::string(name);
}

/// The directories on the way to the files, ascending, each once.
std::vector<std::string> directories_of(const std::vector<FileEntry>& files) {
    std::vector<std::string> directories = {""};
    std::string_view last;
    for (const FileEntry& file : files) {
        const std::string_view path = file.path;
        const std::string_view parent = path.substr(0, path.rfind('/') + 1);
        if (parent == last) continue;
        for (std::size_t at = parent.find('/'); at != std::string_view::npos;
             at = parent.find('/', at + 1)) {
            if (!last.starts_with(parent.substr(0, at + 1))) {
                directories.emplace_back(parent.substr(0, at));
            }
        }
        last = parent;
    }
    std::ranges::sort(directories);
    directories.erase(std::unique(directories.begin(), directories.end()), directories.end());
    return directories;
}

bool is_directory(int parent, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
    struct stat status {};
    const auto* name = static_cast<const char*>(entry.d_name);
    return ::fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

/// None when there is no such directory, or it may not be read: its files are found by each
/// refresh. REQUIRES of the machine that it can open files.
Descriptor open_directory(const Descriptor& root, const std::string& path) {
    Descriptor opened = path.empty() ? Descriptor(::openat(root.number(), ".", OPEN_DIRECTORY))
                                     : open_below(root, path, OPEN_DIRECTORY);
    if (!opened && is_machine_failure(errno)) throw_system_error("cannot open " + path);
    return opened;
}

}  // namespace

WatchedTree::WatchedTree(std::filesystem::path root, Inotify& inotify)
    : _root(std::move(root)), _inotify(inotify), _repositories(_root) {}

void WatchedTree::lose_track(TreeChanges& changes) {
    _must_walk = true;
    changes.is_certain = true;
}

void WatchedTree::take(const FileEvent& event, TreeChanges& changes) {
    if (event.kind == Kind::OVERFLOW) return lose_track(changes);
    const auto found = _paths.find(event.watch);
    if (found == _paths.end()) return;
    const std::string path = found->second;
    if (event.kind == Kind::UNWATCHED) {
        _paths.erase(found);
        _watches.erase(path);
        changes.is_certain = true;
    } else if (path.starts_with('/')) {
        _take_beside(event.name, changes);
    } else if (!event.name.empty() && !is_ours(event.name)) {
        _take_inside(path, event, changes);
    }
}

void WatchedTree::_take_beside(std::string_view name, TreeChanges& changes) {
    if (name == "index") changes.is_certain = true;
    if (holds_rules(name)) lose_track(changes);
}

void WatchedTree::_take_inside(const std::string& path, const FileEvent& event,
                               TreeChanges& changes) {
    if (event.name == ".gitignore") lose_track(changes);
    if (event.name == ".git") {
        if (event.kind != Kind::CHANGED || !event.is_directory) lose_track(changes);
        return;
    }
    std::string changed = joined(path, event.name);
    if (!event.is_directory) {
        if (changes.files.size() >= MOST_PATHS) changes.is_certain = true;
        if (!changes.is_certain) changes.files.push_back(std::move(changed));
    } else if (event.kind == Kind::VANISHED) {
        if (_forget_below(changed)) changes.is_certain = true;
    } else {
        changes.directories.push_back(std::move(changed));
    }
}

bool WatchedTree::settle(TreeChanges& changes) {
    const std::vector<std::string> directories = _wanted(std::move(changes.directories));
    const bool is_certain = changes.is_certain || !directories.empty();
    const std::vector<std::string> files = std::move(changes.files);
    changes = {.is_certain = false, .files = {}, .directories = {}};
    if (_must_walk) return true;  // the walk finds the directories
    _visit(directories);
    return is_certain || !_repositories.without_ignored(files).empty();
}

bool WatchedTree::follow(const std::vector<FileEntry>& files) {
    _listed = directories_of(files);
    if (_must_walk) return _walk();
    std::vector<std::string> missing;
    std::ranges::copy_if(_listed, std::back_inserter(missing),
                         [this](const std::string& path) { return !_watches.contains(path); });
    return _visit(std::move(missing));
}

/// Looks at the whole tree, and watches no more what it does not come by.
bool WatchedTree::_walk() {
    _must_walk = false;
    _seen.clear();
    _repositories = Repositories(_root);
    const bool is_new = _visit({""});
    std::erase_if(_watches, [this](const auto& watch) {
        if (_seen.contains(watch.first)) return false;
        _inotify.unwatch(watch.second);
        _paths.erase(watch.second);
        return true;
    });
    return is_new;
}

/// Watches directories and all below them but the ignored ones. Each is watched before it is read:
/// what is made in it meanwhile is seen here or makes an event. Returns whether a watch is new.
bool WatchedTree::_visit(std::vector<std::string> paths) {
    if (paths.empty()) return false;
    const Descriptor root = open_root(_root);
    bool is_new = false;
    while (!paths.empty()) {
        std::vector<std::string> below;
        for (const std::string& path : paths) {
            const Descriptor directory = open_directory(root, path);
            if (!directory) continue;
            is_new |= _watch(path, directory, Inotify::Interest::CONTENT);
            _read(path, directory, below);
        }
        paths = _wanted(std::move(below));
    }
    for (const std::filesystem::path& place : _repositories.places()) {
        const Descriptor directory(::open(place.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (directory) is_new |= _watch(place, directory, Inotify::Interest::NAMES);
    }
    return is_new;
}

void WatchedTree::_read(const std::string& path, const Descriptor& directory,
                        std::vector<std::string>& below) {
    const auto look = [&](const dirent& entry) {
        const std::string_view name = static_cast<const char*>(entry.d_name);
        if (name == ".git") {
            _repositories.add(path);
        } else if (!is_ours(name) && is_directory(directory.number(), entry)) {
            below.push_back(joined(path, name));
        }
        return true;
    };
    try {
        each_entry(directory, look);
    } catch (const std::system_error& error) {
        // A directory that nobody may read, or that has gone, is the next run's to report.
        if (is_machine_failure(error.code().value())) throw;
    }
}

/// Those that hold listed files, and those that no repository ignores.
std::vector<std::string> WatchedTree::_wanted(std::vector<std::string> paths) const {
    std::ranges::sort(paths);
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
    const auto first_other = std::stable_partition(
        paths.begin(), paths.end(), [this](const std::string& path) { return _is_listed(path); });
    if (first_other == paths.end()) return paths;
    const std::vector<std::string> others =
        _repositories.without_ignored({first_other, paths.end()});
    paths.erase(first_other, paths.end());
    paths.insert(paths.end(), others.begin(), others.end());
    return paths;
}

bool WatchedTree::_is_listed(const std::string& path) const {
    return std::ranges::binary_search(_listed, path);
}

/// Returns whether the directory was not watched under this path.
bool WatchedTree::_watch(const std::string& path, const Descriptor& directory,
                         Inotify::Interest interest) {
    const int watch = _inotify.watch(directory, interest);
    if (watch == -1) return false;
    _seen.insert(path);
    if (const auto moved = _paths.find(watch); moved != _paths.end()) {
        if (moved->second == path) return false;
        _watches.erase(moved->second);
    }
    if (const auto former = _watches.find(path); former != _watches.end()) {
        _inotify.unwatch(former->second);  // another directory, which is elsewhere now
        _paths.erase(former->second);
    }
    _watches.insert_or_assign(path, watch);
    _paths.insert_or_assign(watch, path);
    return true;
}

/// Ends the watches of a directory that went away. Returns whether there were any.
bool WatchedTree::_forget_below(const std::string& path) {
    bool had_any = false;
    const auto forget = [&](std::map<std::string, int>::iterator at) {
        _inotify.unwatch(at->second);
        _paths.erase(at->second);
        had_any = true;
        return _watches.erase(at);
    };
    if (const auto at = _watches.find(path); at != _watches.end()) forget(at);
    const std::string inside = path + '/';
    for (auto at = _watches.lower_bound(inside);
         at != _watches.end() && at->first.starts_with(inside);) {
        at = forget(at);
    }
    return had_any;
}

}  // namespace codetext::indexer
