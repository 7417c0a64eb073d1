// Each file has what the disk surely holds, and the changes since its last sync. At the cut a time
// is drawn for every block of a file, and one for its size and its name: of the changes, the disk
// has those up to that time. One cut in three draws a single time for all: the disk kept the order.

#include "power/power_cut.hpp"

#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace codetext::power_cut {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t BLOCK_BYTES = 4096;

enum class Kind { MAKE, WRITE, TRUNCATE, REMOVE };

struct Change {
    Kind kind;
    long time;
    std::int64_t offset;  ///< the size, for TRUNCATE
    std::string bytes;
};

struct Disk {
    std::optional<std::string> durable;  ///< none: no such file
    std::vector<Change> changes;         ///< since the last sync
};

std::map<std::string, Disk> disks;
std::mt19937 random_bits;
long count = 0, cut_at = 0;
bool dark = false, armed = false;
sqlite3_vfs* real_vfs = nullptr;

std::optional<std::string> content(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) return std::nullopt;
    return std::string{std::istreambuf_iterator<char>(stream), {}};
}

/// A time since the last sync: before all changes, after all, or between.
long drawn_time(const Disk& disk) {
    if (disk.changes.empty()) return count;
    const long first = disk.changes.front().time;
    switch (random_bits() % 4) {
        case 0:
            return first - 1;
        case 1:
            return count;
        default:
            return first - 1 + static_cast<long>(random_bits() % (count - first + 2));
    }
}

/// The blocks of the write that the disk has. `time_of` gives the time of a block.
template <typename TimeOf>
void apply_write(std::string& file, const Change& change, const TimeOf& time_of) {
    const std::int64_t end = change.offset + std::ssize(change.bytes);
    for (std::int64_t from = change.offset; from < end;) {
        const std::int64_t block = from / BLOCK_BYTES,
                           to = std::min(end, (block + 1) * BLOCK_BYTES);
        if (change.time <= time_of(block)) {
            if (std::ssize(file) < to) file.resize(to);
            std::copy(change.bytes.begin() + (from - change.offset),
                      change.bytes.begin() + (to - change.offset), file.begin() + from);
        }
        from = to;
    }
}

/// The file with the changes that the disk has, each up to its time.
template <typename TimeOf>
std::optional<std::string> with_changes(const Disk& disk, long name_time, const TimeOf& time_of) {
    std::string file = disk.durable.value_or("");
    bool exists = disk.durable.has_value();
    std::int64_t size = std::ssize(file);
    for (const Change& change : disk.changes) {
        const bool is_known = change.time <= name_time;
        if (change.kind == Kind::WRITE) {
            if (is_known) size = std::max(size, change.offset + std::ssize(change.bytes));
            apply_write(file, change, time_of);
        } else if (is_known) {
            exists = change.kind == Kind::MAKE || (change.kind == Kind::TRUNCATE && exists);
            size = change.kind == Kind::TRUNCATE ? change.offset : 0;
            file.resize(std::min(file.size(), static_cast<std::size_t>(size)));
        }
    }
    file.resize(static_cast<std::size_t>(size));
    return exists ? std::optional(file) : std::nullopt;
}

void sync(Disk& disk) {
    disk.durable = with_changes(disk, count, [](std::int64_t) { return count; });
    disk.changes.clear();
}

/// What a sync of the directory does: what was made is there, and what was removed is not.
void sync_names() {
    for (auto& [path, disk] : disks) {
        const auto last =
            std::find_if(disk.changes.rbegin(), disk.changes.rend(), [](const Change& change) {
                return change.kind == Kind::MAKE || change.kind == Kind::REMOVE;
            });
        if (last == disk.changes.rend()) continue;
        disk.durable = last->kind == Kind::MAKE ? std::optional<std::string>("") : std::nullopt;
        disk.changes.erase(disk.changes.begin(), last.base());
    }
}

void cut() {
    dark = true;
    const bool keeps_order = random_bits() % 3 == 0;
    const long one_time = static_cast<long>(random_bits() % (count + 1));
    for (auto& [path, disk] : disks) {
        std::map<std::int64_t, long> times;
        const auto time_of = [&](std::int64_t block) {
            if (keeps_order) return one_time;
            return times.try_emplace(block, drawn_time(disk)).first->second;
        };
        disk.durable = with_changes(disk, keeps_order ? one_time : drawn_time(disk), time_of);
        disk.changes.clear();
    }
}

/// Notes an operation. False when the power is gone.
bool goes_through(const std::string& path, Change change) {
    if (!armed) return true;
    if (dark) return false;
    change.time = ++count;
    disks[path].changes.push_back(std::move(change));
    if (count == cut_at) cut();
    return !dark;
}

struct OpenFile {
    std::string path;
    const sqlite3_io_methods* real;
};
std::map<sqlite3_file*, OpenFile> open_files;  ///< databases, logs and journals
/// What files do here, by what they do in the real VFS: the same, but for four methods.
std::map<const sqlite3_io_methods*, sqlite3_io_methods> methods;

int close(sqlite3_file* file) { return open_files.extract(file).mapped().real->xClose(file); }

int write(sqlite3_file* file, const void* from, int size, sqlite3_int64 offset) {
    const auto& [path, real] = open_files.at(file);
    const std::string bytes(static_cast<const char*>(from), static_cast<std::size_t>(size));
    if (!goes_through(path, {Kind::WRITE, 0, offset, bytes})) return SQLITE_IOERR_WRITE;
    return real->xWrite(file, from, size, offset);
}

int truncate(sqlite3_file* file, sqlite3_int64 size) {
    const auto& [path, real] = open_files.at(file);
    if (!goes_through(path, {Kind::TRUNCATE, 0, size, ""})) return SQLITE_IOERR_TRUNCATE;
    return real->xTruncate(file, size);
}

// The cut may come just before a sync. Files stay in the cache of this machine.
int sync(sqlite3_file* file, int) {
    if (!armed) return SQLITE_OK;
    if (!dark && ++count == cut_at) cut();
    if (dark) return SQLITE_IOERR_FSYNC;
    const std::string& path = open_files.at(file).path;
    Disk& disk = disks[path];
    // With a new log or journal, the VFS below syncs the directory too.
    const bool is_new = std::any_of(disk.changes.begin(), disk.changes.end(),
                                    [](const Change& change) { return change.kind == Kind::MAKE; });
    sync(disk);
    if (is_new && !path.ends_with(".db")) sync_names();
    return SQLITE_OK;
}

int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* given) {
    constexpr int KEPT = SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_WAL | SQLITE_OPEN_MAIN_JOURNAL;
    if ((flags & KEPT) == 0) return real_vfs->xOpen(real_vfs, name, file, flags, given);
    file->pMethods = nullptr;
    if (dark) return SQLITE_CANTOPEN;
    if (armed && !disks.contains(name)) disks[name] = {content(name), {}};
    const bool is_new = !fs::exists(name);
    const int result = real_vfs->xOpen(real_vfs, name, file, flags, given);
    if (result != SQLITE_OK) return result;
    sqlite3_io_methods& own = methods[file->pMethods] = *file->pMethods;
    own.iVersion = 2;  // no xFetch, which would map pages
    own.xClose = close;
    own.xWrite = write;
    own.xTruncate = truncate;
    own.xSync = sync;
    open_files[file] = {name, std::exchange(file->pMethods, &own)};
    if (is_new) goes_through(name, {Kind::MAKE, 0, 0, ""});
    return SQLITE_OK;
}

int remove(sqlite3_vfs*, const char* name, int sync_directory) {
    if (fs::exists(name) && !goes_through(name, {Kind::REMOVE, 0, 0, ""})) {
        return SQLITE_IOERR_DELETE;
    }
    if (armed && sync_directory != 0) sync_names();
    return real_vfs->xDelete(real_vfs, name, sync_directory);
}

}  // namespace

void install() {
    static sqlite3_vfs vfs = [] {
        real_vfs = sqlite3_vfs_find(nullptr);
        sqlite3_vfs own = *real_vfs;
        own.zName = "power-cut";
        own.xOpen = open;
        own.xDelete = remove;
        return own;
    }();
    sqlite3_vfs_register(&vfs, 1);
}

void arm(long operation, std::uint32_t seed) {
    disks.clear();
    random_bits.seed(seed);
    count = 0;
    cut_at = operation;
    dark = false;
    armed = true;
}

long operations() { return count; }
bool is_dark() { return dark; }

void restart() {
    for (const auto& [path, disk] : disks) {
        fs::remove(path);
        fs::remove(path + "-shm");
        if (disk.durable) std::ofstream(path, std::ios::binary) << *disk.durable;
    }
    disks.clear();
    dark = armed = false;
}

}  // namespace codetext::power_cut
