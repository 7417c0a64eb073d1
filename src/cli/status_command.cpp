#include "cli/status_command.hpp"

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <string>

#include "cli/existing_index.hpp"
#include "cli/output.hpp"
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

}  // namespace

Command status_command(RepositoryArguments& arguments) {
    return repository_command("status", "Say what the index holds", arguments);
}

int status_main(const RepositoryArguments& arguments, schema::Owners owners) {
    const Database db = open_existing_index(find_root(arguments.path()), owners);
    const indexer::IndexStatus status = indexer::index_status(db);
    print_line(fmt::format("index           {}", db.db_path().string()));
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
