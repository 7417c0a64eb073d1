#include "storage/database/transaction.hpp"

#include <exception>

namespace codetext {

Transaction::Transaction(Database& db, Kind kind) : _db(&db) {
    // IMMEDIATE waits for another writer here. A plain BEGIN becomes a writer at its first write,
    // and that fails at once, whatever the busy timeout, when another has committed since its first
    // read.
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
    // A COMMIT that fails leaves the transaction to the destructor.
    _db->execute("COMMIT");
    _db = nullptr;
}

}  // namespace codetext
