#pragma once

// Keeps the index up to date, and knows how old it is.

#include <atomic>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "indexer/run/index_run.hpp"
#include "storage/index_directory.hpp"

namespace codetext::mcp {

struct Freshness {
    std::optional<std::string> checked_at;  ///< as 2026-01-31T23:59:59.999Z
    bool is_stale = true;
    bool is_watched = false;  ///< a watcher keeps it up to date
};

/// Ends a refresh whose stop flag is set.
struct RefreshStopped {};

/// Its functions may be called by several threads.
class Refresher {
  public:
    /// So long a check counts as fresh.
    static constexpr std::chrono::seconds FRESH_FOR{5};

    Refresher(std::filesystem::path root, schema::Owners owners, bool may_write)
        : _root(std::move(root)), _owners(owners), _may_write(may_write) {}

    Freshness freshness() const;
    /// Whether a refresh ought to begin now that nobody has called for. Then the caller must call
    /// refresh(): it is not due again meanwhile.
    bool take_due();
    bool is_running() const { return _running > 0; }

    enum class Wanted {
        BY_CALL,        ///< asks a watcher, waits for another run for a minute at most
        IN_BACKGROUND,  ///< leaves it to another run that is going on
    };
    /// Brings the index up to date, or makes it. Returns none when a watcher has done it. Throws
    /// RefreshStopped, and what indexer::index_repository throws.
    std::optional<indexer::IndexReport> refresh(const std::atomic<bool>& stop, Wanted wanted);

  private:
    using Clock = std::chrono::steady_clock;
    std::optional<std::string> _last_run() const;
    std::optional<indexer::IndexReport> _run(const std::atomic<bool>& stop, Wanted wanted);

    std::filesystem::path _root;
    schema::Owners _owners;
    bool _may_write;
    std::atomic<int> _running = 0;
    mutable std::mutex _mutex;  ///< over all that follows
    std::optional<Clock::time_point> _checked;
    std::chrono::system_clock::time_point _checked_at;
    std::optional<Clock::time_point> _next_due;  ///< none: now
};

}  // namespace codetext::mcp
