#pragma once

// The index database: the handle, its rows, its failures, transactions and cursors.
//
//   Database db(path, Access::READ_ONLY);
//   const Transaction snapshot(db, Transaction::Kind::READ);
//   for (const Row& row : db.fetchall("SELECT path FROM files")) use(row.text(0));

#include "storage/database/cursor.hpp"
#include "storage/database/database.hpp"
#include "storage/database/error.hpp"
#include "storage/database/row.hpp"
#include "storage/database/transaction.hpp"
