// From the bottom up: SQLite's own check of its trees, then each file's rows, then what must agree
// between tables, then a sample of the trigram index. Damage in one part is reported, and what
// can still be relied on is looked at, so that one run names as much as it can.
//
// What is wrong is counted twice: in all, and within the rows of single files. If the two are the
// same, a repair need only read those files again.

#include "storage/verify.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <unordered_map>
#include <unordered_set>

#include "storage/chunk_store.hpp"
#include "storage/chunk_store/compressed/shard_list.hpp"
#include "storage/chunk_store/compressed/tables.hpp"
#include "storage/chunk_store/compressed/trigrams.hpp"
#include "storage/chunk_store/compressed/unchunked_files.hpp"
#include "storage/chunk_store/limits.hpp"
#include "storage/schema.hpp"
#include "utils/path_below.hpp"

namespace codetext::schema {

using chunk_store::ChunkRow;
using chunk_store::COMPRESSED;
using chunk_store::DamagedChunk;
using chunk_store::Layout;
using chunk_store::TrigramCollector;
using chunk_store::TrigramQuery;

namespace {

class Verification {
  public:
    explicit Verification(const Database& db) : _db(db) {}

    Findings run() {
        _check_all();
        return {std::move(_problems), std::move(_hurt_files), _reported > _reported_of_files};
    }

  private:
    void _check_all() {
        _guard("the index", [&] { _check_database(); });
        // SQLite names pages; a user knows tables and files, so these are looked through one by
        // one.
        const bool is_damaged = _reported > 0;
        if (is_damaged) _guard("the schema", [&] { _name_tables(); });
        std::optional<Layout> layout;
        _guard("the schema", [&] { layout = chunk_store::layout(_db); });
        if (!layout) return;
        _guard("files", [&] { _check_files(*layout); });
        // Where SQLite finds damage, comparing tables tells nothing reliable.
        if (is_damaged) return;
        _guard("the chunks", [&] { _check_strays(*layout); });
        if (*layout != COMPRESSED) return;
        _guard("unchunked_files", [&] { _check_unchunked(); });
        _guard("the trigram index", [&] {
            chunk_store::check_shards(_db);
            _compare_samples();
        });
    }

    template <typename... Parts>
    void _report(fmt::format_string<Parts...> format, Parts&&... parts) {
        ++_reported;
        if (_problems.size() < MAX_PROBLEMS) {
            _problems.push_back(fmt::format(format, std::forward<Parts>(parts)...));
        }
    }

    /// Reports damage that `check` meets as that of `what`.
    template <typename Check>
    void _guard(std::string_view what, const Check& check) {
        try {
            check();
        } catch (const DamagedChunk& damage) {
            _report("{}: {}", what, damage.what());
        } catch (const DatabaseError& error) {
            const bool is_none = error.kind() == DatabaseError::Kind::NOT_A_DATABASE;
            if (!error.is_damage() && !is_none) throw;
            _report("{}: {}", what, error.what());
        }
    }

    void _check_database() {
        for (const Row& row : _db.fetchall("PRAGMA integrity_check(20)")) {
            if (row.text(0) != "ok") _report("SQLite: {}", row.text(0));
        }
    }

    void _name_tables() {
        for (const Row& table :
             _db.fetchall("SELECT name FROM sqlite_master WHERE type = 'table' AND rootpage > 0")) {
            const std::string what = fmt::format("the table {}", table.text(0));
            _guard(what, [&] {
                const auto row =
                    _db.fetchone(fmt::format("PRAGMA integrity_check(\"{}\")", table.text(0)));
                if (row->text(0) != "ok") _report("{} is damaged", what);
            });
        }
    }

    void _check_files(Layout layout) {
        // A damaged tree may give the same rows again and again.
        chunk_store::Ascending order("file");
        _db.each(
            "SELECT id, path, text_on_disk FROM files ORDER BY id", {}, [&](const RowView& row) {
                order.take(row.integer(0));
                const std::int64_t reported = _reported;
                const std::string path = _checked_path(row.integer(0), row.text(1));
                _guard(path,
                       [&] { _check_file(layout, row.integer(0), path, row.integer(2) == 1); });
                if (_reported > reported) _hurt_files.push_back(row.integer(0));
                _reported_of_files += _reported - reported;
                return Visit::CONTINUE;
            });
    }

    /// The path to name the file by.
    std::string _checked_path(std::int64_t file_id, std::string_view path) {
        if (path.size() <= chunk_store::MAX_PATH_BYTES && is_path_below(path)) {
            return std::string(path);
        }
        _report("file {}: its path leads out of the repository", file_id);
        return fmt::format("file {}", file_id);
    }

    void _check_strays(Layout layout) {
        const std::int64_t strays = chunk_store::stray_chunk_count(_db, layout);
        if (strays > 0) _report("{} chunks belong to no file", strays);
    }

    // A file that is listed and has its chunks is no fault: the table only says where to look.
    void _check_unchunked() {
        const std::int64_t unlisted = chunk_store::unlisted_unchunked_count(_db);
        if (unlisted > 0) _report("{} files without chunks are not listed as such", unlisted);
    }

    void _check_file(Layout layout, std::int64_t file_id, const std::string& path, bool on_disk) {
        const auto [first, end] = chunk_store::file_rowids(file_id);
        const std::vector<ChunkRow> rows =
            chunk_store::stored_rows(_db, layout, first, end, _dictionaries);
        if (on_disk && !rows.empty()) _report("{}: kept on disk, and has chunks", path);
        if (!on_disk && rows.empty()) _report("{}: has no chunks yet", path);
        _check_rows(rows, first, path);
        if (layout == COMPRESSED &&
            !chunk_store::compressed::narrow_rows_agree(_db, file_id, rows)) {
            _report("{}: its chunk rows and frames differ", path);
        }
    }

    void _check_rows(const std::vector<ChunkRow>& rows, std::int64_t first,
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
                _report("{}: chunk row {} is out of place", path, row.rowid);
            }
            line = row.end_line + 1;
            _chunks += 1;
            _note_trigrams(row.rowid, text);
        }
    }

    // A sample of the chunks is compared with the trigram index: every list for every chunk would
    // take too long.
    void _note_trigrams(std::int64_t rowid, std::string_view text) {
        constexpr std::int64_t EVERY = 64;
        constexpr std::size_t MAX_SAMPLES = 2048;
        if (_chunks % EVERY != 1 || _samples.size() >= MAX_SAMPLES) return;
        if (text.size() > _sample_bytes_left) return;
        _sample_bytes_left -= text.size();
        std::vector<std::uint32_t>& trigrams = _samples[rowid];
        _collector.append(text, trigrams);
    }

    void _compare_samples() {
        std::unordered_map<std::uint32_t, std::vector<std::int64_t>> wanted;
        for (const auto& [rowid, trigrams] : _samples) {
            for (const std::uint32_t trigram : trigrams) wanted[trigram].push_back(rowid);
        }
        std::unordered_set<std::int64_t> missing;
        for (const auto& [trigram, rowids] : wanted) {
            // One by one: of a query with several trigrams only the rarest are asked.
            const auto found = chunk_store::candidates(_db, TrigramQuery{{trigram}});
            const std::span<const std::int64_t> named = found.rowids();
            for (const std::int64_t rowid : rowids) {
                if (!std::binary_search(named.begin(), named.end(), rowid)) missing.insert(rowid);
            }
        }
        for (const std::int64_t rowid : missing) {
            _report("the trigram index does not lead to chunk row {}", rowid);
        }
    }

    const Database& _db;
    chunk_store::DictionariesHandle _dictionaries = chunk_store::make_dictionaries();
    std::vector<std::string> _problems;
    std::vector<std::int64_t> _hurt_files;
    std::int64_t _reported = 0;           ///< problems, those past MAX_PROBLEMS too
    std::int64_t _reported_of_files = 0;  ///< of these, those of files' own rows
    TrigramCollector _collector;
    std::unordered_map<std::int64_t, std::vector<std::uint32_t>> _samples;
    std::size_t _sample_bytes_left = 8 << 20;  ///< chunks are some kilobytes each
    std::int64_t _chunks = 0;
};

}  // namespace

Findings find_damage(const Database& db) { return Verification(db).run(); }

std::vector<std::string> verify(const Database& db) { return find_damage(db).problems; }

std::vector<std::string> page_problems(const PageCheck& check) {
    std::vector<std::string> problems;
    if (check.is_cut) problems.emplace_back("the file is shorter than its header says");
    for (const std::int64_t page : check.damaged) {
        problems.push_back(
            fmt::format("page {} of {} does not match its checksum", page, check.pages));
    }
    const auto unnamed = check.damaged_pages - std::ssize(check.damaged);
    if (unnamed > 0) problems.push_back(fmt::format("{} more pages do not match", unnamed));
    return problems;
}

std::vector<std::string> verify_file(const std::filesystem::path& path) {
    return find_damage_in_file(path).problems;
}

Findings find_damage_in_file(const std::filesystem::path& path) {
    check_database_files(path);
    // Before the database is opened: check_pages must have the file alone in this process.
    std::vector<std::string> problems = page_problems(check_pages(path));
    try {
        const Database db = open_index(path, Access::READ_ONLY);
        check_filled(db);
        Findings found = find_damage(db);
        found.is_beyond_files = found.is_beyond_files || !problems.empty();
        found.problems.insert(found.problems.begin(), problems.begin(), problems.end());
        return found;
    } catch (const DatabaseError& error) {
        if (problems.empty() && !error.is_damage()) throw;
        problems.emplace_back(error.what());
    } catch (const UnusableIndex& unusable) {
        if (problems.empty()) throw;
        problems.emplace_back(unusable.what());
    }
    return {std::move(problems), {}, true};
}

}  // namespace codetext::schema
