// A repository inside of the tree (a submodule, a clone) is listed by its own git, so that its own
// ignore rules hold, and its paths get the way to it in front. It may hold others in turn. A path
// may come more than once (a file in a merge conflict), and is kept once.

#include "indexer/listing/file_list.hpp"

#include <fcntl.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string_view>

#include "indexer/listing/file_status.hpp"
#include "indexer/listing/git_files.hpp"
#include "indexer/listing/git_repository.hpp"
#include "indexer/listing/tree_walk.hpp"
#include "utils/open_below.hpp"
#include "utils/platform.hpp"
#include "utils/unicode.hpp"

namespace codetext::indexer {
namespace {

template <typename Value>
void append(std::vector<Value>& to, std::vector<Value> from) {
    if (to.empty()) {
        to = std::move(from);
    } else {
        to.insert(to.end(), std::make_move_iterator(from.begin()),
                  std::make_move_iterator(from.end()));
    }
}

class Lister {
  public:
    Lister(const std::filesystem::path& root, unsigned threads)
        : _root(root), _opened(open_root(root)), _threads(threads) {}

    /// Adds the files that git names below the root, which lies in the work tree `top`.
    void add_git(const std::filesystem::path& top) {
        _add_named("", git_paths(top, _root), _opened);
    }

    void add_tree() {
        TreeWalk walk = walk_tree(_opened, _threads);
        _add_files("", std::move(walk.files));
        append(_list.warnings, std::move(walk.warnings));
        for (const std::string& repository : walk.repositories) _add_inner(repository);
    }

    FileList take() { return std::move(_list); }

  private:
    /// `prefix` is empty, or the path of the directory `opened` with a final "/".
    void _add_named(const std::string& prefix, GitPaths named, const Descriptor& opened) {
        append(_list.warnings, std::move(named.warnings));
        PathStatuses found = look_at_paths(opened, named.paths, _threads);
        _add_files(prefix, std::move(found.files));
        append(_list.warnings, std::move(found.warnings));
        for (const std::string& directory : found.directories) _add_inner(prefix + directory);
    }

    /// git may refuse to list a repository inside (a broken one, another user's). It is left out
    /// with a warning, so that the rest is still indexed.
    void _add_inner(const std::string& directory) {
        const std::filesystem::path top = _root / directory;
        if (!is_git_root(top)) return;
        const Descriptor opened =
            open_below(_opened, directory, platform::OPEN_FOR_LOOKUP | O_DIRECTORY | O_CLOEXEC);
        if (!opened && says_nothing_is_there(errno)) return;
        try {
            if (!opened) throw_system_error("cannot open " + top.string());
            _add_named(directory + '/', git_paths(top, top), opened);
        } catch (const std::system_error& error) {
            if (is_machine_failure(error.code().value())) throw;
            _list.warnings.emplace_back(error.what());
        } catch (const std::runtime_error& error) {
            _list.warnings.emplace_back(error.what());
        }
    }

    void _add_files(const std::string& prefix, std::vector<FileEntry> files) {
        if (!prefix.empty()) {
            for (FileEntry& file : files) file.path.insert(0, prefix);
        }
        append(_list.files, std::move(files));
    }

    std::filesystem::path _root;
    Descriptor _opened;  ///< the root
    unsigned _threads;
    FileList _list;
};

bool is_private(std::string_view path) {
    constexpr std::string_view INSIDE = "/.codetext/";
    return path.starts_with(INSIDE.substr(1)) || path.find(INSIDE) != std::string_view::npos;
}

void drop_unusable_paths(FileList& list) {
    std::erase_if(list.files, [&list](const FileEntry& file) {
        if (is_private(file.path)) return true;
        if (unicode::is_ascii(file.path)) return false;
        const std::string decoded = unicode::decode(file.path);
        if (decoded == file.path) return false;
        list.warnings.push_back("left out, its path is not UTF-8: " + decoded);
        return true;
    });
}

void put_in_order(std::vector<FileEntry>& files) {
    if (!std::ranges::is_sorted(files, {}, &FileEntry::path)) {
        std::ranges::sort(files, {}, &FileEntry::path);
    }
    const auto same_path = [](const FileEntry& left, const FileEntry& right) {
        return left.path == right.path;
    };
    files.erase(std::unique(files.begin(), files.end(), same_path), files.end());
}

}  // namespace

FileList list_files(const std::filesystem::path& root, unsigned threads) {
    Lister lister(root, threads);
    if (const auto top = git_root_above(root)) {
        lister.add_git(*top);
    } else {
        lister.add_tree();
    }
    FileList list = lister.take();
    drop_unusable_paths(list);
    put_in_order(list.files);
    return list;
}

}  // namespace codetext::indexer
