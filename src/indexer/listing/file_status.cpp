// Paths come in order, and neighbours share directories. So each thread takes a run of neighbouring
// paths and keeps the directories on the way open: a path costs one call, and one for each
// directory that the path before it was not in. Each directory is opened below the one before it
// without following a link.

#include "indexer/listing/file_status.hpp"

#include <fcntl.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "utils/open_below.hpp"
#include "utils/platform.hpp"
#include "utils/threads.hpp"

namespace codetext::indexer {
namespace {

constexpr int OPEN_ON_THE_WAY = platform::OPEN_FOR_LOOKUP | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// Keeps the directories on the way to the last path open: the next path in order shares most of
/// them.
class DirectoryCursor {
  public:
    explicit DirectoryCursor(const Descriptor& root) : _root(root.number()) {}

    /// The open directory that holds `path`; -1 with errno when one on the way cannot be opened.
    int parent_of(std::string_view path) {
        const std::string_view parent = path.substr(0, path.rfind('/') + 1);
        while (!parent.starts_with(_path)) _leave();
        while (_path.size() < parent.size()) {
            if (!_enter(
                    parent.substr(_path.size(), parent.find('/', _path.size()) - _path.size()))) {
                return -1;
            }
        }
        return _top();
    }

  private:
    struct Level {
        Descriptor descriptor;
        std::size_t parent_size;  ///< bytes of the path that leads to its parent
    };

    int _top() const { return _levels.empty() ? _root : _levels.back().descriptor.number(); }

    bool _enter(std::string_view name) {
        Descriptor entered(::openat(_top(), std::string(name).c_str(), OPEN_ON_THE_WAY));
        if (!entered) return false;
        _levels.push_back({std::move(entered), _path.size()});
        _path.append(name).push_back('/');
        return true;
    }

    void _leave() {
        _path.resize(_levels.back().parent_size);
        _levels.pop_back();
    }

    int _root;
    std::string _path;  ///< of the top directory; empty, or with a final "/"
    std::vector<Level> _levels;
};

void look_at(DirectoryCursor& cursor, const std::string& path, PathStatuses& found) {
    if (!is_path_below(path)) {
        found.warnings.push_back("left out, its path leads out of the repository: " + path);
        return;
    }
    const int parent = cursor.parent_of(path);
    const char* name = path.c_str() + path.rfind('/') + 1;
    struct stat status {};
    if (parent == -1 || ::fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) == -1) {
        // git may name a file that was removed since, or one behind a link.
        if (says_nothing_is_there(errno)) return;
        if (is_machine_failure(errno)) throw_system_error("cannot look at " + path);
        found.warnings.push_back("cannot look at " + path + ": " +
                                 std::system_category().message(errno));
    } else if (S_ISREG(status.st_mode)) {
        found.files.push_back({path, stamp_of(status)});
    } else if (S_ISDIR(status.st_mode)) {
        found.directories.push_back(path);
    }
}

template <typename Value>
void append(std::vector<Value>& to, std::vector<Value>& from) {
    to.insert(to.end(), std::make_move_iterator(from.begin()), std::make_move_iterator(from.end()));
}

}  // namespace

PathStatuses look_at_paths(const Descriptor& root, std::span<const std::string> paths,
                           unsigned threads) {
    std::vector<PathStatuses> parts(std::max(threads, 1U));
    in_parallel(static_cast<unsigned>(parts.size()), [&](unsigned part) {
        const std::size_t begin = paths.size() * part / parts.size();
        const std::size_t end = paths.size() * (part + 1) / parts.size();
        DirectoryCursor cursor(root);
        for (const std::string& path : paths.subspan(begin, end - begin)) {
            look_at(cursor, path, parts[part]);
        }
    });
    for (std::size_t part = 1; part < parts.size(); ++part) {
        append(parts[0].files, parts[part].files);
        append(parts[0].directories, parts[part].directories);
        append(parts[0].warnings, parts[part].warnings);
    }
    return std::move(parts[0]);
}

}  // namespace codetext::indexer
