#include "cli/status_command.hpp"

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "cli/existing_index.hpp"
#include "cli/output.hpp"
#include "cli/repository.hpp"
#include "cli/times.hpp"
#include "cli/waiting.hpp"
#include "indexer/status.hpp"
#include "indexer/watch/watcher_lock.hpp"
#include "storage/indexed_at.hpp"
#include "utils/wall_clock.hpp"

namespace codetext::cli {
namespace {

/// A size for people: 1536 bytes are "1.5 KiB".
std::string readable_bytes(std::int64_t bytes) {
    constexpr std::array UNITS = {"KiB", "MiB", "GiB", "TiB"};
    constexpr double STEP = 1024;
    if (bytes < static_cast<std::int64_t>(STEP)) return fmt::format("{} bytes", bytes);
    double size = static_cast<double>(bytes) / STEP;
    std::size_t unit = 0;
    while (size >= STEP && unit + 1 < UNITS.size()) {
        size /= STEP;
        ++unit;
    }
    return fmt::format("{:.1f} {}", size, UNITS[unit]);
}

std::string shown_time(std::optional<std::int64_t> time_ns) {
    if (!time_ns) return "at an unknown time";
    return fmt::format("{} ({})", local_time(*time_ns / NS_PER_S),
                       age((now_ns() - *time_ns) / NS_PER_S));
}

/// How far the index can be relied on.
void print_freshness(const std::filesystem::path& root, schema::Owners owners) {
    print_line(fmt::format("indexed         {}", shown_time(schema::indexed_at(root, owners))));
    const indexer::WatcherSight watcher(root, owners);
    if (!watcher.lives()) return;
    const auto holder = watcher.holder();
    print_line("watched         by " + (holder ? described(*holder) : "another process"));
}

}  // namespace

Command status_command(RepositoryArguments& arguments) {
    return repository_command("status", "Say what the index holds", arguments);
}

int status_main(const RepositoryArguments& arguments, schema::Owners owners) {
    const std::filesystem::path root = find_root(arguments.path());
    const Database db = open_existing_index(root, owners);
    const indexer::IndexStatus status = indexer::index_status(db);
    print_line(fmt::format("index           {}", db.db_path().string()));
    print_freshness(root, owners);
    print_line(fmt::format("schema          {}", status.schema_version));
    print_line(fmt::format("layout          {}", status.layout));
    print_line(fmt::format("database        {}", readable_bytes(status.database_bytes)));
    print_line(
        fmt::format("files           {} ({})", status.files, readable_bytes(status.file_bytes)));
    print_line(fmt::format("chunks          {}", status.chunks));
    print_line(fmt::format("kept on disk    {} ({})", status.kept_on_disk,
                           readable_bytes(status.kept_on_disk_bytes)));
    print_line(fmt::format("without chunks  {}", status.without_chunks));
    print_line(fmt::format("skipped         {} binary, {} unreadable", status.binary_files,
                           status.unreadable_files));
    return 0;
}

}  // namespace codetext::cli
