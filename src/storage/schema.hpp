#pragma once

// The index database as a whole: where it lies, how it is made, which versions of it can be read,
// and the steps that bring an older one up to date.
//
//   Database db = schema::open_index(schema::index_path(root), Access::READ_ONLY);

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "storage/chunk_store.hpp"
#include "storage/database.hpp"
#include "storage/index_directory.hpp"
#include "storage/unusable_index.hpp"

namespace codetext::schema {

/// The version that this program writes.
inline constexpr std::string_view SCHEMA_VERSION = "3.3.0";
/// The oldest version that a search or a status can read; an older one needs the upgrade first.
inline constexpr std::string_view OLDEST_READABLE_VERSION = "3.1.0";
/// PRAGMA application_id of every index: "cdtx".
inline constexpr std::int64_t APPLICATION_ID = 0x63647478;

/// Opens an index of any version from 3.0.0 to SCHEMA_VERSION. Throws UnusableIndex for anything
/// else at `path`, DatabaseError when it cannot be opened.
Database open_any_version(const std::filesystem::path& path, Access access);

/// As open_any_version, and throws UnusableIndex for an index that needs the upgrade first:
/// one older than OLDEST_READABLE_VERSION, or, with Access::READ_WRITE, than SCHEMA_VERSION.
Database open_index(const std::filesystem::path& path, Access access);

/// Opens the repository's index, of any version. Where there is none, or only the blank file that a
/// killed run left, makes its directory and an empty index at SCHEMA_VERSION, in one
/// transaction; `layout` is as chunk_store::default_layout gives it when left
/// out.
Database open_or_create_index(const std::filesystem::path& root,
                              std::optional<chunk_store::Layout> layout = std::nullopt,
                              Owners owners = Owners::TRUSTED);

/// The index's schema version, for example "3.3.0".
std::string version(const Database& db);

/// Throws UnusableIndex for an index without a file that no run has finished: finding nothing there
/// would be no answer.
void check_filled(const Database& db);
/// Notes at the end of a run that one has finished. Writes nothing when that is noted already.
void set_filled(Database& db);

/// One step that an upgrade has taken.
struct UpgradeStep {
    std::string from, to;
    std::string what;  ///< one line for the user
};

/// Applies the steps that the index lacks, in order. A step that fails, or a kill, leaves the index
/// as it was before the step. The step to 3.3.0 puts a new file in place of the old one, and `db`
/// then has that file open; it throws UnusableIndex while others read the old one for long. Returns
/// the steps taken. REQUIRES: this process holds the lock of the index.
std::vector<UpgradeStep> upgrade(Database& db);

/// A value of the `meta` table, in which the index keeps what the program needs to remember.
std::optional<std::string> meta(const Database& db, std::string_view key);
void set_meta(Database& db, std::string_view key, std::string_view value);

}  // namespace codetext::schema
