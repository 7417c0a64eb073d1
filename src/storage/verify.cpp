#include "storage/verify.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <unordered_map>
#include <unordered_set>

#include "storage/chunk_store.hpp"
#include "storage/chunk_store/compressed/trigram_shard.hpp"
#include "storage/chunk_store/compressed/trigrams.hpp"
#include "storage/chunk_store/compressed/unchunked_files.hpp"

namespace codetext::schema {

using chunk_store::CHUNK_STRIDE;
using chunk_store::ChunkRow;
using chunk_store::COMPRESSED;
using chunk_store::COMPRESSED_TABLE;
using chunk_store::DamagedChunk;
using chunk_store::Layout;
using chunk_store::StoredText;
using chunk_store::TrigramCollector;
using chunk_store::TrigramQuery;
using chunk_store::perhaps_unchunked_files;

namespace {

class Verification {
  public:
    explicit Verification(const Database& db) : _db(db) {}

    std::vector<std::string> run() {
        check_database();
        // What SQLite finds damaged cannot be read any further.
        if (!_problems.empty()) return std::move(_problems);
        const auto store = chunk_store::layout(_db);
        if (!store) return std::move(_problems);
        check_strays(*store);
        if (*store == COMPRESSED) check_unchunked();
        _db.each(
            "SELECT id, path, text_on_disk FROM files ORDER BY id", {}, [&](const RowView& row) {
                check_file(*store, row.integer(0), std::string(row.text(1)), row.integer(2) == 1);
                return _problems.size() < MAX_PROBLEMS ? Visit::CONTINUE : Visit::STOP;
            });
        if (*store == COMPRESSED) check_trigrams();
        return std::move(_problems);
    }

  private:
    template <typename... Parts>
    void report(fmt::format_string<Parts...> format, Parts&&... parts) {
        if (_problems.size() < MAX_PROBLEMS) {
            _problems.push_back(fmt::format(format, std::forward<Parts>(parts)...));
        }
    }

    void check_database() {
        for (const Row& row : _db.fetchall("PRAGMA integrity_check")) {
            if (row.text(0) != "ok") report("SQLite: {}", row.text(0));
        }
    }

    void check_strays(Layout store) {
        const std::string sql = fmt::format(
            "SELECT count(*) FROM {} c WHERE NOT EXISTS "
            "(SELECT 1 FROM files f WHERE f.id = c.{} / {})",
            store == COMPRESSED ? COMPRESSED_TABLE : "code_chunks",
            store == COMPRESSED ? "id" : "rowid", CHUNK_STRIDE);
        const std::int64_t strays = _db.fetchone(sql)->integer(0);
        if (strays > 0) report("{} chunks belong to no file", strays);
    }

    // The other way round is no fault: the table says where to look.
    void check_unchunked() {
        const std::string sql = fmt::format(
            "SELECT count(*) FROM files f WHERE f.text_on_disk = 0 AND NOT EXISTS (SELECT 1 FROM "
            "chunks c WHERE c.id = f.id * {}) AND f.id NOT IN (SELECT f.id FROM {})",
            CHUNK_STRIDE, perhaps_unchunked_files(_db));
        const std::int64_t missed = _db.fetchone(sql)->integer(0);
        if (missed > 0) report("{} files without chunks are not known to be", missed);
    }

    std::vector<ChunkRow> rows_of(Layout store, std::int64_t first) {
        if (store == COMPRESSED) return chunk_store::file_rows(_db, first, first + CHUNK_STRIDE);
        std::vector<ChunkRow> rows;
        for (const Row& row :
             _db.fetchall("SELECT rowid, start_line, end_line, coalesce(exact, text) FROM "
                          "code_chunks WHERE rowid >= ? AND rowid < ? ORDER BY rowid",
                          {first, first + CHUNK_STRIDE})) {
            rows.push_back(
                {row.integer(0), row.integer(1), row.integer(2), StoredText(row.text(3)), false});
        }
        return rows;
    }

    void check_file(Layout store, std::int64_t file_id, const std::string& path, bool on_disk) {
        try {
            const std::int64_t first = file_id * CHUNK_STRIDE;
            const std::vector<ChunkRow> rows = rows_of(store, first);
            if (on_disk && !rows.empty()) report("{}: kept on disk, and has chunks", path);
            if (!on_disk && rows.empty()) report("{}: has no chunks yet", path);
            check_rows(rows, first, path);
            if (store == COMPRESSED) check_narrow_rows(rows, first, path);
        } catch (const DamagedChunk& damage) {
            report("{}: {}", path, damage.what());
        }
    }

    void check_rows(const std::vector<ChunkRow>& rows, std::int64_t first,
                    const std::string& path) {
        std::int64_t line = 1;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const ChunkRow& row = rows[i];
            const std::string_view text = row.text.view();
            const auto feeds = std::count(text.begin(), text.end(), '\n');
            const bool counts = row.end_line < row.start_line
                                    ? text.empty()
                                    : row.end_line - row.start_line == feeds;
            if (row.rowid != first + static_cast<std::int64_t>(i) || row.start_line != line ||
                !counts) {
                report("{}: chunk row {} is out of place", path, row.rowid);
            }
            line = row.end_line + 1;
            _chunks += 1;
            note_trigrams(row.rowid, text);
        }
    }

    void check_narrow_rows(const std::vector<ChunkRow>& rows, std::int64_t first,
                           const std::string& path) {
        std::size_t next = 0;
        bool same = true;
        _db.each("SELECT id, start_line, end_line FROM chunks WHERE id >= ? AND id < ? ORDER BY id",
                 {first, first + CHUNK_STRIDE}, [&](const RowView& row) {
                     same = same && next < rows.size() && rows[next].rowid == row.integer(0) &&
                            rows[next].start_line == row.integer(1) &&
                            rows[next].end_line == row.integer(2);
                     ++next;
                     return Visit::CONTINUE;
                 });
        if (!same || next != rows.size()) report("{}: its chunk rows and frames differ", path);
    }

    // Trigrams are compared by sampling chunks: reading every list for every chunk would take too
    // long.
    void note_trigrams(std::int64_t rowid, std::string_view text) {
        constexpr std::int64_t EVERY = 64;
        constexpr std::size_t MAX_SAMPLES = 2048;
        if (_chunks % EVERY != 1 || _samples.size() >= MAX_SAMPLES) return;
        std::vector<std::uint32_t>& trigrams = _samples[rowid];
        _collector.append(text, trigrams);
    }

    void check_trigrams() {
        try {
            compare_samples();
        } catch (const DamagedChunk& damage) {
            report("{}", damage.what());
        }
    }

    void compare_samples() {
        std::unordered_map<std::uint32_t, std::vector<std::int64_t>> wanted;
        for (const auto& [rowid, trigrams] : _samples) {
            for (const std::uint32_t trigram : trigrams) wanted[trigram].push_back(rowid);
        }
        std::unordered_set<std::int64_t> missing;
        for (const auto& [trigram, rowids] : wanted) {
            const auto found = chunk_store::candidate_rowids(_db, TrigramQuery{{trigram}});
            for (const std::int64_t rowid : rowids) {
                if (!std::binary_search(found->begin(), found->end(), rowid)) missing.insert(rowid);
            }
        }
        for (const std::int64_t rowid : missing) {
            report("the trigram index does not lead to chunk row {}", rowid);
        }
    }

    const Database& _db;
    std::vector<std::string> _problems;
    TrigramCollector _collector;
    std::unordered_map<std::int64_t, std::vector<std::uint32_t>> _samples;
    std::int64_t _chunks = 0;
};

}  // namespace

std::vector<std::string> verify(const Database& db) { return Verification(db).run(); }

}  // namespace codetext::schema
