#pragma once

// Which directories of a tree are watched, and what an event in one of them means for the index.
// Watched are the directories that hold listed files, those on the way to them, and all others that
// git does not ignore: a file may be made there. A directory is found from the root down, through
// open descriptors, so no link leads out of the tree.

#include <cstddef>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "indexer/listing/file_entry.hpp"
#include "indexer/watch/inotify.hpp"
#include "indexer/watch/repositories.hpp"
#include "utils/descriptor.hpp"

namespace codetext::indexer {

/// What has happened since the last refresh.
struct TreeChanges {
    bool is_certain = true;  ///< a refresh is due, whatever git says of the paths
    std::vector<std::string> files, directories;  ///< may be ignored, and may be there twice
};

class WatchedTree {
  public:
    /// Watches nothing yet. `inotify` must outlive it.
    WatchedTree(std::filesystem::path root, Inotify& inotify);

    /// Takes in an event of one of its watches.
    void take(const FileEvent& event, TreeChanges& changes);

    /// Watches the directories among the changes, and those below them. Then says whether the
    /// changes may concern the index, and forgets them. Throws CannotWatch, std::system_error.
    bool settle(TreeChanges& changes);

    /// Watches the directories of the files that the repository has now, ascending by path. The
    /// first time, and when ignore rules have changed, looks at the whole tree. Returns whether a
    /// watch is new: what happened there before it stood takes another refresh. Throws likewise.
    bool follow(const std::vector<FileEntry>& files);

    /// Everything may have changed.
    void lose_track(TreeChanges& changes);

    bool is_git_at_work() const { return _repositories.is_git_at_work(); }
    std::size_t size() const { return _watches.size(); }

  private:
    void _take_inside(const std::string& path, const FileEvent& event, TreeChanges& changes);
    void _take_beside(std::string_view name, TreeChanges& changes);
    bool _walk();
    bool _visit(std::vector<std::string> paths);
    void _read(const std::string& path, const Descriptor& directory,
               std::vector<std::string>& below);
    bool _watch(const std::string& path, const Descriptor& directory, Inotify::Interest interest);
    bool _forget_below(const std::string& path);
    bool _is_listed(const std::string& path) const;
    std::vector<std::string> _wanted(std::vector<std::string> paths) const;

    std::filesystem::path _root;
    Inotify& _inotify;
    Repositories _repositories;
    std::vector<std::string> _listed;  ///< directories that hold files of the last listing
    /// Paths below the root ("" is the root itself), and absolute ones of places beside the tree.
    std::map<std::string, int> _watches;
    std::unordered_map<int, std::string> _paths;  ///< of the watches, by their numbers
    std::set<std::string> _seen;                  ///< by the walk that is going on
    bool _must_walk = true;
};

}  // namespace codetext::indexer
