#include "indexer/listing/file_list.hpp"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string_view>

#include "indexer/listing/file_status.hpp"
#include "indexer/listing/git_files.hpp"
#include "indexer/listing/tree_walk.hpp"
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
    Lister(const std::filesystem::path& root, unsigned threads) : _root(root), _threads(threads) {}

    /// Adds the files of the git repository at `prefix`: empty, or a path with a final "/".
    void add_git(const std::string& prefix) {
        const std::filesystem::path top = _root / prefix;
        GitPaths named = git_paths(top);
        append(_list.warnings, std::move(named.warnings));
        PathStatuses found = look_at_paths(top, named.paths, _threads);
        _add_files(prefix, std::move(found.files));
        append(_list.warnings, std::move(found.warnings));
        for (const std::string& directory : found.directories) _add_inner(prefix + directory);
    }

    void add_tree() {
        TreeWalk walk = walk_tree(_root, _threads);
        _add_files("", std::move(walk.files));
        append(_list.warnings, std::move(walk.warnings));
        for (const std::string& repository : walk.repositories) _add_inner(repository);
    }

    FileList take() { return std::move(_list); }

  private:
    /// git may refuse to list a repository inside (a broken one, another user's). It is left out
    /// with a warning, so that the rest is still indexed.
    void _add_inner(const std::string& directory) {
        if (!is_git_root(_root / directory)) return;
        try {
            add_git(directory + '/');
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
    if (in_git_work_tree(root)) {
        lister.add_git("");
    } else {
        lister.add_tree();
    }
    FileList list = lister.take();
    drop_unusable_paths(list);
    put_in_order(list.files);
    return list;
}

}  // namespace codetext::indexer
