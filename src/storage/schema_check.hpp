#pragma once

// Whether the tables of a database are those that a version of this program makes. Private to the
// schema.
//
// An index may come from a stranger. A view, a trigger, a generated column or a virtual table under
// one of our names would run with our statements, and could keep them busy for ever. So the SQL
// that SQLite keeps of each table is compared before any other statement reads from one.

#include <string_view>

#include "storage/database.hpp"

namespace codetext::schema {

enum class SchemaKind {
    EMPTY,  ///< a database without a table
    KNOWN,  ///< of a version that this program knows, or on the way to one
    UNKNOWN,
};

/// `index_ddl` creates the tables that every index of the newest version has. Reads the table of
/// tables alone.
SchemaKind schema_kind(const Database& db, std::string_view index_ddl);

}  // namespace codetext::schema
