#include "indexer/run/index_lock.hpp"

#include <fcntl.h>
#include <sys/file.h>

#include <stdexcept>

#include "storage/schema.hpp"

namespace codetext::indexer {

IndexLock::IndexLock(const std::filesystem::path& root) {
    const std::filesystem::path directory = schema::index_path(root).parent_path();
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) throw std::system_error(error, "cannot make " + directory.string());
    const std::filesystem::path path = directory / "lock";
    _file = Descriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666));
    if (!_file) throw_system_error("cannot open " + path.string());
    if (::flock(_file.number(), LOCK_EX | LOCK_NB) == 0) return;
    if (errno != EWOULDBLOCK) throw_system_error("cannot lock " + path.string());
    throw std::runtime_error("another codetext index is running on " + root.string());
}

}  // namespace codetext::indexer
