// What is known are the statements that create the tables today, and what they were before a later
// version added a column. White space does not count: SQLite keeps a statement as it was written,
// and ALTER TABLE puts a column in without the line breaks.
//
// Names would not do. A view, a generated column, a trigger or a virtual table of somebody else,
// under one of our names, runs with our statements, and a recursive view never ends.

#include "storage/schema_check.hpp"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "storage/chunk_store/layout.hpp"

namespace codetext::schema {

namespace {

/// A column that is not in the table of every known version. Such columns are the table's last, in
/// the order of the versions.
struct AddedColumn {
    std::string_view table, column;
};
constexpr AddedColumn ADDED_COLUMNS[] = {{"files", "text_on_disk"},
                                         {"files", "ctime_ns"},
                                         {"files", "inode"},
                                         {"skipped_files", "ctime_ns"},
                                         {"skipped_files", "inode"}};

/// SQLite makes it for `path TEXT UNIQUE` and keeps no SQL of it.
constexpr std::string_view PATH_INDEX = "sqlite_autoindex_files_1";
/// What an index of any version has.
constexpr std::string_view REQUIRED[] = {"meta", "files", PATH_INDEX};

bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool is_word(char c) {
    return c == '_' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// Gives the characters of an SQL text without the white space that separates no two words.
class SqlCharacters {
  public:
    static constexpr int END = -1;
    explicit SqlCharacters(std::string_view sql) : _rest(sql) {}

    int next() {
        const std::size_t before = _rest.size();
        while (!_rest.empty() && is_space(_rest.front())) _rest.remove_prefix(1);
        if (_rest.empty()) return END;
        const char c = _rest.front();
        if (_rest.size() < before && is_word(c) && is_word(_last)) {
            _last = ' ';
            return ' ';
        }
        _rest.remove_prefix(1);
        _last = c;
        return static_cast<unsigned char>(c);
    }

  private:
    std::string_view _rest;
    char _last = ' ';
};

bool is_same_sql(std::string_view one, std::string_view other) {
    if (one == other) return true;
    SqlCharacters left(one), right(other);
    while (true) {
        const int c = left.next();
        if (c != right.next()) return false;
        if (c == SqlCharacters::END) return true;
    }
}

/// The statement that creates the table without `column` and those after it.
std::string without_column(std::string_view sql, std::string_view column) {
    const std::size_t comma = sql.rfind(',', sql.find(column));
    return std::string(sql.substr(0, comma)) += sql.substr(sql.rfind(')'));
}

struct Known {
    std::string_view type, name, sql;
    bool is_found = false;

    bool is_made_by(std::string_view stored) const {
        if (is_same_sql(stored, sql)) return true;
        return std::any_of(std::begin(ADDED_COLUMNS), std::end(ADDED_COLUMNS),
                           [&](const AddedColumn& added) {
                               return added.table == name &&
                                      is_same_sql(stored, without_column(sql, added.column));
                           });
    }
};

std::string_view take_word(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \n'"), text.size()));
    const std::string_view word = text.substr(0, text.find_first_of(" (\n'"));
    text.remove_prefix(word.size());
    return word;
}

/// What one CREATE statement makes; without a name for a statement of another kind.
Known known_by(std::string_view sql) {
    std::string_view rest = sql;
    if (take_word(rest) != "CREATE") return {};
    std::string_view kind = take_word(rest);
    if (kind == "VIRTUAL") kind = take_word(rest);
    const std::string_view type = kind == "TABLE" ? "table" : kind == "INDEX" ? "index" : "trigger";
    return {type, take_word(rest), sql};
}

void append_known(std::string_view script, std::vector<Known>& known) {
    constexpr std::string_view TRIGGER = "CREATE TRIGGER", TRIGGER_END = "\nEND";
    while (true) {
        script.remove_prefix(std::min(script.find_first_not_of("; \n"), script.size()));
        if (script.empty()) return;
        const std::size_t end =
            script.find(';', script.starts_with(TRIGGER) ? script.find(TRIGGER_END) : 0);
        if (const Known made = known_by(script.substr(0, end)); !made.name.empty()) {
            known.push_back(made);
        }
        script.remove_prefix(std::min(end, script.size()));
    }
}

// Half of a layout is the work of no version.
bool all_or_none(const std::vector<Known>& known) {
    const auto found = [](const Known& one) { return one.is_found; };
    return std::all_of(known.begin(), known.end(), found) ||
           std::none_of(known.begin(), known.end(), found);
}

class SchemaCheck {
  public:
    explicit SchemaCheck(std::string_view index_ddl) : _groups(3) {
        append_known(index_ddl, _groups[0]);
        _groups[0].push_back({"index", PATH_INDEX, ""});
        for (const std::string_view script : chunk_store::layout_ddl(chunk_store::COMPRESSED)) {
            append_known(script, _groups[1]);
        }
        for (const std::string_view script : chunk_store::layout_ddl(chunk_store::CODE_CHUNKS)) {
            append_known(script, _groups[2]);
        }
    }

    /// False for what no version makes, and for what came already.
    bool take(std::string_view type, std::string_view name, std::string_view sql) {
        for (std::vector<Known>& group : _groups) {
            for (Known& known : group) {
                if (known.name != name || known.type != type) continue;
                return !std::exchange(known.is_found, true) && known.is_made_by(sql);
            }
        }
        return false;
    }

    bool is_complete() const {
        return all_or_none(_groups[1]) && all_or_none(_groups[2]) &&
               std::all_of(std::begin(REQUIRED), std::end(REQUIRED), [&](std::string_view name) {
                   return std::any_of(
                       _groups[0].begin(), _groups[0].end(),
                       [&](const Known& known) { return known.name == name && known.is_found; });
               });
    }

  private:
    std::vector<std::vector<Known>> _groups;  ///< of every index, then of each layout
};

}  // namespace

SchemaKind schema_kind(const Database& db, std::string_view index_ddl) {
    SchemaCheck check(index_ddl);
    SchemaKind kind = SchemaKind::EMPTY;
    try {
        db.each("SELECT type, name, sql FROM sqlite_master", {}, [&](const RowView& row) {
            const std::string_view sql = row.is_null(2) ? std::string_view() : row.text(2);
            const bool is_known = check.take(row.text(0), row.text(1), sql);
            kind = is_known ? SchemaKind::KNOWN : SchemaKind::UNKNOWN;
            return is_known ? Visit::CONTINUE : Visit::STOP;
        });
    } catch (const DatabaseError& error) {
        // SQLite's list of tables holds texts, unless somebody else wrote it.
        if (error.kind() != DatabaseError::Kind::WRONG_TYPE) throw;
        return SchemaKind::UNKNOWN;
    }
    return kind == SchemaKind::KNOWN && !check.is_complete() ? SchemaKind::UNKNOWN : kind;
}

}  // namespace codetext::schema
