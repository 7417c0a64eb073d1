#include "indexer/watch/watcher_lock.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <chrono>
#include <stdexcept>
#include <thread>

#include "storage/unusable_index.hpp"

namespace codetext::indexer {
namespace {

constexpr int SAFELY = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
constexpr char BUSY = 'b', IDLE = '-';
constexpr std::int64_t HOLDER_OFFSET = 1;

/// Whoever looks whether a watcher lives holds the lock for a moment. So it is tried for a while.
bool lock(const Descriptor& file) {
    constexpr int TRIES = 40;
    constexpr std::chrono::milliseconds PAUSE(5);
    for (int i = 0; i < TRIES; ++i) {
        if (::flock(file.number(), LOCK_EX | LOCK_NB) == 0) return true;
        if (errno != EWOULDBLOCK) throw_system_error("cannot lock the file of the watcher");
        std::this_thread::sleep_for(PAUSE);
    }
    return false;
}

}  // namespace

WatcherLock::WatcherLock(const std::filesystem::path& root, schema::Owners owners)
    : _root(root), _owners(owners) {
    const std::string path = schema::index_path(root).replace_filename(schema::WATCHER);
    const Descriptor directory = schema::make_index_directory(root, owners);
    _file =
        Descriptor(::openat(directory.number(), schema::WATCHER, O_RDWR | O_CREAT | SAFELY, 0600));
    struct stat status {};
    if (!_file || ::fstat(_file.number(), &status) == -1) throw_system_error("cannot open " + path);
    // A byte is written to it: it must not be a file of another name too.
    if (!S_ISREG(status.st_mode) || status.st_nlink > 1) {
        throw schema::UnusableIndex(path + " is not a regular file of its own; remove it");
    }
    if (!lock(_file)) {
        throw std::runtime_error("another codetext watch is running on " + root.string());
    }
    write_holder(_file, Work::WATCH, HOLDER_OFFSET);
}

// Without room on the disk the byte stays as it was: a search then refreshes the index itself.
void WatcherLock::set_busy(bool is_busy) const {
    const char state = is_busy ? BUSY : IDLE;
    [[maybe_unused]] const ssize_t written = ::pwrite(_file.number(), &state, 1, 0);
}

bool WatcherLock::is_in_place() const {
    struct stat there {
    }, own{};
    try {
        const Descriptor directory = schema::open_index_directory(_root, _owners);
        return directory &&
               ::fstatat(directory.number(), schema::WATCHER, &there, AT_SYMLINK_NOFOLLOW) == 0 &&
               ::fstat(_file.number(), &own) == 0 && there.st_ino == own.st_ino &&
               there.st_dev == own.st_dev;
    } catch (const std::system_error& error) {
        return is_machine_failure(error.code().value());  // it cannot be told now
    }
}

WatcherSight::WatcherSight(const std::filesystem::path& root, schema::Owners owners) {
    const Descriptor directory = schema::open_index_directory(root, owners);
    if (!directory) return;
    _file = Descriptor(::openat(directory.number(), schema::WATCHER, O_RDONLY | SAFELY));
    struct stat status {};
    const bool is_file = _file && ::fstat(_file.number(), &status) == 0 && S_ISREG(status.st_mode);
    if (!is_file) _file.close();
}

bool WatcherSight::lives() const {
    if (!_file) return false;
    if (::flock(_file.number(), LOCK_SH | LOCK_NB) == -1) return errno == EWOULDBLOCK;
    ::flock(_file.number(), LOCK_UN);
    return false;
}

bool WatcherSight::is_busy() const {
    char state = IDLE;
    return ::pread(_file.number(), &state, 1, 0) == 1 && state == BUSY;
}

std::optional<LockHolder> WatcherSight::holder() const { return read_holder(_file, HOLDER_OFFSET); }

}  // namespace codetext::indexer
