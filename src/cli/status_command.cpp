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
#include "cli/status_report.hpp"
#include "cli/times.hpp"
#include "cli/waiting.hpp"
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
void print_freshness(const StatusReport& report) {
    print_line("indexed         " + shown_time(report.indexed_at_ns));
    if (!report.is_watched) return;
    print_line("watched         by " +
               (report.watcher ? described(*report.watcher) : "another process"));
}

void print_overview(const StatusReport& report) {
    const indexer::IndexStatus& status = report.status;
    print_line(fmt::format("index           {}", report.index.string()));
    for (const std::filesystem::path& other : report.above) {
        print_line(
            fmt::format("also            {} (an index above; --root chooses it)", other.string()));
    }
    print_freshness(report);
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
    if (changes.is_older) return print_line("a run would upgrade the index first");
    if (changes.none()) return print_line("up to date");
    print_line(fmt::format("a run would find {} new, {} changed, {} gone", changes.new_files.size(),
                           changes.changed.size(), changes.gone.size()));
    print_paths("new", changes.new_files);
    print_paths("changed", changes.changed);
    print_paths("gone", changes.gone);
}

void print_languages(const Database& db) {
    for (const indexer::LanguageShare& share : indexer::languages_of(db)) {
        const std::string name = share.language.empty() ? "unknown" : share.language;
        print_line(
            fmt::format("{:<16}{} files, {}", name, share.files, readable_bytes(share.bytes)));
    }
}

void print_skipped(const Database& db) {
    indexer::each_skipped_file(db, [](std::string_view path, std::string_view reason) {
        print_line(fmt::format("{:<16}{}", reason, quoted_path(std::string(path))));
    });
}

void print_text(const StatusArguments& arguments, const Database& db, const StatusReport& report) {
    if (!arguments.check && !arguments.languages && !arguments.skipped) print_overview(report);
    if (arguments.check) print_changes(*report.pending);
    if (arguments.languages) print_languages(db);
    if (arguments.skipped) print_skipped(db);
}

}  // namespace

Command status_command(StatusArguments& arguments) {
    Command command =
        repository_command("status", "Say what the index holds", arguments.repository);
    command.options = {
        {0, "check", "", "Options", "Say what a run of `codetext index` would find; write nothing",
         Flag{&arguments.check}},
        {0, "languages", "", "Options", "Files and bytes by language, most files first",
         Flag{&arguments.languages}},
        {0, "skipped", "", "Options",
         "The files that are not searched, and why, as the last run found them",
         Flag{&arguments.skipped}},
        {0, "json", "", "Options",
         "Everything as one JSON object; what takes a look at the files only with --check",
         Flag{&arguments.json}},
    };
    command.notes =
        "Exit status: 0; 1 when --check has found that the index is not up to date;\n"
        "2 for an error.";
    return command;
}

int status_main(const StatusArguments& arguments, const WhichIndex& which) {
    const std::filesystem::path root = which.root_for(arguments.repository);
    Database db = open_existing_index(root, which.owners());
    StatusReport found = status_report(db, root, which.owners());
    if (arguments.check) {
        found.pending = indexer::pending_changes(db, root);
        for (const std::string& warning : found.pending->warnings) report(warning);
    }
    if (arguments.json) {
        fmt::print("{}\n", status_json(found, db));
    } else {
        print_text(arguments, db, found);
    }
    return found.pending && !found.pending->none() ? NOTHING : SUCCESS;
}

}  // namespace codetext::cli
