#pragma once

// A run of the indexer that waits for another one, where `codetext index` would refuse.
//
//   int tries = 0;
//   index_patiently(root, {}, [&](std::chrono::milliseconds) { return ++tries < 10; });

#include <chrono>
#include <filesystem>

#include "indexer/run/index_run.hpp"

namespace codetext::indexer {

/// As index_repository. While another run is going on, calls `wait` with the time to wait for, and
/// tries again; throws IndexBusy once that returns false.
template <typename Wait>
IndexReport index_patiently(const std::filesystem::path& root, const IndexOptions& options,
                            const Wait& wait) {
    constexpr std::chrono::milliseconds PAUSE(20);
    while (true) {
        try {
            return index_repository(root, options);
        } catch (const IndexBusy&) {
            if (!wait(PAUSE)) throw;
        }
    }
}

}  // namespace codetext::indexer
