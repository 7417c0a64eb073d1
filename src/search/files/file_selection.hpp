#pragma once

// Which files of an index a search looks at.
//
//   search::FileFilter filter{.paths = {"drivers"}, .languages = {"c"}};
//   std::vector<code_text::FileRow> files = search::selected_files(db, filter);

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "search/files/glob.hpp"
#include "search/files/searched_paths.hpp"
#include "storage/chunk_store/limits.hpp"
#include "storage/code_text.hpp"
#include "storage/database.hpp"
#include "utils/sorted_lookup.hpp"

namespace codetext::search {

/// What a file must be to be searched; an empty list demands nothing.
struct FileFilter {
    /// Files, or directories with all that lies below, relative to the repository's root; the empty
    /// path is the root itself.
    SearchedPaths paths;
    std::vector<Glob> globs;  ///< as `selects` reads them
    /// The first so many of `globs` do not hold for a file that is itself one of `paths`.
    std::size_t default_globs = 0;
    /// Languages as the indexer names them, endings of paths such as ".h", or names of files behind
    /// a
    /// "/" such as "/Makefile".
    std::vector<std::string> languages;
    std::vector<std::string> languages_out = {};  ///< likewise; a file of any is not searched
    /// How deep a file may lie below a searched directory; 1: in the directory itself. A file that
    /// is itself one of `paths` lies at depth 0.
    std::int64_t max_depth = std::numeric_limits<std::int64_t>::max();
    std::string from = {};  ///< the first path, in the order of bytes, that may be searched
    /// A file of more bytes is not searched, unless it is itself one of `paths`.
    std::int64_t max_bytes = std::numeric_limits<std::int64_t>::max();
};

/// Whether the filter lets the file pass, which lies below its paths. `size` is in bytes; 0 where
/// nobody knows it.
bool passes(const FileFilter& filter, std::string_view path, std::string_view language,
            std::int64_t size);

/// The files that the filter selects, ascending by the bytes of their paths, with their stamps
/// where the index is of the newest version.
std::vector<code_text::FileRow> selected_files(const Database& db, const FileFilter& filter);

/// Those files that the filter selects and that have one of `file_ids` (ascending, each once), in
/// the same order.
std::vector<code_text::FileRow> selected_files(const Database& db, const FileFilter& filter,
                                               const std::vector<std::int64_t>& file_ids);

/// Hands out what selected_files gives, some files at a time, for a search that may need only the
/// first. What it is made with must outlive it.
class SelectedFiles {
  public:
    /// `file_ids` (ascending, each once) are those that the files are taken of; none: all files.
    SelectedFiles(const Database& db, const FileFilter& filter,
                  const std::optional<std::vector<std::int64_t>>& file_ids);
    /// The next `most` files at most; fewer only at the end.
    std::vector<code_text::FileRow> next(std::size_t most);

  private:
    struct PathRange {
        std::string from, before;  ///< ordered by their bytes, half-open
    };
    const Database* _db;
    const FileFilter* _filter;
    std::string _select;               ///< the statement without its condition
    chunk_store::DatabaseLimit _size;  ///< of the rows that it has read
    std::optional<SortedLookup> _wanted;
    std::vector<PathRange> _ranges;  ///< what is left, the next one last
};

/// Whether the index has a file at `path`, or one below it.
bool has_files_at(const Database& db, const std::string& path);

/// The paths of binary files that the last run has left out and that `paths` hold, ascending.
std::vector<std::string> binary_files(const Database& db, const SearchedPaths& paths);

/// Calls `visit` for each file below the filter's paths, once, with the columns that `select` names
/// ("SELECT ... FROM files"). Private to search/files.
void _each_row(const Database& db, const std::string& select, const FileFilter& filter,
               const std::function<Visit(const RowView&)>& visit);

}  // namespace codetext::search
