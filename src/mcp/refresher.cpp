#include "mcp/refresher.hpp"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <thread>

#include "indexer/watch/request.hpp"
#include "indexer/watch/watcher_lock.hpp"
#include "mcp/index_handle.hpp"
#include "storage/indexed_at.hpp"
#include "utils/platform.hpp"

namespace codetext::mcp {
namespace {

using std::chrono::milliseconds;
using std::chrono::system_clock;

std::string utc(system_clock::time_point time) {
    const auto since_epoch = std::chrono::duration_cast<milliseconds>(time.time_since_epoch());
    constexpr int MS_PER_SECOND = 1000;
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(system_clock::to_time_t(time)),
                       since_epoch.count() % MS_PER_SECOND);
}

}  // namespace

Freshness Refresher::freshness() const {
    const indexer::WatcherSight watcher(_root, _owners);
    if (watcher.lives()) return {utc(system_clock::now()), watcher.is_busy(), true};
    const std::lock_guard lock(_mutex);
    if (!_checked) return {_last_run(), true, false};
    return {utc(_checked_at), Clock::now() - *_checked > FRESH_FOR, false};
}

// Of whatever run has noted its time beside the index.
std::optional<std::string> Refresher::_last_run() const {
    const std::optional<std::int64_t> ns = schema::indexed_at(_root, _owners);
    if (!ns) return std::nullopt;
    const std::chrono::nanoseconds since_epoch(*ns);
    return utc(
        system_clock::time_point(std::chrono::duration_cast<system_clock::duration>(since_epoch)));
}

bool Refresher::take_due() {
    if (!_may_write || !has_index(_root) || !freshness().is_stale) return false;
    const std::lock_guard lock(_mutex);
    if (_next_due && Clock::now() < *_next_due) return false;
    _next_due = Clock::time_point::max();
    return true;
}

std::optional<indexer::IndexReport> Refresher::refresh(const std::atomic<bool>& stop,
                                                       Wanted wanted) {
    // Refreshes take a twentieth of the time, however long one takes.
    constexpr int PART_OF_TIME = 20;
    const Clock::time_point begin = Clock::now();
    const auto end = [&](bool is_done, system_clock::time_point begin_at) {
        const std::lock_guard lock(_mutex);
        _next_due = Clock::now() +
                    std::max<Clock::duration>(FRESH_FOR, (Clock::now() - begin) * PART_OF_TIME);
        if (is_done) _checked = begin, _checked_at = begin_at;
        --_running;
    };
    const system_clock::time_point begin_at = system_clock::now();
    ++_running;
    try {
        auto report = _run(stop, wanted);
        platform::give_memory_back();
        end(true, begin_at);
        return report;
    } catch (...) {
        end(false, begin_at);
        throw;
    }
}

std::optional<indexer::IndexReport> Refresher::_run(const std::atomic<bool>& stop, Wanted wanted) {
    constexpr std::chrono::minutes LONGEST(1);
    const auto check_stop = [&] {
        if (stop) throw RefreshStopped();
    };
    check_stop();
    if (wanted == Wanted::BY_CALL && indexer::ask_watcher(_root, _owners)) return std::nullopt;
    indexer::IndexOptions options;
    const Clock::time_point last = Clock::now() + LONGEST;
    options.lock.owners = _owners;
    options.lock.work = indexer::Work::FRESH;
    options.lock.wait = [&](const indexer::IndexBusy&) {
        constexpr milliseconds PAUSE(20);
        check_stop();
        if (wanted == Wanted::IN_BACKGROUND || Clock::now() > last) return false;
        std::this_thread::sleep_for(PAUSE);
        return true;
    };
    options.listed = [&](const auto&) { check_stop(); };
    options.progress = [&](std::int64_t, std::int64_t) { check_stop(); };
    return indexer::index_repository(_root, options);
}

}  // namespace codetext::mcp
