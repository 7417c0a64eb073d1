// A lock of flock(2) belongs to the open file, so the system gives it back however the process
// ends, and a lock file that is left over locks nobody out. It is not the database that is locked:
// searches read on, and SQLite locks each commit by itself.

#include "indexer/run/index_lock.hpp"

#include <fcntl.h>
#include <sys/file.h>

#include "indexer/run/index_run.hpp"

namespace codetext::indexer {

IndexLock::IndexLock(const std::filesystem::path& root, schema::Owners owners) {
    const Descriptor directory = schema::make_index_directory(root, owners);
    const std::string path = schema::index_path(root).replace_filename("lock");
    constexpr int FLAGS = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    _file = Descriptor(::openat(directory.number(), "lock", FLAGS, 0600));
    if (!_file) throw_system_error("cannot open " + path);
    if (::flock(_file.number(), LOCK_EX | LOCK_NB) == 0) return;
    if (errno != EWOULDBLOCK) throw_system_error("cannot lock " + path);
    throw IndexBusy("another codetext index is running on " + root.string());
}

}  // namespace codetext::indexer
