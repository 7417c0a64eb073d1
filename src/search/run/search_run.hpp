#pragma once

// One search over an index: which files, read from where, their results in path order.
//
//   search::SearchResult result = search::run_search(db, {.query = query}, make_renderer, emit);
//   if (result.reason) report(*result.reason);

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "search/files/file_selection.hpp"
#include "search/query/query.hpp"
#include "search/run/file_search.hpp"
#include "search/run/output_buffer.hpp"
#include "search/run/step_log.hpp"
#include "search/run/tree_reader.hpp"
#include "storage/database.hpp"

namespace codetext::search {

enum class SourceWanted {
    AUTO,   ///< the index; the disk when the index cannot answer
    INDEX,  ///< the index or a failure
    DISK,   ///< every file from disk
};

/// What a search counts as one result.
enum class ResultKind {
    MATCHING_LINE,
    FILE_WITH_MATCH,
    FILE_WITHOUT_MATCH,
    FILE,  ///< with a match or without
};

/// What must hold for a file so that its results count.
struct FileCondition {
    Query query;
    bool is_wanted = true;  ///< false: the query must match nowhere in the file
};

/// The order in which files come.
struct FileOrder {
    enum class By { PATH, MODIFIED, CREATED };
    By by = By::PATH;
    bool is_reversed = false;
    friend bool operator==(const FileOrder&, const FileOrder&) = default;
};

struct SearchOptions {
    Query query;
    FileFilter filter;
    SourceWanted source = SourceWanted::AUTO;
    FileWants wants;
    ResultKind result_kind = ResultKind::MATCHING_LINE;
    std::vector<FileCondition> conditions = {};  ///< all of them must hold
    /// Files that the index lacks, to be read from disk: ascending by path, with ids of their own
    /// below 0. The filter is not asked about them.
    std::vector<code_text::FileRow> unindexed = {};
    bool binary_as_text =
        false;  ///< of files that are read from disk; else binary ones are left out
    FileOrder order = {};
    std::int64_t limit = NO_LIMIT;  ///< results after which the search ends
    /// The search goes on after the last result that the limit allows, to see whether there is
    /// another one.
    bool tells_cut = false;
    unsigned threads = 0;        ///< 0: one a core
    bool explains = false;       ///< SearchResult::steps is wanted
    std::int64_t from_line = 1;  ///< of the file `filter.from`: where the results begin
    /// Another thread may set it; the search then ends soon. It is looked at for each file, and
    /// within a file for each run of lines.
    const std::atomic<bool>* stop = nullptr;
};

/// Makes the output for one file after the other.
class Renderer {
  public:
    virtual ~Renderer() = default;
    /// A file that has a result: before its first line, or before end(). What came of the file
    /// before it may have been given up.
    virtual void begin(const code_text::FileRow& file, OutputBuffer& out) = 0;
    /// A line of it to show, in order. The line's text is valid until the call returns.
    virtual void line(const ResultLine& line, OutputBuffer& out) = 0;
    /// The end of the file. Returns the number of matches that the output showed, which the search
    /// adds to the file's stats.
    virtual std::int64_t end(const Stats& stats, OutputBuffer& out) = 0;
};
/// Called once for each thread of a search.
using MakeRenderer = std::function<std::unique_ptr<Renderer>()>;
/// Takes the output for one file after the other, in their order, on the thread that runs the
/// search: a large one in parts, of which only the first `begins_file`. False when nobody reads the
/// output any more.
using Emit = std::function<bool(std::string_view part, bool begins_file)>;

struct SearchResult {
    Stats stats;                        ///< of the files up to the last one that was emitted
    bool from_index = false;            ///< the index answered
    std::optional<std::string> reason;  ///< why the disk was read although the index was asked
    bool is_damaged = false;            ///< the index, so that the disk was read
    std::int64_t results = 0;           ///< of the kind that the options name
    bool is_cut = false;                ///< there are more results, as far as tells_cut asks for it
    bool stopped = false;               ///< `emit` gave false, or the stop flag was set
    std::vector<SearchStep> steps = {};  ///< what was done, where the options ask for it
    UnreadFiles unread;                  ///< on disk, so that the answer may lack matches in them
};

/// The index cannot answer a search that wants it to; the message holds the reason.
class IndexCannotAnswer : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What is shown is true of the files as they are: a file with a result is looked at, and one that
/// is not as it was indexed is searched on the disk instead, unless the index is demanded
/// (SourceWanted::INDEX) or is of an older version, which does not remember enough. New files, and
/// changed ones in which the index finds nothing, are not noticed.
///
/// Runs the search in one read transaction on `db`, which must not be inside one. `emit` gets what
/// the renderers make of each file that has a result, an empty text included. With
/// SourceWanted::AUTO, an index that turns out to be damaged before the first call of `emit` is not
/// used: the files that it names are read from disk. Throws IndexCannotAnswer; passes on what
/// renderers and `emit` throw, every failure of the index, and std::runtime_error when the machine
/// fails while files are read from disk (is_machine_failure).
SearchResult run_search(Database& db, const SearchOptions& options,
                        const MakeRenderer& make_renderer, const Emit& emit);

}  // namespace codetext::search
