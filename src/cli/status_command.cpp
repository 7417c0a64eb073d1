#include "cli/status_command.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/escaped.hpp"
#include "cli/existing_index.hpp"
#include "cli/exit_status.hpp"
#include "cli/output.hpp"
#include "cli/repository.hpp"
#include "cli/times.hpp"
#include "cli/waiting.hpp"
#include "indexer/run/preview.hpp"
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

void print_overview(const Database& db, const std::filesystem::path& root, schema::Owners owners) {
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
}

/// The first few paths, a line each.
void print_paths(std::string_view what, const std::vector<std::string>& paths) {
    constexpr std::size_t MOST = 5;
    const std::size_t shown = std::min(paths.size(), MOST);
    for (std::size_t i = 0; i < shown; ++i) {
        print_line(fmt::format("{:<16}{}", what, quoted_path(paths[i])));
    }
    if (shown < paths.size()) {
        print_line(fmt::format("{:<16}and {} more", what, paths.size() - shown));
    }
}

void print_changes(const indexer::PendingChanges& changes) {
    for (const std::string& warning : changes.warnings) report(warning);
    if (changes.is_older) return print_line("a run would upgrade the index first");
    if (changes.none()) return print_line("up to date");
    print_line(fmt::format("a run would find {} new, {} changed, {} gone", changes.new_files.size(),
                           changes.changed.size(), changes.gone.size()));
    print_paths("new", changes.new_files);
    print_paths("changed", changes.changed);
    print_paths("gone", changes.gone);
}

}  // namespace

Command status_command(StatusArguments& arguments) {
    Command command =
        repository_command("status", "Say what the index holds", arguments.repository);
    command.options = {{0, "check", "", "Options",
                        "Say what a run of `codetext index` would find; write nothing",
                        Flag{&arguments.check}}};
    command.notes =
        "Exit status: 0; 1 when --check has found that the index is not up to date;\n"
        "2 for an error.";
    return command;
}

int status_main(const StatusArguments& arguments, schema::Owners owners) {
    const std::filesystem::path root = find_root(arguments.repository.path());
    Database db = open_existing_index(root, owners);
    if (!arguments.check) {
        print_overview(db, root, owners);
        return SUCCESS;
    }
    const indexer::PendingChanges changes = indexer::pending_changes(db, root);
    print_changes(changes);
    return changes.none() ? SUCCESS : NOTHING;
}

}  // namespace codetext::cli
