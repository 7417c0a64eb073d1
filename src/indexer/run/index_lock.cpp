// A lock of flock(2) belongs to the open file, so the system gives it back however the process
// ends, and a lock file that is left over locks nobody out. It is not the database that is locked:
// searches read on, and SQLite locks each commit by itself.

#include "indexer/run/index_lock.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <string>

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

/// Whether the lock is this process's now. Waits for nobody.
bool is_taken(const Descriptor& file, const std::string& path) {
    if (::flock(file.number(), LOCK_EX | LOCK_NB) == 0) return true;
    if (errno != EWOULDBLOCK && errno != EINTR) throw_system_error("cannot lock " + path);
    return false;
}

std::string message_of(const std::filesystem::path& root, const std::optional<LockHolder>& holder) {
    const std::string who = holder ? fmt::format(" (process {})", holder->process) : "";
    return fmt::format("another run of codetext{} is working on the index of {}", who,
                       root.string());
}

}  // namespace

IndexBusy::IndexBusy(const std::filesystem::path& root, std::optional<LockHolder> holder)
    : std::runtime_error(message_of(root, holder)), _holder(holder) {}

IndexLock::IndexLock(const std::filesystem::path& root, const LockOptions& options) {
    const std::string path = schema::index_path(root).replace_filename(LOCK);
    constexpr int FLAGS = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    while (true) {
        const Descriptor directory = schema::make_index_directory(root, options.owners);
        _file = Descriptor(::openat(directory.number(), LOCK, FLAGS, 0600));
        if (!_file) throw_system_error("cannot open " + path);
        if (!is_taken(_file, path)) {
            const IndexBusy busy(root, read_holder(_file, 0));
            if (!options.wait || !options.wait(busy)) throw busy;
        } else if (is_in_place(directory, _file)) {
            write_holder(_file, options.work, 0);
            return;
        }
    }
}

}  // namespace codetext::indexer
