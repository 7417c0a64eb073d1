#pragma once

// One search over an index: which files, read from where, their results in path order.
//
//   search::SearchResult result = search::run_search(db, {.query = query}, render, emit);
//   if (result.reason) report(*result.reason);

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "search/files/file_selection.hpp"
#include "search/query/query.hpp"
#include "search/run/file_search.hpp"
#include "search/run/tree_reader.hpp"
#include "storage/database.hpp"

namespace codetext::search {

enum class SourceWanted {
    AUTO,   ///< the index; the disk when the index cannot answer
    INDEX,  ///< the index or a failure
    DISK,   ///< every file from disk
};

/// What a search counts as one result.
enum class ResultKind { MATCHING_LINE, FILE_WITH_MATCH, FILE_WITHOUT_MATCH };

struct SearchOptions {
    Query query;
    FileFilter filter;
    SourceWanted source = SourceWanted::AUTO;
    FileWants wants;
    ResultKind result_kind = ResultKind::MATCHING_LINE;
    std::int64_t limit = NO_LIMIT;  ///< results after which the search ends
    unsigned threads = 0;           ///< 0: one a core
};

/// Appends the output for what a search found in a file, and returns the number of matches that it
/// counted, which the search adds to the file's stats. Called by several threads at once.
using Render = std::function<std::int64_t(const FileResult& result, std::string& out)>;
/// Takes the output for one file, in path order, on the thread that runs the search; false when
/// nobody reads the output any more.
using Emit = std::function<bool(std::string_view out)>;

struct SearchResult {
    Stats stats;                        ///< of the files up to the last one that was emitted
    bool from_index = false;            ///< the index answered
    std::optional<std::string> reason;  ///< why the disk was read although the index was asked
    std::int64_t results = 0;           ///< of the kind that the options name
    bool stopped = false;               ///< `emit` gave false
    UnreadFiles unread;                 ///< on disk, so that the answer may lack matches in them
};

/// The index cannot answer a search that wants it to; the message holds the reason.
class IndexCannotAnswer : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Runs the search in one read transaction on `db`, which must not be inside one. `emit` gets what
/// `render` makes of each file that has a result, an empty text included. With SourceWanted::AUTO,
/// an index that turns out to be damaged before the first call of `emit` is not used: the files
/// that it names are read from disk. Throws IndexCannotAnswer; passes on what `render` and `emit`
/// throw, every failure of the index, and std::runtime_error when the machine fails while files are
/// read from disk (is_machine_failure).
SearchResult run_search(Database& db, const SearchOptions& options, const Render& render,
                        const Emit& emit);

}  // namespace codetext::search
