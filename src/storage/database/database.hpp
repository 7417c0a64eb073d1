#pragma once

// An open index database: bound parameters, rows, scripts. SQLite's own header stays out of here.
//
//   Database db(path, Access::READ_ONLY);
//   std::optional<Row> row = db.fetchone("SELECT id FROM files WHERE path = ?", {"src/main.c"});
//   if (row) use(row->integer(0));

#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "storage/database/error.hpp"
#include "storage/database/row.hpp"

namespace codetext {

enum class Access {
    READ_ONLY,   ///< the file must exist
    READ_WRITE,  ///< the file must exist
    CREATE,      ///< the file is made when there is none
};

/// Most bytes of a value. A writer's limit is that of a row, which may have two.
constexpr int max_value_bytes(Access access) {
    constexpr int MAX_VALUE_BYTES = 258 << 20;
    return access == Access::READ_ONLY ? MAX_VALUE_BYTES : 2 * MAX_VALUE_BYTES;
}

/// Tells whether content that was read may be old. Two stamps of one handle are equal only if the
/// statements that ran before each saw the same content: commits of other connections count once a
/// statement here has seen them, changes through this handle at once, and so does taking them back.
struct ContentStamp {
    std::uint32_t data_version = 0;
    std::int64_t changes = 0, undone = 0;
    friend bool operator==(const ContentStamp&, const ContentStamp&) = default;
};

/// An open database. Handles may be used by several threads at once: each statement runs on its
/// own. Statements are kept prepared by their text; none stays open when a call ends, however it
/// ends.
class Database {
  public:
    /// Throws DatabaseError when the file cannot be opened or holds something else.
    Database(std::filesystem::path path, Access access);
    ~Database();
    Database(Database&&) noexcept;
    Database& operator=(Database&&) noexcept;

    /// The path of the database file, as it was given.
    const std::filesystem::path& db_path() const { return _path; }

    /// The first row of the statement's result, or none. A statement that writes runs to its end.
    /// Every operation here throws DatabaseError when the statement fails.
    std::optional<Row> fetchone(std::string_view sql, Parameters parameters = {}) const;
    std::optional<Row> fetchone(std::string_view sql,
                                std::initializer_list<Parameter> parameters) const {
        return fetchone(sql, Parameters(parameters.begin(), parameters.size()));
    }
    /// Every row of the result.
    std::vector<Row> fetchall(std::string_view sql, Parameters parameters = {}) const;
    std::vector<Row> fetchall(std::string_view sql,
                              std::initializer_list<Parameter> parameters) const {
        return fetchall(sql, Parameters(parameters.begin(), parameters.size()));
    }
    /// Hands each row of a result to `visit` as it comes, without a copy, until it says STOP.
    void each(std::string_view sql, Parameters parameters,
              const std::function<Visit(const RowView&)>& visit) const;
    void each(std::string_view sql, std::initializer_list<Parameter> parameters,
              const std::function<Visit(const RowView&)>& visit) const {
        each(sql, Parameters(parameters.begin(), parameters.size()), visit);
    }
    /// Runs one statement whose rows, if any, do not matter. Returns how many rows an INSERT,
    /// UPDATE or DELETE changed; the number means nothing after any other statement.
    std::int64_t execute(std::string_view sql, Parameters parameters = {});
    std::int64_t execute(std::string_view sql, std::initializer_list<Parameter> parameters) {
        return execute(sql, Parameters(parameters.begin(), parameters.size()));
    }
    /// Runs several statements, separated by ";", that take no parameters.
    void execute_script(const std::string& sql);
    /// The row id that the last INSERT gave.
    std::int64_t last_insert_rowid() const;

    /// Writes a copy of the database, packed and with checksums, to a file that must not be there
    /// yet. The copy is in no mode with a log, and not synced.
    void copy_to(const std::filesystem::path& path);

    /// The state of the content that this handle sees. Never waits and reads nothing.
    ContentStamp content_stamp() const;

    /// Lets no value be longer than this from now on: a longer one is damage. At first this is
    /// max_value_bytes.
    void limit_values(int bytes);

    /// How long a statement waits for another process's lock before it fails, in milliseconds.
    void set_busy_timeout(int milliseconds);

  private:
    friend class Statement;
    class Connection;
    std::filesystem::path _path;
    std::unique_ptr<Connection> _connection;
};

/// The version of the SQLite library that is linked, as major * 1000000 + minor * 1000 + patch.
int sqlite_version();

}  // namespace codetext
