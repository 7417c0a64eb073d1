#pragma once

// The handle on an index database: typed rows, bound parameters, transactions. SQLite's own header
// stays out of here.
//
//   Database db(path, Access::READ_ONLY);
//   std::optional<Row> row = db.fetchone("SELECT id FROM files WHERE path = ?", {"src/main.c"});
//   if (row) use(row->integer(0));

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <typeindex>
#include <utility>
#include <variant>
#include <vector>

namespace codetext {

/// A statement that failed, or a database that cannot be opened.
class DatabaseError : public std::runtime_error {
  public:
    DatabaseError(int code, const std::string& message, std::string_view statement);
    /// SQLite's extended result code.
    int code() const { return _code; }
    /// The statement that failed; empty when none was running.
    const std::string& statement() const { return _statement; }

  private:
    int _code;
    std::string _statement;
};

/// Bytes that are no text.
struct Blob {
    std::string bytes;
    friend bool operator==(const Blob&, const Blob&) = default;
};
/// As Blob, for a parameter that is only bound for one call.
struct BlobView {
    std::string_view bytes;
};

/// A value bound to a placeholder for the time of one call; it copies no text.
class Parameter {
  public:
    Parameter(std::nullptr_t) {}
    Parameter(std::int64_t value) : _value(value) {}
    Parameter(int value) : _value(std::int64_t{value}) {}
    Parameter(std::string_view value) : _value(value) {}
    Parameter(const std::string& value) : _value(std::string_view(value)) {}
    Parameter(const char* value) : _value(std::string_view(value)) {}
    Parameter(BlobView value) : _value(value) {}

  private:
    friend class Statement;
    std::variant<std::nullptr_t, std::int64_t, std::string_view, BlobView> _value;
};
using Parameters = std::span<const Parameter>;

/// One result row, in the database's memory: valid only until the statement that gave it goes on.
/// Every accessor throws std::out_of_range for a column that the row does not have.
class RowView {
  public:
    std::size_t size() const;
    bool is_null(std::size_t column) const;
    /// Throws DatabaseError when the column holds anything but an integer.
    std::int64_t integer(std::size_t column) const;
    /// The text with its embedded NULs; throws DatabaseError when the column holds anything else.
    std::string_view text(std::size_t column) const;
    /// The bytes of a BLOB; throws DatabaseError when the column holds anything else.
    std::string_view blob(std::size_t column) const;

  private:
    friend class Statement;
    explicit RowView(void* statement) : _statement(statement) {}
    void* _statement;
};

/// One result row with values of its own. Same accessors and errors as RowView.
class Row {
  public:
    using Value = std::variant<std::nullptr_t, std::int64_t, double, std::string, Blob>;
    explicit Row(std::vector<Value> values) : _values(std::move(values)) {}
    std::size_t size() const { return _values.size(); }
    bool is_null(std::size_t column) const;
    std::int64_t integer(std::size_t column) const;
    const std::string& text(std::size_t column) const;
    const std::string& blob(std::size_t column) const;

  private:
    std::vector<Value> _values;
};

/// What a row visitor wants next.
enum class Visit { CONTINUE, STOP };

enum class Access {
    READ_ONLY,   ///< the file must exist
    READ_WRITE,  ///< the file must exist
    CREATE,      ///< the file is made when there is none
};

/// An open database. Handles may be used by several threads at once: each statement runs on its
/// own. Statements are kept prepared by their text; none stays open when a call ends, however it
/// ends.
class Database {
  public:
    /// Throws DatabaseError when the file cannot be opened or is no SQLite database.
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
    /// Runs one statement whose rows, if any, do not matter. Returns how many rows it changed.
    std::int64_t execute(std::string_view sql, Parameters parameters = {});
    std::int64_t execute(std::string_view sql, std::initializer_list<Parameter> parameters) {
        return execute(sql, Parameters(parameters.begin(), parameters.size()));
    }
    /// Runs several statements, separated by ";", that take no parameters.
    void execute_script(const std::string& sql);
    /// The row id that the last INSERT gave.
    std::int64_t last_insert_rowid() const;

    /// The object of this type that is kept with the handle, made by `make` (which gives a
    /// std::shared_ptr<Type>) at the first call. For what is costly to read and never changes.
    template <typename Type, typename Make>
    std::shared_ptr<Type> kept(Make make) const {
        const std::type_index key = typeid(Type);
        if (auto found = _find_kept(key)) return std::static_pointer_cast<Type>(found);
        return std::static_pointer_cast<Type>(_keep(key, make()));
    }

    /// A number that is another one whenever the content that this handle sees may be another.
    std::int64_t content_version() const;

    /// How long a statement waits for another process's lock before it fails, in milliseconds.
    void set_busy_timeout(int milliseconds);

  private:
    friend class Statement;
    class Connection;
    std::shared_ptr<void> _find_kept(std::type_index key) const;
    std::shared_ptr<void> _keep(std::type_index key, std::shared_ptr<void> object) const;
    std::filesystem::path _path;
    std::unique_ptr<Connection> _connection;
};

/// A statement cursor, as the schema upgrade hands it to its steps: one result at a time.
class Cursor {
  public:
    explicit Cursor(Database& db) : _db(&db) {}
    /// Runs one statement to its end and holds its rows; returns this cursor.
    Cursor& execute(std::string_view sql, Parameters parameters = {});
    Cursor& execute(std::string_view sql, std::initializer_list<Parameter> parameters) {
        return execute(sql, Parameters(parameters.begin(), parameters.size()));
    }
    /// Runs one statement once per parameter row, in order.
    void executemany(std::string_view sql, const std::vector<std::vector<Parameter>>& rows);
    /// The next row that was not fetched yet, or none.
    std::optional<Row> fetchone();
    /// Every row that was not fetched yet.
    std::vector<Row> fetchall();

  private:
    Database* _db;
    std::vector<Row> _rows;
    std::size_t _next = 0;
};

/// A transaction that rolls back unless it is committed.
class Transaction {
  public:
    enum class Kind {
        READ,   ///< one snapshot for every read
        WRITE,  ///< takes the write lock at once
    };
    Transaction(Database& db, Kind kind);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void commit();

  private:
    Database* _db;
};

/// The version of the SQLite library that is linked, as major * 1000000 + minor * 1000 + patch.
int sqlite_version();

}  // namespace codetext
