#include "storage/database/transaction.hpp"

namespace codetext {

Transaction::Transaction(Database& db, Kind kind) : _db(&db) {
    db.execute(kind == Kind::WRITE ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction() {
    if (!_db) return;
    try {
        _db->execute("ROLLBACK");
    } catch (const DatabaseError&) {
        // Some failures, a full disk among them, have rolled back already.
    }
}

void Transaction::commit() {
    _db->execute("COMMIT");
    _db = nullptr;
}

}  // namespace codetext
