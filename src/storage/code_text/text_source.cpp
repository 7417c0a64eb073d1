#include "storage/code_text/text_source.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "storage/chunk_store/inventory.hpp"
#include "storage/code_text/candidate_chunks.hpp"

namespace codetext::code_text {

namespace {

constexpr std::string_view NO_TEXT_TABLE =
    "read from the files on disk: this index has no table of the files' text";

// One statement for both answers: they are of one snapshot, also for a caller without a
// transaction.
std::string state_statement(chunk_store::Layout store) {
    return fmt::format(
        "SELECT (SELECT COUNT(*) {}), (SELECT group_concat(id) FROM files WHERE text_on_disk = 1)",
        chunk_store::from_files_without_chunks(store));
}

/// The decimal numbers of a text in which "," separates them; empty pieces are dropped.
FileIds parse_ids(std::string_view joined) {
    FileIds ids;
    while (!joined.empty()) {
        const std::size_t end = std::min(joined.find(','), joined.size());
        const std::string_view part = joined.substr(0, end);
        joined.remove_prefix(std::min(end + 1, joined.size()));
        if (part.empty()) continue;
        std::int64_t id = 0;
        const auto [stop, error] = std::from_chars(part.data(), part.data() + part.size(), id);
        if (error != std::errc() || stop != part.data() + part.size()) {
            throw std::invalid_argument(fmt::format("not a file id: {}", part));
        }
        ids.insert(id);
    }
    return ids;
}

}  // namespace

void limit_text(TextSource& source, std::size_t bytes) {
    std::visit([&](auto& text) { text.limit_text(bytes); }, source);
}

SegmentList segments(TextSource& source, std::int64_t file_id, const std::string& path) {
    return std::visit([&](auto& text) { return text.segments(file_id, path); }, source);
}

bool reads_disk(const TextSource& source, std::int64_t file_id) {
    const auto* chunks = std::get_if<ChunkText>(&source);
    return chunks == nullptr || chunks->keeps_on_disk(file_id);
}

Lines lines(TextSource& source, std::int64_t file_id, const std::string& path) {
    return std::visit([&](auto& text) { return text.lines(file_id, path); }, source);
}

std::filesystem::path repository_root(const Database& db) {
    return db.db_path().parent_path().parent_path().parent_path();
}

ChunkState _chunk_state(const Database& db, chunk_store::Layout store) {
    const std::optional<Row> row = db.fetchone(state_statement(store));
    if (!row) return {0, std::make_shared<const FileIds>()};
    const std::string joined = row->is_null(1) ? "" : row->text(1);
    return {row->integer(0), std::make_shared<const FileIds>(parse_ids(joined))};
}

SourceChoice text_source(const Database& db, std::span<const FileRow> files,
                         const std::optional<std::string>& needle, bool case_sensitive,
                         std::optional<chunk_store::Layout> store,
                         const std::optional<chunk_store::Candidates>& asked, FileReader read) {
    DiskText disk(repository_root(db), needle, case_sensitive, std::move(read));
    if (!store) return {std::move(disk), std::string(NO_TEXT_TABLE)};
    auto [unchunked, on_disk] = _chunk_state(db, *store);
    // One file without its chunks, and the whole search reads the disk: an index that knows a part
    // of the text would miss matches without a word.
    if (unchunked != 0) {
        const std::string reason = fmt::format(
            "{} indexed file(s) have no chunks yet (the next index pass parses them)", unchunked);
        return {std::move(disk), "read from the files on disk: " + reason};
    }
    CandidateChunks candidates =
        _candidate_chunks(db, *store, files, needle, case_sensitive, asked);
    return {ChunkText(db, *store, std::move(candidates), std::move(disk), std::move(on_disk)),
            std::nullopt};
}

}  // namespace codetext::code_text
