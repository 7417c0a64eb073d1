#include "storage/database/transaction.hpp"

#include <exception>

namespace codetext {

Transaction::Transaction(Database& db, Kind kind) : _db(&db) {
    db.execute(kind == Kind::WRITE ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction() {
    if (!_db) return;
    try {
        _db->execute("ROLLBACK");
    } catch (const std::exception&) {
        // Some failures, a full disk among them, have rolled back already. Without memory, closing
        // the database does it, and until then it refuses another transaction.
    }
}

void Transaction::commit() {
    _db->execute("COMMIT");
    _db = nullptr;
}

}  // namespace codetext
