#include "cli/fresh_index.hpp"

#include <fmt/format.h>

#include <chrono>
#include <stdexcept>
#include <thread>

#include "cli/existing_index.hpp"
#include "indexer/run/index_run.hpp"
#include "indexer/watch/request.hpp"

namespace codetext::cli {

void make_fresh(const std::filesystem::path& root, schema::Owners owners) {
    check_index(root, owners);
    constexpr std::chrono::minutes LONGEST(1);
    const auto end = std::chrono::steady_clock::now() + LONGEST;
    try {
        if (indexer::ask_watcher(root, owners)) return;
        indexer::IndexOptions options;
        options.lock.owners = owners;
        options.lock.work = indexer::Work::FRESH;
        options.lock.wait = [&](const indexer::IndexBusy&) {
            constexpr std::chrono::milliseconds PAUSE(20);
            std::this_thread::sleep_for(PAUSE);
            return std::chrono::steady_clock::now() < end;
        };
        indexer::index_repository(root, options);
    } catch (const std::exception& error) {
        throw std::runtime_error(
            fmt::format("--fresh: the index cannot be refreshed: {}", error.what()));
    }
}

}  // namespace codetext::cli
