#pragma once

// Keeps the index of a repository fresh: refreshes it whenever files have changed, until it is told
// to stop.
//
//   WatchOptions options;
//   options.stop = stop.number();
//   options.refreshed = [&](const auto& report, auto) { print(report.files, report.new_files); };
//   watch_repository(root, options);

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "indexer/run/index_run.hpp"
#include "indexer/watch/inotify.hpp"
#include "storage/index_directory.hpp"

namespace codetext::indexer {

struct WatchOptions {
    schema::Owners owners = schema::Owners::TRUSTED;  ///< of an index that is there
    int stop = -1;  ///< a descriptor: once it is readable, the watcher ends
    /// After each run, with the time that it took.
    std::function<void(const IndexReport&, std::chrono::steady_clock::duration)> refreshed;
    /// When the directories are watched, with their number.
    std::function<void(std::size_t directories)> watching;
    /// What went wrong while the watcher goes on: one line.
    std::function<void(const std::string&)> troubled;
    std::function<void(std::int64_t done, std::int64_t total)>
        progress;  ///< as IndexOptions has it
    Inotify::Limits limits = {};
};

/// Makes or refreshes the index of the repository at `root`, which is canonical, and watches it.
/// Returns when it is told to stop: at once, and in a run of the indexer after the file that is
/// being read. While another run of the indexer is going on it waits. Where the system cannot
/// watch, or not so many directories, it says so and refreshes the index every few seconds.
///
/// Throws what index_repository throws in the first run; later such failures are reported, and the
/// run is tried again after growing pauses. Throws std::runtime_error when another watcher is
/// running, or the repository or its index goes away.
void watch_repository(const std::filesystem::path& root, const WatchOptions& options);

}  // namespace codetext::indexer
