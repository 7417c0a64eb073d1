#include "indexer/status.hpp"

#include <filesystem>
#include <system_error>

#include "indexer/plan/change_plan.hpp"
#include "storage/chunk_store.hpp"
#include "storage/schema.hpp"

namespace codetext::indexer {
namespace {

std::int64_t number(const Database& db, std::string_view sql, std::string_view parameter) {
    return db.fetchone(sql, {parameter})->integer(0);
}

void count_files(const Database& db, IndexStatus& status) {
    const Row row = *db.fetchone(
        "SELECT count(*), coalesce(sum(size), 0), coalesce(sum(text_on_disk), 0), "
        "coalesce(sum(size * text_on_disk), 0) FROM files");
    status.files = row.integer(0);
    status.file_bytes = row.integer(1);
    status.kept_on_disk = row.integer(2);
    status.kept_on_disk_bytes = row.integer(3);
}

void count_chunks(const Database& db, IndexStatus& status) {
    const std::optional<chunk_store::Layout> layout = chunk_store::layout(db);
    status.layout = layout ? layout->name : "none";
    if (!layout) {
        status.without_chunks = status.files - status.kept_on_disk;
        return;
    }
    status.chunks = chunk_store::chunk_count(db, *layout);
    status.without_chunks =
        static_cast<std::int64_t>(chunk_store::files_without_chunks(db, *layout).size());
}

/// An index of 3.1.0 has no such table.
bool has_skipped_files(const Database& db) {
    return number(db, "SELECT count(*) FROM sqlite_master WHERE name = ?", "skipped_files") > 0;
}

void count_skipped(const Database& db, IndexStatus& status) {
    if (!has_skipped_files(db)) return;
    constexpr std::string_view SQL = "SELECT count(*) FROM skipped_files WHERE reason = ?";
    status.binary_files = number(db, SQL, SKIPPED_BINARY);
    status.unreadable_files = number(db, SQL, SKIPPED_UNREADABLE);
}

std::int64_t size_of(const std::filesystem::path& path) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    return error ? 0 : static_cast<std::int64_t>(size);
}

}  // namespace

std::vector<LanguageShare> languages_of(const Database& db) {
    std::vector<LanguageShare> shares;
    for (const Row& row : db.fetchall("SELECT language, count(*), sum(size) FROM files "
                                      "GROUP BY language ORDER BY 2 DESC, 3 DESC, 1")) {
        shares.push_back({row.text(0), row.integer(1), row.integer(2)});
    }
    return shares;
}

void each_skipped_file(
    const Database& db,
    const std::function<void(std::string_view path, std::string_view reason)>& visit) {
    if (!has_skipped_files(db)) return;
    db.each("SELECT path, reason FROM skipped_files ORDER BY path", {}, [&](const RowView& row) {
        visit(row.text(0), row.text(1));
        return Visit::CONTINUE;
    });
}

IndexStatus index_status(const Database& db) {
    IndexStatus status;
    status.schema_version = schema::version(db);
    count_files(db, status);
    count_chunks(db, status);
    count_skipped(db, status);
    std::filesystem::path log = db.db_path();
    log += "-wal";
    status.database_bytes = size_of(db.db_path()) + size_of(log);
    return status;
}

}  // namespace codetext::indexer
