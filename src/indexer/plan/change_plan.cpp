#include "indexer/plan/change_plan.hpp"

#include <algorithm>
#include <utility>

#include "indexer/plan/language.hpp"
#include "storage/chunk_store/inventory.hpp"
#include "storage/chunk_store/limits.hpp"

// Comparing two lists. The files of the repository ascend by path; the rows of the index come in
// the order of their ids, which is the order of paths within each run that added files. So a row's
// path is looked for first after the last path found, which makes the comparison a merge, and only
// then by binary search. The files that no row has named are the new ones. O(n) for n files when
// the orders agree, O(n log n) in the worst case.

namespace codetext::indexer {
namespace {

/// Finds paths in an ascending list: at once when they are asked for in its order.
class PathFinder {
  public:
    explicit PathFinder(const std::vector<FileEntry>& files) : _files(&files) {}

    std::optional<std::size_t> find(std::string_view path) {
        if (_next < _files->size() && (*_files)[_next].path == path) return _next++;
        const auto at = std::lower_bound(
            _files->begin(), _files->end(), path,
            [](const FileEntry& file, std::string_view wanted) { return file.path < wanted; });
        if (at == _files->end() || at->path != path) return std::nullopt;
        const auto index = static_cast<std::size_t>(at - _files->begin());
        _next = index + 1;
        return index;
    }

  private:
    const std::vector<FileEntry>* _files;
    std::size_t _next = 0;
};

/// The stamp in the columns from `column` on: size, mtime_ns, ctime_ns, inode.
FileStamp stamp_in(const RowView& row, std::size_t column) {
    return {.size = row.integer(column),
            .mtime_ns = row.integer(column + 1),
            .ctime_ns = row.integer(column + 2),
            .inode = row.integer(column + 3)};
}

class Planner {
  public:
    Planner(const Database& db, chunk_store::Layout layout, std::vector<FileEntry> files,
            Trust trust)
        : _db(db), _trust(trust), _files(std::move(files)), _seen(_files.size(), false) {
        _without_chunks = chunk_store::files_without_chunks(db, layout);
    }

    ChangePlan plan() {
        _compare_files();
        _compare_skipped();
        for (std::size_t index = 0; index < _files.size(); ++index) {
            if (!_seen[index]) _plan(index, std::nullopt, std::nullopt);
        }
        return std::move(_result);
    }

  private:
    void _compare_files() {
        PathFinder finder(_files);
        _db.each(
            "SELECT id, path, language, content_hash, text_on_disk, size, mtime_ns, ctime_ns, "
            "inode "
            "FROM files "
            "ORDER BY id",
            {}, [&](const RowView& row) {
                const std::optional<std::size_t> index = finder.find(row.text(1));
                if (index) {
                    _compare(*index, row);
                } else {
                    _result.gone.push_back(row.integer(0));
                }
                return Visit::CONTINUE;
            });
    }

    void _compare(std::size_t index, const RowView& row) {
        _seen[index] = true;
        KnownFile known{.id = row.integer(0),
                        .stamp = stamp_in(row, 5),
                        .content_hash = row.integer(3),
                        .text_on_disk = row.integer(4) != 0};
        // Without chunks: an earlier run did not get to it, or a repair has dropped them.
        known.text_is_stored = !std::ranges::binary_search(_without_chunks, known.id);
        known.language_is_current = row.text(2) == language_of(_files[index].path);
        if (known.text_is_stored && known.language_is_current && _is_trusted(known.stamp, index)) {
            ++_result.unchanged;
            _result.unchanged_kept_on_disk += known.text_on_disk ? 1 : 0;
        } else {
            _plan(index, known, std::nullopt);
        }
    }

    void _compare_skipped() {
        PathFinder finder(_files);
        chunk_store::DatabaseLimit size(_db);
        _db.each(
            "SELECT path, reason, size, mtime_ns, ctime_ns, inode FROM skipped_files ORDER BY path",
            {}, [&](const RowView& row) {
                size.take(row.text(0).size());
                const std::optional<std::size_t> index = finder.find(row.text(0));
                if (index && !_seen[*index]) {
                    _compare_skipped(*index, {std::string(row.text(1)), stamp_in(row, 2)});
                } else {
                    _result.gone_skipped.emplace_back(row.text(0));
                }
                return Visit::CONTINUE;
            });
    }

    void _compare_skipped(std::size_t index, SkippedFile skipped) {
        _seen[index] = true;
        if (skipped.reason == SKIPPED_BINARY && _is_trusted(skipped.stamp, index)) {
            ++_result.unchanged_binary;
        } else {
            _plan(index, std::nullopt, std::move(skipped));
        }
    }

    bool _is_trusted(const FileStamp& stamp, std::size_t index) const {
        return _trust == Trust::STAMPS && is_unchanged(stamp, _files[index].stamp);
    }

    void _plan(std::size_t index, std::optional<KnownFile> known,
               std::optional<SkippedFile> skipped) {
        FileEntry& file = _files[index];
        // The list keeps the path: later rows are still looked up in it.
        _result.to_read.push_back({file, language_of(file.path), known, std::move(skipped)});
    }

    const Database& _db;
    Trust _trust;
    std::vector<FileEntry> _files;
    std::vector<bool> _seen;  ///< for each file: a row of either table has its path
    std::vector<std::int64_t> _without_chunks;
    ChangePlan _result;
};

}  // namespace

ChangePlan plan_changes(const Database& db, chunk_store::Layout layout,
                        std::vector<FileEntry> files, Trust trust) {
    return Planner(db, layout, std::move(files), trust).plan();
}

}  // namespace codetext::indexer
