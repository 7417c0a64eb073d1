#include "cli/fresh_index.hpp"

#include <fmt/format.h>

#include <chrono>
#include <stdexcept>
#include <thread>

#include "cli/existing_index.hpp"
#include "indexer/watch/patient_run.hpp"
#include "indexer/watch/request.hpp"

namespace codetext::cli {

void make_fresh(const std::filesystem::path& root, schema::Owners owners) {
    check_index(root, owners);
    constexpr std::chrono::minutes LONGEST(1);
    const auto end = std::chrono::steady_clock::now() + LONGEST;
    try {
        if (indexer::ask_watcher(root, owners)) return;
        indexer::IndexOptions options;
        options.owners = owners;
        indexer::index_patiently(root, options, [&](std::chrono::milliseconds pause) {
            std::this_thread::sleep_for(pause);
            return std::chrono::steady_clock::now() < end;
        });
    } catch (const std::exception& error) {
        throw std::runtime_error(
            fmt::format("--fresh: the index cannot be refreshed: {}", error.what()));
    }
}

}  // namespace codetext::cli
