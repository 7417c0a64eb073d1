#pragma once

// The steps of an upgrade, each one transaction or one rename. Private to the
// schema.

#include <string_view>

#include "storage/schema.hpp"

namespace codetext::schema {

/// Writes the version down, within the caller's transaction.
void set_version(Database& db, std::string_view version);

/// Adds files.text_on_disk and applies the large-data rule.
UpgradeStep upgrade_to_3_1_0(Database& db);

/// Adds the table of skipped files and moves the chunks from `code_chunks` into the compressed
/// layout, where the SQLite library allows that layout.
UpgradeStep upgrade_to_3_2_0(Database& db);

/// Adds the columns for the change times and numbers of inodes, gives every
/// page a checksum, and seals what the compressed layout holds, in a new file
/// that takes the place of the old one.
UpgradeStep upgrade_to_3_3_0(Database& db);

}  // namespace codetext::schema
