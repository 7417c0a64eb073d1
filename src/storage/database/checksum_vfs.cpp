// Where checksums are computed and checked:
//
// - A write to the database file computes. In a database with a write-ahead log, that is a
//   checkpoint; else it is a commit, or a rollback from the journal. The log itself holds pages
//   with old checksums: SQLite sums up a frame before we see it, so its page must not change.
// - A read from the database file checks. Pages in the log are checked by SQLite's sums.
// - SQLite reads the first 100 bytes when it opens a database, and has no lock then: another
//   process may be writing page 1. These bytes are not checked. SQLite reads all of page 1 before
//   it uses any other.
// - SQLite may read the part of an overflow page that it wants. Then the whole page is read.

#include "storage/database/checksum_vfs.hpp"

#include <array>
#include <memory>
#include <new>
#include <vector>

#include "storage/database/log_check.hpp"
#include "storage/database/page_checksum.hpp"

namespace codetext {

namespace {

using page_checksum::Header;

/// Throws std::bad_alloc when SQLite has no memory to begin with; the next call tries again.
sqlite3_vfs* default_vfs() {
    static sqlite3_vfs* const VFS = [] {
        sqlite3_vfs* vfs = sqlite3_vfs_find(nullptr);
        if (vfs == nullptr) throw std::bad_alloc();
        return vfs;
    }();
    return VFS;
}

/// What we know of an open file.
struct Knowledge {
    bool is_log = false;
    Header header;           ///< of a database file
    LogCheck log;            ///< of a log
    std::vector<char> page;  ///< room for one
};

/// An open file as SQLite sees it. The file of the default VFS lies right behind it.
struct File {
    sqlite3_file base;
    Knowledge* knowledge;
};
static_assert(sizeof(File) % alignof(std::max_align_t) == 0);

Knowledge& knowledge_of(sqlite3_file* file) { return *reinterpret_cast<File*>(file)->knowledge; }
sqlite3_file* real_of(sqlite3_file* file) {
    return reinterpret_cast<sqlite3_file*>(reinterpret_cast<File*>(file) + 1);
}

int read_real(sqlite3_file* file, std::span<char> bytes, std::int64_t offset) {
    sqlite3_file* real = real_of(file);
    return real->pMethods->xRead(real, bytes.data(), static_cast<int>(bytes.size()), offset);
}

std::int64_t size_of(sqlite3_file* file) {
    sqlite3_int64 size = 0;
    sqlite3_file* real = real_of(file);
    return real->pMethods->xFileSize(real, &size) == SQLITE_OK ? size : 0;
}

LogCheck::Read log_reader(sqlite3_file* file) {
    return [file](std::span<char> bytes, std::int64_t offset) {
        return read_real(file, bytes, offset) == SQLITE_OK;
    };
}

/// Bytes that were read without a lock will do: what is taken of them stays the same, but for the
/// number of pages, which is used only with the whole page 1 that it came with.
void note_header(Knowledge& known, std::string_view bytes) {
    const Header header = page_checksum::read_header(bytes);
    if (header.page_bytes > 0) known.header = header;
}

/// The result for a page whose read gave `result`. SQLite takes what a database lacks for zeros.
int checked(sqlite3_file* file, std::string_view page, std::int64_t offset, int result) {
    const Header& header = knowledge_of(file).header;
    if (result == SQLITE_IOERR_SHORT_READ) {
        // A new database has no page yet. Any other page that is missing was cut off.
        return size_of(file) == 0 ? SQLITE_IOERR_SHORT_READ : SQLITE_IOERR_DATA;
    }
    if (result != SQLITE_OK) return result;
    const std::int64_t number = offset / header.page_bytes + 1;
    if (header.has_checksums && !page_checksum::matches(page, number)) return SQLITE_IOERR_DATA;
    // What page 1 says counts when it is read from here: were the database growing, the newest page
    // 1 would be in the log.
    const bool is_cut =
        number == 1 && size_of(file) < std::int64_t{header.pages} * header.page_bytes;
    return is_cut ? SQLITE_IOERR_DATA : SQLITE_OK;
}

int read_part(sqlite3_file* file, std::span<char> bytes, std::int64_t offset) {
    Knowledge& known = knowledge_of(file);
    const std::int64_t in_page = offset % known.header.page_bytes;
    known.page.resize(known.header.page_bytes);
    int result = read_real(file, known.page, offset - in_page);
    result = checked(file, {known.page.data(), known.page.size()}, offset - in_page, result);
    std::copy_n(known.page.begin() + in_page, bytes.size(), bytes.begin());
    return result;
}

int read_database(sqlite3_file* file, std::span<char> bytes, std::int64_t offset) {
    Knowledge& known = knowledge_of(file);
    const auto end = static_cast<std::size_t>(offset) + bytes.size();
    const bool in_header = end <= page_checksum::HEADER_BYTES;
    const std::int64_t page_bytes = known.header.page_bytes;
    // A part of one page: an overflow page.
    if (!in_header && offset > 0 && page_bytes > 0 && std::ssize(bytes) < page_bytes &&
        offset / page_bytes == (offset + std::ssize(bytes) - 1) / page_bytes) {
        return read_part(file, bytes, offset);
    }
    const int result = read_real(file, bytes, offset);
    if (offset == 0 && bytes.size() >= page_checksum::HEADER_BYTES) {
        if (result == SQLITE_OK) note_header(known, {bytes.data(), bytes.size()});
        if (result == SQLITE_IOERR_SHORT_READ && size_of(file) == 0) {
            known.header = {.has_checksums = true};
        }
    }
    const bool is_page =
        std::ssize(bytes) == known.header.page_bytes && offset % std::ssize(bytes) == 0;
    return is_page ? checked(file, {bytes.data(), bytes.size()}, offset, result) : result;
}

int read(sqlite3_file* file, void* buffer, int size, sqlite3_int64 offset) noexcept {
    const std::span<char> bytes(static_cast<char*>(buffer), static_cast<std::size_t>(size));
    try {
        if (!knowledge_of(file).is_log) return read_database(file, bytes, offset);
        const int result = read_real(file, bytes, offset);
        if (result != SQLITE_OK) return result;
        const std::string_view view(bytes.data(), bytes.size());
        return knowledge_of(file).log.page_fits(view, offset, log_reader(file)) ? SQLITE_OK
                                                                                : SQLITE_IOERR_DATA;
    } catch (const std::bad_alloc&) {
        return SQLITE_IOERR_NOMEM;
    }
}

/// What to write in place of `bytes`: a page with its checksum, where pages have one.
std::string_view with_checksum(Knowledge& known, std::string_view bytes, std::int64_t offset) {
    if (offset == 0 && bytes.size() >= page_checksum::MIN_PAGE_BYTES) note_header(known, bytes);
    // A new database may be written from any page on.
    if (known.header.page_bytes == 0) {
        known.header.page_bytes = static_cast<std::uint32_t>(bytes.size());
    }
    const bool is_page = bytes.size() == known.header.page_bytes && offset % std::ssize(bytes) == 0;
    if (!known.header.has_checksums || !is_page) return bytes;
    // A copy: what SQLite writes is its own.
    known.page.assign(bytes.begin(), bytes.end());
    page_checksum::put(known.page, offset / std::ssize(bytes) + 1);
    return {known.page.data(), known.page.size()};
}

int write(sqlite3_file* file, const void* buffer, int size, sqlite3_int64 offset) noexcept {
    std::string_view bytes(static_cast<const char*>(buffer), static_cast<std::size_t>(size));
    try {
        Knowledge& known = knowledge_of(file);
        if (known.is_log) {
            known.log.note_write(bytes, offset, log_reader(file));
        } else {
            bytes = with_checksum(known, bytes, offset);
        }
    } catch (const std::bad_alloc&) {
        return SQLITE_IOERR_NOMEM;
    }
    sqlite3_file* real = real_of(file);
    return real->pMethods->xWrite(real, bytes.data(), size, offset);
}

int close(sqlite3_file* file) noexcept {
    delete reinterpret_cast<File*>(file)->knowledge;
    sqlite3_file* real = real_of(file);
    return real->pMethods->xClose(real);
}

/// A method of the file that is the default VFS's own.
template <auto METHOD, typename Result, typename... Parameters>
Result pass(sqlite3_file* file, Parameters... parameters) noexcept {
    sqlite3_file* real = real_of(file);
    return (real->pMethods->*METHOD)(real, parameters...);
}

using Methods = sqlite3_io_methods;
/// Version 2: no xFetch, so SQLite maps no page that we have not seen.
constexpr Methods METHODS = {2,
                             close,
                             read,
                             write,
                             pass<&Methods::xTruncate>,
                             pass<&Methods::xSync>,
                             pass<&Methods::xFileSize>,
                             pass<&Methods::xLock>,
                             pass<&Methods::xUnlock>,
                             pass<&Methods::xCheckReservedLock>,
                             pass<&Methods::xFileControl>,
                             pass<&Methods::xSectorSize>,
                             pass<&Methods::xDeviceCharacteristics>,
                             pass<&Methods::xShmMap>,
                             pass<&Methods::xShmLock>,
                             pass<&Methods::xShmBarrier>,
                             pass<&Methods::xShmUnmap>,
                             nullptr,
                             nullptr};

int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* given) noexcept {
    sqlite3_vfs* const vfs = default_vfs();
    // A journal names a super-journal where a transaction wrote to several databases; ours never
    // do. SQLite would read the file of that name and remove it, whatever it is.
    if ((flags & SQLITE_OPEN_SUPER_JOURNAL) != 0) return SQLITE_CANTOPEN;
    if ((flags & (SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_WAL)) == 0) {
        return vfs->xOpen(vfs, name, file, flags, given);
    }
    // SQLite closes a file whose open failed, unless it has no methods.
    file->pMethods = nullptr;
    std::unique_ptr<Knowledge> knowledge(new (std::nothrow) Knowledge);
    if (!knowledge) return SQLITE_NOMEM;
    knowledge->is_log = (flags & SQLITE_OPEN_WAL) != 0;
    const int result = vfs->xOpen(vfs, name, real_of(file), flags, given);
    if (result != SQLITE_OK) return result;  // nothing is open then
    reinterpret_cast<File*>(file)->knowledge = knowledge.release();
    file->pMethods = &METHODS;
    return SQLITE_OK;
}

template <auto METHOD, typename Result, typename... Parameters>
Result pass_on(sqlite3_vfs*, Parameters... parameters) noexcept {
    return (default_vfs()->*METHOD)(default_vfs(), parameters...);
}

}  // namespace

const char* checksum_vfs() {
    static constexpr const char* NAME = "codetext-checksums";
    static sqlite3_vfs vfs = [] {
        using Vfs = sqlite3_vfs;
        Vfs own = *default_vfs();
        own.zName = NAME;
        own.pNext = nullptr;
        own.szOsFile += static_cast<int>(sizeof(File));
        own.xOpen = open;
        own.xDelete = pass_on<&Vfs::xDelete>;
        own.xAccess = pass_on<&Vfs::xAccess>;
        own.xFullPathname = pass_on<&Vfs::xFullPathname>;
        own.xDlOpen = pass_on<&Vfs::xDlOpen>;
        own.xDlError = pass_on<&Vfs::xDlError>;
        own.xDlSym = nullptr;  // nobody loads an extension
        own.xDlClose = pass_on<&Vfs::xDlClose>;
        own.xRandomness = pass_on<&Vfs::xRandomness>;
        own.xSleep = pass_on<&Vfs::xSleep>;
        own.xCurrentTime = pass_on<&Vfs::xCurrentTime>;
        own.xGetLastError = pass_on<&Vfs::xGetLastError>;
        own.xCurrentTimeInt64 = pass_on<&Vfs::xCurrentTimeInt64>;
        return own;
    }();
    static const int REGISTERED = sqlite3_vfs_register(&vfs, 0);
    return REGISTERED == SQLITE_OK ? NAME : nullptr;
}

}  // namespace codetext
