#pragma once

// Result rows with typed, bounds-checked columns, and the values bound to placeholders.
//
//   db.each("SELECT id, path FROM files WHERE size > ?", {4096}, [&](const RowView& row) {
//       use(row.integer(0), row.text(1));
//       return Visit::CONTINUE;
//   });

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace codetext {

/// Bytes that are not text.
struct Blob {
    std::string bytes;
    friend bool operator==(const Blob&, const Blob&) = default;
};
/// As Blob, for a parameter that is bound for one call only.
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

/// One result row in the database's memory: valid only until the statement that gave it goes on.
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

/// What the visitor of a result's rows wants next.
enum class Visit { CONTINUE, STOP };

}  // namespace codetext
