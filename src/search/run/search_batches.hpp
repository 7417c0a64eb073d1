#pragma once

// What a search looks at, part by part: files in path order, and where their text is read. Private
// to search. A search without a limit gets all at once; one with a limit that may have to do with
// many files gets few first, so that it does not read the rows of files that it never comes to.
//
//   search::SearchBatches scopes(db, options);
//   while (std::optional<search::SearchBatch> scope = scopes.next()) use(*scope);

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "search/files/file_selection.hpp"
#include "search/run/search_run.hpp"
#include "storage/chunk_store.hpp"
#include "storage/code_text.hpp"

namespace codetext::search {

struct SearchBatch {
    std::vector<code_text::FileRow> files;  ///< ascending by path, after those of earlier scopes
    code_text::TextSource source;
};

/// REQUIRES: all is done in one transaction on `db`, so that each scope is of one snapshot. The
/// database and the options must outlive it.
class SearchBatches {
  public:
    SearchBatches(const Database& db, const SearchOptions& options);
    SearchBatches(const SearchBatches&) =
        delete;  // what hands out the files reads _narrowed in its place
    SearchBatches& operator=(const SearchBatches&) = delete;

    /// The next scope; none when there is none left. One may be of no file, the first always comes.
    /// Throws IndexCannotAnswer.
    std::optional<SearchBatch> next();

    /// Why the disk is read although the index was asked, once there was a scope.
    const std::optional<std::string>& reason() const { return _reason; }

  private:
    void _start();
    std::vector<std::int64_t> _files_worth_searching() const;
    std::vector<code_text::FileRow> _next_files();
    code_text::SourceChoice _choose(const std::vector<code_text::FileRow>& files) const;

    const Database* _db;
    const SearchOptions* _options;
    std::optional<chunk_store::Layout> _layout;
    std::optional<chunk_store::Candidates> _candidates;  ///< none: the index narrows nothing
    std::optional<std::vector<std::int64_t>> _narrowed;  ///< then: ids of the files worth searching
    std::optional<SelectedFiles> _in_order;              ///< when they come few by few
    std::size_t _count;                                  ///< of files in the next scope then
    bool _is_done = false;
    std::optional<std::string> _reason;
};

}  // namespace codetext::search
