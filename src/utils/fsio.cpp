// A file is read as it is found: opened once, looked at through its descriptor, and read to the end
// that the first look told, or further if it has grown. One read call usually does it. The stamp is
// taken before the read, so a change during the read shows as another stamp the next time.

#include "utils/fsio.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "utils/descriptor.hpp"
#include "utils/fsio_read.hpp"
#include "utils/open_below.hpp"

namespace codetext::fsio {
namespace {

/// The first read of a file that claims to be empty, as files of /proc do.
constexpr std::size_t SMALLEST_READ_BYTES = 4096;

[[noreturn]] void throw_error(int error_number, const std::string& doing) {
    throw std::system_error(error_number, std::system_category(), doing);
}

/// Repeats a system call for as long as signals interrupt it.
template <typename Call>
auto uninterrupted(Call call) {
    while (true) {
        const auto result = call();
        if (result != -1 || errno != EINTR) return result;
    }
}

/// Without O_NONBLOCK, opening a FIFO waits for its writer.
constexpr int OPEN_TO_READ = O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;

struct stat regular_file_status(int descriptor, const std::string& doing) {
    struct stat status {};
    if (::fstat(descriptor, &status) == -1) throw_error(errno, doing);
    if (S_ISDIR(status.st_mode)) throw_error(EISDIR, doing);
    if (!S_ISREG(status.st_mode)) throw_error(EINVAL, doing);
    return status;
}

/// Reads once into `bytes`, from `filled` on. Returns the number of bytes read; 0 at the end.
std::size_t read_once(int descriptor, std::string& bytes, std::size_t filled,
                      const std::string& doing) {
    const auto got = uninterrupted(
        [&] { return ::read(descriptor, bytes.data() + filled, bytes.size() - filled); });
    if (got == -1) throw_error(errno, doing);
    return static_cast<std::size_t>(got);
}

FileContent read_opened(const Descriptor& opened, const std::string& doing,
                        std::size_t most_bytes = MAX_FILE_BYTES) {
    if (!opened) throw_error(errno, doing);
    const struct stat status = regular_file_status(opened.number(), doing);
    std::string bytes = _read_to_end(opened.number(), status.st_size, doing, most_bytes);
    return {std::move(bytes), stamp_of(status)};
}

}  // namespace

std::string _read_to_end(int descriptor, std::int64_t expected_bytes, const std::string& doing,
                         std::size_t limit_bytes) {
    const auto expected = static_cast<std::size_t>(std::max<std::int64_t>(expected_bytes, 0));
    if (expected > limit_bytes) throw_error(EFBIG, doing);
    // One byte more than expected: a read that leaves it empty has met the end that fstat gave.
    std::string bytes(expected == 0 ? SMALLEST_READ_BYTES : expected + 1, '\0');
    std::size_t filled = 0;
    while (true) {
        const std::size_t got = read_once(descriptor, bytes, filled, doing);
        filled += got;
        // Looked at again: a file may grow while it is read, and files of /proc claim to be empty.
        if (filled > limit_bytes) throw_error(EFBIG, doing);
        if (got == 0 || filled == expected) break;
        if (filled == bytes.size()) {
            const std::size_t more = std::max(2 * filled, SMALLEST_READ_BYTES);
            bytes.resize(std::min(more, limit_bytes + 1));
        }
    }
    bytes.resize(filled);
    return bytes;
}

FileContent read_file_no_follow(const std::filesystem::path& path) {
    const std::string doing = "cannot read " + path.native();
    if (path.native().find('\0') != std::string::npos) {
        throw std::invalid_argument(doing + ": the path holds a NUL");
    }
    return read_opened(
        Descriptor(uninterrupted([&] { return ::open(path.c_str(), OPEN_TO_READ); })), doing);
}

FileContent read_file_below(const Descriptor& root, std::string_view path, std::size_t most_bytes) {
    Descriptor opened;
    do {
        opened = open_below(root, path, OPEN_TO_READ);
    } while (!opened && errno == EINTR);
    return read_opened(opened, "cannot read " + std::string(path), most_bytes);
}

std::string read_bytes_no_follow(const std::filesystem::path& path) {
    return read_file_no_follow(path).bytes;
}

}  // namespace codetext::fsio
