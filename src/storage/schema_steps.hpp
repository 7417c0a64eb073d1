#pragma once

// The steps of an upgrade, each one transaction. Private to the schema.

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

}  // namespace codetext::schema
