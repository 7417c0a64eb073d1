// A lock of flock(2) belongs to the open file, so the system gives it back however the process
// ends, and a lock file that is left over locks nobody out. It is not the database that is locked:
// searches read on, and SQLite locks each commit by itself.

#include "indexer/run/index_lock.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "indexer/run/index_run.hpp"

namespace codetext::indexer {

namespace {

constexpr const char* LOCK = "lock";

/// Whether the file is still the one that the directory names: `codetext clean` removes it, and
/// another run makes a new one.
bool is_in_place(const Descriptor& directory, const Descriptor& file) {
    struct stat there {
    }, own{};
    return ::fstatat(directory.number(), LOCK, &there, AT_SYMLINK_NOFOLLOW) == 0 &&
           ::fstat(file.number(), &own) == 0 && there.st_ino == own.st_ino &&
           there.st_dev == own.st_dev;
}

}  // namespace

IndexLock::IndexLock(const std::filesystem::path& root, schema::Owners owners) {
    const std::string path = schema::index_path(root).replace_filename(LOCK);
    constexpr int FLAGS = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    while (true) {
        const Descriptor directory = schema::make_index_directory(root, owners);
        _file = Descriptor(::openat(directory.number(), LOCK, FLAGS, 0600));
        if (!_file) throw_system_error("cannot open " + path);
        if (::flock(_file.number(), LOCK_EX | LOCK_NB) == -1) {
            if (errno != EWOULDBLOCK) throw_system_error("cannot lock " + path);
            throw IndexBusy("another codetext index is running on " + root.string());
        }
        if (is_in_place(directory, _file)) return;
    }
}

}  // namespace codetext::indexer
