// SQLite reads the pages that a statement needs, and stops at the first that is damaged. This reads
// every page once, in the order of the file. A page whose newest form is in the log is checked as
// it stands in the file.
//
// A checkpoint may be writing meanwhile, and no lock is taken against it: a page is read again
// before it counts as damaged.

#include "storage/database/page_check.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string_view>
#include <thread>

#include "storage/database/page_checksum.hpp"
#include "utils/descriptor.hpp"

namespace codetext {

namespace {

/// A multiple of every size of a page, so that no page lies across two reads.
constexpr std::size_t BUFFER_BYTES = 1 << 20;
/// How often a page that does not match is read again, and after which time: SQLite writes a page
/// in microseconds.
constexpr int TRIES = 3;
constexpr std::chrono::milliseconds BETWEEN_TRIES(1);

/// Its descriptor is why nobody in this process may have the database open: POSIX drops all locks
/// of a process on a file when it closes any descriptor of that file.
class CheckedFile {
  public:
    explicit CheckedFile(const std::filesystem::path& path)
        : _path(path), _file(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (!_file) throw_system_error("cannot open " + path.string());
    }

    PageCheck check() {
        PageCheck result;
        std::vector<char> buffer(BUFFER_BYTES);
        const std::size_t begun = _read(buffer, 0);
        if (begun < page_checksum::HEADER_BYTES) return result;
        const page_checksum::Header header = page_checksum::read_header({buffer.data(), begun});
        if (header.page_bytes == 0) return result;
        _page_bytes = header.page_bytes;
        result.is_database = true;
        result.has_checksums = header.has_checksums;
        const std::int64_t size = _size();
        result.pages = size / _page_bytes;
        result.is_cut = size < header.pages * _page_bytes && !_has_log();
        if (header.has_checksums) _check_all(buffer, result);
        return result;
    }

  private:
    void _check_all(std::vector<char>& buffer, PageCheck& result) {
        std::int64_t number = 1;
        while (number <= result.pages) {
            const std::size_t size = _read(buffer, (number - 1) * _page_bytes);
            const std::string_view bytes(buffer.data(), size);
            const auto pages = static_cast<std::int64_t>(size) / _page_bytes;
            if (pages == 0) return;  // the file was truncated meanwhile
            for (std::int64_t i = 0; i < pages; ++i, ++number) {
                const auto at = static_cast<std::size_t>(i * _page_bytes);
                if (_is_whole(bytes.substr(at, static_cast<std::size_t>(_page_bytes)), number)) {
                    continue;
                }
                ++result.damaged_pages;
                if (result.damaged.size() < PageCheck::MAX_NAMED) result.damaged.push_back(number);
            }
        }
    }

    bool _is_whole(std::string_view page, std::int64_t number) {
        if (!page_checksum::is_used(number, static_cast<std::uint32_t>(_page_bytes))) return true;
        if (page_checksum::matches(page, number)) return true;
        std::vector<char> again(page.size());
        for (int i = 0; i < TRIES; ++i) {
            std::this_thread::sleep_for(BETWEEN_TRIES);
            const std::size_t size = _read(again, (number - 1) * _page_bytes);
            if (size < again.size()) return true;  // truncated meanwhile
            if (page_checksum::matches({again.data(), size}, number)) return true;
        }
        return false;
    }

    /// Reads until the buffer is full or the file ends; how many bytes it read.
    std::size_t _read(std::vector<char>& buffer, std::int64_t offset) {
        std::size_t done = 0;
        while (done < buffer.size()) {
            const ssize_t got = ::pread(_file.number(), buffer.data() + done, buffer.size() - done,
                                        offset + static_cast<std::int64_t>(done));
            if (got == 0) break;
            if (got > 0) done += static_cast<std::size_t>(got);
            if (got < 0 && errno != EINTR) throw_system_error("cannot read " + _path.string());
        }
        return done;
    }

    std::int64_t _size() const {
        struct stat status {};
        if (::fstat(_file.number(), &status) != 0) {
            throw_system_error("cannot look at " + _path.string());
        }
        return status.st_size;
    }

    bool _has_log() const {
        std::filesystem::path log = _path;
        log += "-wal";
        std::error_code error;
        const std::uintmax_t size = std::filesystem::file_size(log, error);
        return !error && size > 0;
    }

    std::filesystem::path _path;
    Descriptor _file;
    std::int64_t _page_bytes = 0;
};

}  // namespace

PageCheck check_pages(const std::filesystem::path& path) { return CheckedFile(path).check(); }

}  // namespace codetext
