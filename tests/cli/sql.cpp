// Runs SQL on the index in the current directory, as any program may that knows of the pages'
// checksums, with nothing switched off.
//
//   codetext_sql "DELETE FROM meta"

#include <sqlite3.h>

#include <cstdio>
#include <string>

#include "storage/database/checksum_vfs.hpp"

int main(int count, char** arguments) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(".codetext/index/code.db", &db, SQLITE_OPEN_READWRITE,
                    codetext::checksum_vfs());
    const std::string sql =
        "PRAGMA journal_mode = DELETE; " + std::string(count == 2 ? arguments[1] : "?");
    const int result = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr);
    if (result != SQLITE_OK) std::fprintf(stderr, "%s\n", sqlite3_errmsg(db));
    sqlite3_close(db);
    return result == SQLITE_OK ? 0 : 1;
}
