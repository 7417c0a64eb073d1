#pragma once

// What a search looks at, batch by batch: files in path order, and where their text is read.
// Private to search. A search without a limit gets one batch of all files. A search with a limit
// may end early: where many files may match it gets a few first, so that it does not read the rows
// of files that it never reaches.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "search/files/file_selection.hpp"
#include "search/run/file_conditions.hpp"
#include "search/run/search_run.hpp"
#include "search/run/tree_reader.hpp"
#include "storage/chunk_store.hpp"
#include "storage/code_text.hpp"

namespace codetext::search {

struct SearchBatch {
    std::vector<code_text::FileRow> files;  ///< ascending by path, after those of earlier batches
    code_text::TextSource source;
    code_text::TextSource disk;  ///< for files that have changed since they were indexed
    /// The same two for each condition of the search.
    std::vector<code_text::TextSource> conditions, conditions_on_disk;
};

/// REQUIRES: all is done in one transaction on `db`, so that each batch is of one snapshot. The
/// database and the options must outlive it.
class SearchBatches {
  public:
    /// `source` counts in place of that of the options. `log` gets a line about what the trigram
    /// index gave.
    SearchBatches(const Database& db, const SearchOptions& options, SourceWanted source,
                  StepLog& log);
    // Not copied: _in_order reads _narrowed where it stands.
    SearchBatches(const SearchBatches&) = delete;
    SearchBatches& operator=(const SearchBatches&) = delete;

    /// The next batch; none at the end. There is always a first one; any may be without a file.
    /// Throws IndexCannotAnswer.
    std::optional<SearchBatch> next();

    /// Why the disk is read although the index was asked. Known once next() has given a batch.
    const std::optional<std::string>& reason() const { return _reason; }

    /// Reads the files of all batches, and counts what it could not read.
    const TreeReader& reader() const { return _reader; }

  private:
    std::string _description() const;
    void _start();
    std::vector<std::int64_t> _files_worth_searching() const;
    std::vector<code_text::FileRow> _next_files();
    void _add_unindexed(std::vector<code_text::FileRow>& files);
    code_text::TextSource _disk(const Query& query) const;
    code_text::SourceChoice _choose(const std::vector<code_text::FileRow>& files,
                                    const Query& query,
                                    const std::optional<chunk_store::Candidates>& asked) const;

    const Database* _db;
    const SearchOptions* _options;
    SourceWanted _source;
    TreeReader _reader;
    std::optional<chunk_store::Layout> _layout;
    std::optional<chunk_store::Candidates> _candidates;        ///< none: the index narrows nothing
    std::optional<ConditionCandidates> _condition_candidates;  ///< none: as for _candidates
    /// Ids of the files worth searching; none: all of them.
    std::optional<std::vector<std::int64_t>> _narrowed;
    std::optional<SelectedFiles> _in_order;  ///< only in a search that may end early
    std::size_t _count;                      ///< of files in its next batch
    bool _is_done = false;
    std::size_t _unindexed = 0;  ///< how many of them earlier batches had
    std::optional<std::string> _reason;
};

}  // namespace codetext::search
