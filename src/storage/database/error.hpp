#pragma once

// What a failed statement throws. Callers that plan for a failure ask for its kind; SQLite's result
// codes are known here and in error.cpp alone.
//
//   try {
//       db.execute("COMMIT");
//   } catch (const DatabaseError& error) {
//       if (error.kind() != DatabaseError::Kind::DISK_FULL) throw;
//   }

#include <stdexcept>
#include <string>
#include <string_view>

namespace codetext {

/// A statement that failed, or a database that cannot be opened.
class DatabaseError : public std::runtime_error {
  public:
    enum class Kind {
        DISK_FULL,
        WRITE_FAILED,    ///< the operating system refused a write
        NOT_A_DATABASE,  ///< the file holds something else
        DAMAGED,         ///< pages that are wrong, or hold what the program cannot have written
        DAMAGED_PAGE,    ///< a page does not match its checksum, or the file is cut
        CANNOT_OPEN,
        BUSY,        ///< another process has it locked
        WRONG_TYPE,  ///< a column holds another type than the one asked for
        MISUSE,      ///< a fault of the caller, such as too few parameters
        OTHER,
    };

    /// `code` is SQLite's extended result code. `statement` is empty when none was running.
    DatabaseError(int code, const std::string& message, std::string_view statement);
    DatabaseError(Kind kind, const std::string& message, std::string_view statement);

    Kind kind() const { return _kind; }
    /// The database holds what the program cannot have written.
    bool is_damage() const {
        return _kind == Kind::DAMAGED || _kind == Kind::DAMAGED_PAGE || _kind == Kind::WRONG_TYPE;
    }
    /// SQLite's extended result code; 0 for a failure that SQLite did not report.
    int code() const { return _code; }
    const std::string& statement() const { return _statement; }

  private:
    DatabaseError(int code, Kind kind, const std::string& message, std::string_view statement);
    int _code;
    Kind _kind;
    std::string _statement;
};

}  // namespace codetext
