#include "indexer/listing/tree_walk.hpp"

#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <condition_variable>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>

#include "utils/open_below.hpp"
#include "utils/platform.hpp"
#include "utils/threads.hpp"

// Walking a tree with several threads. The directories that are still to be read are on a stack;
// each thread takes one, reads and sorts its entries, and puts its subdirectories on the stack. The
// entries stay with their directory. When no directory is left, one thread walks the finished tree
// in order, so no list of all files is sorted. A directory's name is sorted with a final "/", since
// paths sort so: "a.c" comes before "a/b.c", and "a0" after it.

namespace codetext::indexer {
namespace {

struct Directory;

struct Entry {
    std::string name;  ///< with a final "/" for a directory, so that names sort as paths do
    FileStamp stamp;   ///< of a file
    std::unique_ptr<Directory> directory;
};

struct Directory {
    std::string path;  ///< empty for the root, else with a final "/"
    std::vector<Entry> entries;
    bool is_repository = false;
    std::vector<std::string> warnings;
};

struct CloseDirectory {
    void operator()(DIR* stream) const { ::closedir(stream); }
};
using DirectoryStream = std::unique_ptr<DIR, CloseDirectory>;

constexpr int OPEN_DIRECTORY = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

void warn(Directory& directory, const std::string& doing, int error) {
    if (says_nothing_is_there(error)) return;  // it went away after its parent was read
    const std::string what = doing + directory.path;
    if (is_machine_failure(error)) throw std::system_error(error, std::system_category(), what);
    directory.warnings.push_back(what + ": " + std::system_category().message(error));
}

constexpr const char* READING = "cannot read the directory ";

bool is_dot_entry(std::string_view name) { return name == "." || name == ".."; }

/// The entry, with size and time when it is a regular file. None when it is neither a regular file
/// nor a directory, or cannot be looked at.
std::optional<Entry> look_at(int number, const dirent& found, Directory& directory) {
    Entry entry;
    entry.name = static_cast<const char*>(found.d_name);
    const bool may_be_file = found.d_type == DT_REG || found.d_type == DT_UNKNOWN;
    if (!may_be_file && found.d_type != DT_DIR) return std::nullopt;
    struct stat status {};
    if (may_be_file) {
        if (::fstatat(number, entry.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == -1) {
            warn(directory, "cannot look at " + entry.name + " in ", errno);
            return std::nullopt;
        }
        entry.stamp = stamp_of(status);
        if (S_ISREG(status.st_mode)) return entry;
        if (!S_ISDIR(status.st_mode)) return std::nullopt;
    }
    entry.name += '/';
    entry.directory = std::make_unique<Directory>();
    return entry;
}

bool marks_repository(int directory, const Entry& entry) {
    return entry.name == ".git" ||
           (entry.name == ".git/" && ::faccessat(directory, ".git/HEAD", F_OK, 0) == 0);
}

bool is_private(const Entry& entry) { return entry.name == ".git/" || entry.name == ".codetext/"; }

/// readdir gives null at the end and on failure alike; only errno tells them apart.
void read_entries(DIR* stream, Directory& directory) {
    const int number = ::dirfd(stream);
    errno = 0;
    while (const dirent* found = ::readdir(stream)) {
        if (is_dot_entry(static_cast<const char*>(found->d_name))) continue;
        if (std::optional<Entry> entry = look_at(number, *found, directory)) {
            directory.is_repository = directory.is_repository || marks_repository(number, *entry);
            if (entry->directory) entry->directory->path = directory.path + entry->name;
            if (!is_private(*entry)) directory.entries.push_back(std::move(*entry));
        }
        errno = 0;  // what the calls above have left
    }
    if (errno != 0) warn(directory, READING, errno);
}

/// Reads the entries of one directory, but not its subdirectories.
void read_directory(const Descriptor& root, Directory& directory) {
    const std::string_view path = directory.path;
    Descriptor descriptor = path.empty()
                                ? Descriptor(::openat(root.number(), ".", OPEN_DIRECTORY))
                                : open_below(root, path.substr(0, path.size() - 1), OPEN_DIRECTORY);
    if (!descriptor) return warn(directory, READING, errno);
    const DirectoryStream stream(::fdopendir(descriptor.number()));
    if (!stream) return warn(directory, READING, errno);
    // closedir closes it from here on.
    descriptor.release();
    read_entries(stream.get(), directory);
    if (directory.is_repository) directory.entries.clear();
    std::ranges::sort(directory.entries, {}, &Entry::name);
}

/// The directories that are still to be read, for several threads.
class Pending {
  public:
    explicit Pending(Directory& root) : _directories{&root}, _unfinished(1) {}

    /// The next directory; null when every one is read.
    Directory* take() {
        std::unique_lock lock(_mutex);
        _changed.wait(
            lock, [this] { return !_directories.empty() || _unfinished == 0 || _is_abandoned; });
        if (_directories.empty()) return nullptr;
        Directory* directory = _directories.back();
        _directories.pop_back();
        return directory;
    }

    /// Puts the directory's subdirectories in its place.
    void finish(const Directory& directory) {
        const std::lock_guard lock(_mutex);
        if (_is_abandoned) return;
        for (const Entry& entry : directory.entries) {
            if (!entry.directory) continue;
            _directories.push_back(entry.directory.get());
            ++_unfinished;
        }
        --_unfinished;
        _changed.notify_all();
    }

    /// Leaves the rest unread, so that no thread waits for more.
    void abandon() {
        const std::lock_guard lock(_mutex);
        _directories.clear();
        _is_abandoned = true;
        _changed.notify_all();
    }

  private:
    std::mutex _mutex;
    std::condition_variable _changed;
    std::vector<Directory*> _directories;
    std::int64_t _unfinished;  ///< directories on the stack, and those that a thread is reading
    bool _is_abandoned = false;
};

void gather(Directory& directory, TreeWalk& walk) {
    std::ranges::move(directory.warnings, std::back_inserter(walk.warnings));
    if (directory.is_repository) {
        walk.repositories.push_back(directory.path.substr(0, directory.path.size() - 1));
    }
    for (Entry& entry : directory.entries) {
        if (entry.directory) {
            gather(*entry.directory, walk);
        } else {
            walk.files.push_back({directory.path + entry.name, entry.stamp});
        }
    }
}

}  // namespace

TreeWalk walk_tree(const Descriptor& root, unsigned threads) {
    Directory top;
    Pending pending(top);
    in_parallel(std::max(threads, 1U), [&](unsigned) {
        try {
            while (Directory* directory = pending.take()) {
                read_directory(root, *directory);
                pending.finish(*directory);
            }
        } catch (...) {
            pending.abandon();
            throw;
        }
    });
    TreeWalk walk;
    gather(top, walk);
    return walk;
}

}  // namespace codetext::indexer
