#include "cli/status_command.hpp"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "cli/existing_index.hpp"
#include "cli/repository.hpp"
#include "indexer/status.hpp"

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

void run(const std::filesystem::path& path) {
    const Database db = open_index(find_root(path));
    const indexer::IndexStatus status = indexer::index_status(db);
    fmt::print("index           {}\n", db.db_path().string());
    fmt::print("schema          {}\n", status.schema_version);
    fmt::print("layout          {}\n", status.layout);
    fmt::print("database        {}\n", readable_bytes(status.database_bytes));
    fmt::print("files           {} ({})\n", status.files, readable_bytes(status.file_bytes));
    fmt::print("chunks          {}\n", status.chunks);
    fmt::print("kept on disk    {} ({})\n", status.kept_on_disk,
               readable_bytes(status.kept_on_disk_bytes));
    fmt::print("without chunks  {}\n", status.without_chunks);
    fmt::print("skipped         {} binary, {} unreadable\n", status.binary_files,
               status.unreadable_files);
}

}  // namespace

void add_status_command(CLI::App& app, int& exit_status) {
    auto path = std::make_shared<std::string>(".");
    CLI::App* command = app.add_subcommand("status", "Say what the index holds");
    command->add_option("PATH", *path, "A directory of the repository (default: .)")->type_name("");
    command->callback([path, &exit_status] {
        run(*path);
        exit_status = 0;
    });
}

}  // namespace codetext::cli
