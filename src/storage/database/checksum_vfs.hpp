#pragma once

// SQLite's way to its files, with checksums: a layer over the VFS that SQLite uses by default.
// Private to this folder.

#include <sqlite3.h>

namespace codetext {

/// The name to open databases with. A page that is written to the database file gets its checksum
/// (page_checksum.hpp), in a database that has them; one that is read is checked, and so is one
/// read from the write-ahead log (log_check.hpp). Damage, and a database file that is shorter than
/// its header says, fail with SQLITE_IOERR_DATA. All other files are SQLite's alone.
///
/// A database that is empty when it is opened gets checksums. REQUIRES: who makes one asks SQLite
/// for page_checksum::BYTES reserved bytes before the first write.
const char* checksum_vfs();

}  // namespace codetext
