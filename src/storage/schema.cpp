// An index may be a stranger's, so it is opened in this order: the files are looked at
// (check_database_files), the database is opened with small values only, the SQL of its tables is
// compared with ours, and then its version. A view or a trigger of somebody else would run with the
// first statement that reads one of our tables, so none is read before that comparison but SQLite's
// own list of tables. After it, values may be as long as the indexer makes them.

#include "storage/schema.hpp"

#include <fmt/format.h>

#include <array>

#include "storage/chunk_store/writer.hpp"
#include "storage/schema_check.hpp"
#include "storage/schema_steps.hpp"

namespace codetext::schema {

namespace {

/// Most bytes of the SQL of a table, and of a value of `meta`.
constexpr int MAX_SCHEMA_BYTES = 1 << 16;

// Pages of this size hold most frames whole, so that a search reads few.
constexpr int PAGE_BYTES = 32768;

constexpr std::string_view INDEX_DDL = R"(
CREATE TABLE meta(key TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
CREATE TABLE files(
    id INTEGER PRIMARY KEY,
    path TEXT NOT NULL UNIQUE,
    language TEXT NOT NULL,
    size INTEGER NOT NULL,
    mtime_ns INTEGER NOT NULL,
    content_hash INTEGER NOT NULL,
    text_on_disk INTEGER NOT NULL DEFAULT 0,
    ctime_ns INTEGER NOT NULL DEFAULT 0,
    inode INTEGER NOT NULL DEFAULT 0);
CREATE INDEX files_by_text_on_disk ON files(text_on_disk);
CREATE TABLE skipped_files(
    path TEXT PRIMARY KEY,
    reason TEXT NOT NULL,
    size INTEGER NOT NULL,
    mtime_ns INTEGER NOT NULL,
    ctime_ns INTEGER NOT NULL DEFAULT 0,
    inode INTEGER NOT NULL DEFAULT 0) WITHOUT ROWID;
)";

/// In `meta` until the first run is done.
constexpr std::string_view UNFILLED = "unfilled";

/// Versions that this program knows, oldest first; PRAGMA user_version is the place in this list.
constexpr std::array<std::string_view, 4> VERSIONS = {"3.0.0", "3.1.0", "3.2.0", SCHEMA_VERSION};

/// The version's place among VERSIONS; -1 for one that is not there.
int rank(std::string_view version) {
    for (std::size_t i = 0; i < VERSIONS.size(); ++i) {
        if (VERSIONS[i] == version) return static_cast<int>(i);
    }
    return -1;
}

bool is_empty(const Database& db) {
    return !db.fetchone("SELECT 1 FROM sqlite_master LIMIT 1").has_value();
}

void fill(Database& db, std::optional<chunk_store::Layout> layout) {
    Transaction transaction(db, Transaction::Kind::WRITE);
    // Looked at again, inside: another process may have been faster.
    if (!is_empty(db)) return;
    db.execute_script(std::string(INDEX_DDL));
    if (layout) chunk_store::create_tables(db, *layout);
    db.execute_script(fmt::format("PRAGMA application_id = {}", APPLICATION_ID));
    set_version(db, SCHEMA_VERSION);
    set_meta(db, UNFILLED, "1");
    transaction.commit();
}

constexpr std::string_view NOT_OURS = "not a codetext index, or a damaged one";

[[noreturn]] void refuse(const std::string& path, std::string_view fault) {
    throw UnusableIndex(
        fmt::format("{} is {}; move it away and run `codetext index`", path, fault));
}

[[noreturn]] void refuse_unfilled(const std::string& path) {
    throw UnusableIndex(
        path + " is not filled yet: run `codetext index`, or wait for the run that is under way");
}

void check_ours(const Database& db, const std::string& path) {
    // First of all: what follows reads tables.
    const SchemaKind kind = schema_kind(db, INDEX_DDL);
    if (kind == SchemaKind::EMPTY) refuse_unfilled(path);
    if (kind == SchemaKind::UNKNOWN ||
        db.fetchone("PRAGMA application_id")->integer(0) != APPLICATION_ID) {
        refuse(path, NOT_OURS);
    }
    const std::string found = version(db);
    if (rank(found) < 0) {
        throw UnusableIndex(fmt::format(
            "{} has schema {}, and this codetext reads {} to {}: use a newer codetext, or move "
            "it away and run `codetext index`",
            path, found, VERSIONS.front(), VERSIONS.back()));
    }
}

/// The result of `use`, which opens the database at `path`. Throws UnusableIndex when there is
/// something else than a database.
template <typename Use>
auto of_database(const std::filesystem::path& path, const Use& use) {
    check_database_files(path);
    try {
        return use();
    } catch (const DatabaseError& error) {
        // Damage this early leaves no table to trust. DAMAGED_PAGE passes: its message names the
        // repair.
        if (error.kind() == DatabaseError::Kind::DAMAGED) refuse(path.string(), NOT_OURS);
        if (error.kind() != DatabaseError::Kind::NOT_A_DATABASE) throw;
        refuse(path.string(), "not a SQLite database");
    }
}

}  // namespace

void set_version(Database& db, std::string_view version) {
    db.execute_script(fmt::format("PRAGMA user_version = {}", rank(version) + 1));
    set_meta(db, "schema_version", version);
}

std::string version(const Database& db) { return meta(db, "schema_version").value_or("unknown"); }

Database open_any_version(const std::filesystem::path& path, Access access) {
    return of_database(path, [&] {
        Database db(path, access);
        db.limit_values(MAX_SCHEMA_BYTES);
        check_ours(db, path.string());
        db.limit_values(max_value_bytes(access));
        // Without a sync for each commit the last ones may be lost with the power. The database
        // stays whole, and the next run makes them again.
        if (access != Access::READ_ONLY) db.execute_script("PRAGMA synchronous = NORMAL");
        return db;
    });
}

Database open_index(const std::filesystem::path& path, Access access) {
    Database db = open_any_version(path, access);
    const std::string_view oldest =
        access == Access::READ_ONLY ? OLDEST_READABLE_VERSION : SCHEMA_VERSION;
    const std::string found = version(db);
    if (rank(found) < rank(oldest)) {
        throw UnusableIndex(
            fmt::format("{} has schema {}; run `codetext upgrade` first", path.string(), found));
    }
    return db;
}

Database open_or_create_index(const std::filesystem::path& root,
                              std::optional<chunk_store::Layout> layout, Owners owners) {
    make_index_directory(root, owners);
    const std::filesystem::path path = index_path(root);
    of_database(path, [&] {
        Database db(path, Access::CREATE);
        // A run that was killed before its first commit leaves a file without a table; it is filled
        // like a new one. The size of pages is settled by the first write, and the mode with a log
        // cannot be entered inside of a transaction.
        if (!is_empty(db)) return;
        db.execute_script(fmt::format("PRAGMA page_size = {}", PAGE_BYTES));
        db.fetchone("PRAGMA journal_mode = WAL");
        fill(db, layout ? layout : chunk_store::default_layout());
    });
    return open_any_version(path, Access::READ_WRITE);
}

// The key, and not the missing files alone: a repository without files has an index without files,
// and a search of it finds nothing.
void check_filled(const Database& db) {
    if (meta(db, UNFILLED) && !db.fetchone("SELECT 1 FROM files LIMIT 1")) {
        refuse_unfilled(db.db_path());
    }
}

void set_filled(Database& db) {
    if (meta(db, UNFILLED)) db.execute("DELETE FROM meta WHERE key = ?", {UNFILLED});
}

std::vector<UpgradeStep> upgrade(Database& db) {
    std::vector<UpgradeStep> taken;
    // Each step commits its own version, so a run that is killed between two leaves an index that
    // the next run takes further.
    if (version(db) == "3.0.0") taken.push_back(upgrade_to_3_1_0(db));
    if (version(db) == "3.1.0") taken.push_back(upgrade_to_3_2_0(db));
    if (version(db) == "3.2.0") taken.push_back(upgrade_to_3_3_0(db));
    return taken;
}

std::optional<std::string> meta(const Database& db, std::string_view key) {
    const auto row = db.fetchone("SELECT value FROM meta WHERE key = ?", {key});
    return row ? std::optional(row->text(0)) : std::nullopt;
}

void set_meta(Database& db, std::string_view key, std::string_view value) {
    db.execute("INSERT OR REPLACE INTO meta(key, value) VALUES (?, ?)", {key, value});
}

}  // namespace codetext::schema
