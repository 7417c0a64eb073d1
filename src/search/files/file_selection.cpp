// Three ways to the rows of `files`, by what is known. By id, where an index has named few files.
// By reading all rows, or the ranges of the paths that are searched, where it has named many or
// none. And a few at a time in path order, for a search that may end early.
//
// A row is looked at before it is handed on: its path must lead to no place outside of the
// repository. Rows that a filter drops are not looked at, since a search may pass over every file.

#include "search/files/file_selection.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "storage/schema.hpp"
#include "utils/path_below.hpp"

namespace codetext::search {

using code_text::FileRow;

namespace {

// Above this part of the files, reading all rows is faster than asking for each by its id.
constexpr std::int64_t SCAN_FROM_PART = 4;

bool is_one_of(const std::vector<std::string>& languages, std::string_view path,
               std::string_view language) {
    return std::any_of(languages.begin(), languages.end(), [&](const std::string& one) {
        if (one.starts_with('.')) return path.ends_with(one);
        if (!one.starts_with('/')) return one == language;
        return path.ends_with(one) || path == std::string_view(one).substr(1);
    });
}

bool is_named(const FileFilter& filter, std::string_view path) {
    return std::ranges::binary_search(filter.paths.outermost(), path);
}

std::int64_t depth_of(const FileFilter& filter, std::string_view path) {
    if (is_named(filter, path)) return 0;
    const std::size_t top_bytes = filter.paths.top_bytes(path);
    return 1 + std::ranges::count(path.substr(top_bytes == 0 ? 0 : top_bytes + 1), '/');
}

std::span<const Glob> globs_for(const FileFilter& filter, std::string_view path) {
    const bool leaves_some = filter.default_globs > 0 && is_named(filter, path);
    return std::span(filter.globs).subspan(leaves_some ? filter.default_globs : 0);
}

/// Longer than the name of any language.
constexpr std::size_t MAX_LANGUAGE_BYTES = 256;

[[noreturn]] void throw_damage(std::int64_t id, std::string_view detail) {
    throw DatabaseError(
        DatabaseError::Kind::DAMAGED,
        fmt::format("damaged index: file {} {}; run `codetext verify --repair`", id, detail), "");
}

/// Bytes that a row of `files` takes at least, beside its path.
constexpr std::size_t MIN_ROW_BYTES = 8;

void check_row(std::int64_t id, std::string_view path, std::string_view language) {
    if (path.size() > chunk_store::MAX_PATH_BYTES || !is_path_below(path))
        throw_damage(id, "has a path that leads out of the repository");
    if (language.size() > MAX_LANGUAGE_BYTES) throw_damage(id, "has no language");
    chunk_store::file_rowids(id);
}

/// What is asked of a row of `files`. Older versions know no change times: nothing tells then
/// whether a file is as it was.
std::string select_files(const Database& db) {
    const bool has_stamps = schema::version(db) == schema::SCHEMA_VERSION;
    return std::string("SELECT id, path, language") +
           (has_stamps ? ", size, mtime_ns, ctime_ns, inode" : "") + " FROM files";
}

std::optional<FileStamp> stamp_in(const RowView& row) {
    if (row.size() < 7) return std::nullopt;
    return FileStamp{.size = row.integer(3),
                     .mtime_ns = row.integer(4),
                     .ctime_ns = row.integer(5),
                     .inode = row.integer(6)};
}

void add_passing(std::vector<FileRow>& files, const FileFilter& filter, const RowView& row) {
    const std::string_view path = row.text(1), language = row.text(2);
    const bool needs_size = filter.max_bytes != FileFilter().max_bytes && row.size() > 3;
    const std::int64_t size = needs_size ? row.integer(3) : 0;
    if (!passes(filter, path, language, size)) return;
    check_row(row.integer(0), path, language);
    files.push_back(
        {row.integer(0), std::string(path), std::string(language), std::nullopt, stamp_in(row)});
}

// Most rows come sorted: an index that is made at once has its files in path order.
void sort_by_path(std::vector<FileRow>& files) {
    const auto by_path = [](const FileRow& one, const FileRow& other) {
        return one.path < other.path;
    };
    if (!std::is_sorted(files.begin(), files.end(), by_path)) {
        std::sort(files.begin(), files.end(), by_path);
    }
}

std::vector<FileRow> rows_by_id(const Database& db, const FileFilter& filter,
                                const std::vector<std::int64_t>& file_ids) {
    std::vector<FileRow> files;
    const std::string one_file = select_files(db) + " WHERE id = ?";
    for (std::int64_t id : file_ids) {
        db.each(one_file, {id}, [&](const RowView& row) {
            if (filter.paths.hold(row.text(1))) add_passing(files, filter, row);
            return Visit::CONTINUE;
        });
    }
    return files;
}

std::vector<FileRow> rows_by_scan(const Database& db, const FileFilter& filter,
                                  const std::vector<std::int64_t>* file_ids) {
    std::vector<FileRow> files;
    std::optional<SortedLookup> wanted;
    if (file_ids) {
        wanted.emplace(*file_ids);
        files.reserve(file_ids->size());
    }
    chunk_store::DatabaseLimit size(db);
    _each_row(db, select_files(db), filter, [&](const RowView& row) {
        size.take(row.text(1).size() + MIN_ROW_BYTES);
        if (!wanted || wanted->contains(row.integer(0))) add_passing(files, filter, row);
        return Visit::CONTINUE;
    });
    return files;
}

}  // namespace

void _each_row(const Database& db, const std::string& select, const FileFilter& filter,
               const std::function<Visit(const RowView&)>& row) {
    const std::vector<std::string>& paths = filter.paths.outermost();
    if (paths.empty() || paths.front().empty()) return db.each(select, {}, row);
    const std::string one_or_below =
        fmt::format("{0} WHERE path = ?1 UNION ALL {0} WHERE path > ?2 AND path < ?3", select);
    for (const std::string& path : paths) {
        // "0" is the character after "/": the range is that of everything in the directory.
        db.each(one_or_below, {path, path + '/', path + '0'}, row);
    }
}

bool has_files_at(const Database& db, const std::string& path) {
    bool found = false;
    _each_row(db, "SELECT 1 FROM files", {.paths = {path}, .globs = {}, .languages = {}},
              [&](const RowView&) {
                  found = true;
                  return Visit::STOP;
              });
    return found;
}

std::vector<std::string> binary_files(const Database& db, const SearchedPaths& paths) {
    std::vector<std::string> files;
    if (schema::version(db) != schema::SCHEMA_VERSION) return files;
    chunk_store::DatabaseLimit size(db);
    db.each("SELECT path FROM skipped_files WHERE reason = 'binary' ORDER BY path", {},
            [&](const RowView& row) {
                const std::string_view path = row.text(0);
                size.take(path.size());
                const bool is_safe = path.size() <= chunk_store::MAX_PATH_BYTES;
                if (is_safe && is_path_below(path) && paths.hold(path)) files.emplace_back(path);
                return Visit::CONTINUE;
            });
    return files;
}

bool passes(const FileFilter& filter, std::string_view path, std::string_view language,
            std::int64_t size) {
    if (size > filter.max_bytes && !is_named(filter, path)) return false;
    if (filter.max_depth != FileFilter().max_depth && depth_of(filter, path) > filter.max_depth) {
        return false;
    }
    return path >= filter.from &&
           (filter.languages.empty() || is_one_of(filter.languages, path, language)) &&
           !is_one_of(filter.languages_out, path, language) &&
           (filter.globs.empty() ||
            selects(globs_for(filter, path), path, filter.paths.top_bytes(path)));
}

std::vector<FileRow> selected_files(const Database& db, const FileFilter& filter) {
    std::vector<FileRow> files = rows_by_scan(db, filter, nullptr);
    sort_by_path(files);
    return files;
}

std::vector<FileRow> selected_files(const Database& db, const FileFilter& filter,
                                    const std::vector<std::int64_t>& file_ids) {
    // Ids are handed out one by one: the greatest says, near enough, how many files there are.
    const std::int64_t most =
        db.fetchone("SELECT coalesce(max(id), 0) FROM files")->integer(0) / SCAN_FROM_PART;
    std::vector<FileRow> files = static_cast<std::int64_t>(file_ids.size()) <= most
                                     ? rows_by_id(db, filter, file_ids)
                                     : rows_by_scan(db, filter, &file_ids);
    sort_by_path(files);
    return files;
}

SelectedFiles::SelectedFiles(const Database& db, const FileFilter& filter,
                             const std::optional<std::vector<std::int64_t>>& file_ids)
    : _db(&db), _filter(&filter), _select(select_files(db)), _size(db) {
    if (file_ids) _wanted.emplace(*file_ids);
    for (const std::string& path : _filter->paths.outermost()) {
        if (path.empty()) continue;
        // What comes right after a path is the path with a NUL; "0" is the character after "/".
        _ranges.push_back({path, path + '\0'});
        _ranges.push_back({path + '/', path + '0'});
    }
    // No path holds the byte FF, which is in no UTF-8.
    if (_ranges.empty()) _ranges.push_back({"", "\xff"});
    for (PathRange& range : _ranges) range.from = std::max(range.from, _filter->from);
    std::sort(_ranges.begin(), _ranges.end(),
              [](const PathRange& one, const PathRange& other) { return one.from > other.from; });
}

std::vector<FileRow> SelectedFiles::next(std::size_t most) {
    std::vector<FileRow> files;
    while (files.size() < most && !_ranges.empty()) {
        const PathRange range = _ranges.back();
        _ranges.pop_back();
        _db->each(_select + " WHERE path >= ? AND path < ? ORDER BY path",
                  {range.from, range.before}, [&](const RowView& row) {
                      const std::int64_t id = row.integer(0);
                      _size.take(row.text(1).size() + MIN_ROW_BYTES);
                      if (_wanted && !_wanted->contains(id)) return Visit::CONTINUE;
                      add_passing(files, *_filter, row);
                      if (files.size() < most) return Visit::CONTINUE;
                      _ranges.push_back({files.back().path + '\0', range.before});
                      return Visit::STOP;
                  });
    }
    return files;
}

}  // namespace codetext::search
