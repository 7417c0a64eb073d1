#pragma once

// Transactions.
//
//   Transaction transaction(db, Transaction::Kind::WRITE);
//   db.execute("DELETE FROM files WHERE id = ?", {7});
//   transaction.commit();

#include "storage/database/database.hpp"

namespace codetext {

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

}  // namespace codetext
