#pragma once

// What a command does while another process works on the index: it waits, and says once for whom.

#include <string>

#include "indexer/run/index_lock.hpp"

namespace codetext::cli {

/// "process 4711 (codetext watch, since 2026-11-23 12:03:04)"
std::string described(const indexer::LockHolder& holder);

/// How the command takes the lock of the index for its `work`. While another run holds it, the
/// command says so on standard error and waits until that run gives it back; with `no_wait` it
/// throws std::runtime_error at once.
indexer::LockOptions lock_options(schema::Owners owners, indexer::Work work, bool no_wait);

}  // namespace codetext::cli
