// An upgrade that changes every page builds a new file beside the old one, which stands until the
// new one takes its name:
//
// 1. Copy the old database to the new file, and change that. Searches read the old one meanwhile.
// 2. Sync the new file. Take the old one out of the mode with a log: SQLite does that only when
//    nobody else has it open, and afterwards no log is left that would be applied to the new file.
// 3. Lock the old one, so that nobody begins a journal, which has a name of its own too.
// 4. Rename, and sync the directory.
//
// A kill leaves the old file under its name until step 4, and the new file from then on. What a
// killed upgrade left beside is removed by the next.

#include <fcntl.h>
#include <fmt/format.h>

#include <chrono>
#include <new>
#include <thread>

#include "storage/chunk_store/compressed/shard_list.hpp"
#include "storage/chunk_store/compressed/tables.hpp"
#include "storage/chunk_store/compressed/trigram_upkeep.hpp"
#include "storage/schema_steps.hpp"
#include "utils/descriptor.hpp"

namespace codetext::schema {

namespace {

using std::chrono::steady_clock;

/// How long an upgrade waits for searches that read the old file.
constexpr std::chrono::seconds SEARCHES_END_WITHIN(10);
constexpr std::chrono::milliseconds BETWEEN_TRIES(20);

/// The new file. It goes with its log unless it was put in place.
class FileBeside {
  public:
    explicit FileBeside(const std::filesystem::path& target) : _target(target), _path(target) {
        _path += ".new";
        _remove();
    }
    ~FileBeside() { _remove(); }
    FileBeside(const FileBeside&) = delete;
    FileBeside& operator=(const FileBeside&) = delete;
    const std::filesystem::path& path() const { return _path; }

    void sync() const {
        std::filesystem::permissions(_path, std::filesystem::status(_target).permissions());
        _sync(_path, O_RDWR);
    }
    void put_in_place() const {
        std::filesystem::path log = _target;
        log += "-wal";
        std::filesystem::remove(log);  // SQLite does not tell when it could not
        const std::filesystem::path directory = _target.parent_path();
        // If the power went after the rename was on the disk, and the removal of the old log was
        // not, SQLite would apply that log to the new file.
        _sync(directory, O_RDONLY | O_DIRECTORY);
        std::filesystem::rename(_path, _target);
        _sync(directory, O_RDONLY | O_DIRECTORY);
    }

  private:
    static void _sync(const std::filesystem::path& path, int flags) {
        const Descriptor file(::open(path.empty() ? "." : path.c_str(), flags | O_CLOEXEC));
        if (!file || ::fsync(file.number()) != 0) {
            throw_system_error("cannot sync " + path.string());
        }
    }
    void _remove() const noexcept {
        try {
            for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
                std::filesystem::path path = _path;
                path += suffix;
                std::error_code ignored;
                std::filesystem::remove(path, ignored);
            }
        } catch (const std::bad_alloc&) {  // the next upgrade removes what is left
        }
    }
    std::filesystem::path _target, _path;
};

void change(const std::filesystem::path& path) {
    Database db(path, Access::READ_WRITE);
    // In the mode with a log SQLite writes every page, the free ones too.
    db.fetchone("PRAGMA journal_mode = WAL");
    db.execute_script("PRAGMA synchronous = OFF");  // the whole file is synced later
    Transaction transaction(db, Transaction::Kind::WRITE);
    for (const char* table : {"files", "skipped_files"}) {
        for (const char* column : {"ctime_ns", "inode"}) {
            db.execute_script(fmt::format("ALTER TABLE {} ADD COLUMN {} INTEGER NOT NULL DEFAULT 0",
                                          table, column));
        }
    }
    // What this program has just moved out of `code_chunks` is sealed.
    const bool is_compressed = chunk_store::layout(db) == chunk_store::COMPRESSED;
    if (is_compressed && !meta(db, chunk_store::SHARDS_KEY)) {
        chunk_store::compressed::seal_frames(db);
        chunk_store::remake_shards(db);
    }
    set_version(db, SCHEMA_VERSION);
    transaction.commit();
    // The new file must hold everything by itself: it is renamed without its log.
    db.fetchone("PRAGMA wal_checkpoint(TRUNCATE)");
}

/// Takes the database out of the mode with a log, once nobody else reads it, and locks it.
void take_alone(Database& db) {
    const auto end = steady_clock::now() + SEARCHES_END_WITHIN;
    while (true) {
        try {
            // In this order: in the mode with a log, BEGIN EXCLUSIVE keeps no reader out.
            db.fetchone("PRAGMA journal_mode = DELETE");
            db.execute("BEGIN EXCLUSIVE");
            return;
        } catch (const DatabaseError& error) {
            if (error.kind() != DatabaseError::Kind::BUSY) throw;
            if (steady_clock::now() > end) {
                throw UnusableIndex(db.db_path().string() +
                                    " is being read, and cannot be upgraded; try again later");
            }
        }
        std::this_thread::sleep_for(BETWEEN_TRIES);
    }
}

}  // namespace

UpgradeStep upgrade_to_3_3_0(Database& db) {
    const std::filesystem::path path = db.db_path();
    const FileBeside beside(path);
    db.copy_to(beside.path());
    change(beside.path());
    beside.sync();
    take_alone(db);
    beside.put_in_place();
    // The old connection, with its lock, goes only when the new one is there.
    db = Database(path, Access::READ_WRITE);
    db.execute_script("PRAGMA synchronous = NORMAL");
    return {"3.2.0", "3.3.0", "every page has a checksum now"};
}

}  // namespace codetext::schema
