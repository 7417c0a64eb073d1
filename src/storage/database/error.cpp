#include "storage/database/error.hpp"

#include <fmt/format.h>
#include <sqlite3.h>

namespace codetext {

namespace {

DatabaseError::Kind kind_of(int code) {
    // First the extended codes that a caller plans for. Their primary code is that of every failed
    // call of the operating system.
    if (code == SQLITE_IOERR_WRITE) return DatabaseError::Kind::WRITE_FAILED;
    if (code == SQLITE_IOERR_DATA) return DatabaseError::Kind::DAMAGED_PAGE;
    constexpr int PRIMARY_CODE = 0xFF;
    switch (code & PRIMARY_CODE) {
        case SQLITE_FULL:
            return DatabaseError::Kind::DISK_FULL;
        case SQLITE_NOTADB:
            return DatabaseError::Kind::NOT_A_DATABASE;
        case SQLITE_CORRUPT:
        case SQLITE_TOOBIG:     // a longer value than the program writes
        case SQLITE_INTERRUPT:  // more rows than the file can hold
            return DatabaseError::Kind::DAMAGED;
        case SQLITE_CANTOPEN:
            return DatabaseError::Kind::CANNOT_OPEN;
        case SQLITE_BUSY:
            return DatabaseError::Kind::BUSY;
        case SQLITE_MISUSE:
            return DatabaseError::Kind::MISUSE;
        default:
            return DatabaseError::Kind::OTHER;
    }
}

}  // namespace

DatabaseError::DatabaseError(int code, Kind kind, const std::string& message,
                             std::string_view statement)
    : std::runtime_error(statement.empty() ? message
                                           : fmt::format("{} (in: {})", message, statement)),
      _code(code),
      _kind(kind),
      _statement(statement) {}

DatabaseError::DatabaseError(int code, const std::string& message, std::string_view statement)
    : DatabaseError(code, kind_of(code), message, statement) {}

DatabaseError::DatabaseError(Kind kind, const std::string& message, std::string_view statement)
    : DatabaseError(0, kind, message, statement) {}

}  // namespace codetext
