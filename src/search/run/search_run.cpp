// A search goes through batches of files (search_batches.hpp), all in one read transaction. The
// files of a batch are searched by a thread a core and come out in path order (OrderedPool); one
// thread counts the results and hands the output on.
//
// A limit is kept by that one thread. A worker does not know what earlier files gave, so a file
// with more results than are left is searched once more, up to the limit.
//
// Damage: as long as nothing was put out, the search begins anew on the disk. Afterwards that would
// put out lines twice, so the failure goes on to the caller.

#include "search/run/search_run.hpp"

#include <algorithm>
#include <mutex>
#include <thread>
#include <utility>

#include "search/run/search_batches.hpp"
#include "utils/ordered_pool.hpp"
#include "utils/sorted_lookup.hpp"

namespace codetext::search {

using code_text::FileRow;

namespace {

/// The output for one file, with its stats.
struct Rendered {
    std::string out;
    Stats stats;
};

constexpr std::size_t FILES_WORTH_THREADS = 32;
/// Files that a thread takes at a time: most are searched faster than a lock is handed over.
constexpr std::size_t BATCH_FILES = 24;

/// One thread at a time searches a file with more text, so that memory holds one of them.
constexpr std::size_t LARGE_FILE_BYTES = 16 << 20;

/// Ids of the files in which something can match; none: any of them.
std::optional<std::vector<std::int64_t>> possible_files(const code_text::TextSource& source) {
    const auto* chunks = std::get_if<code_text::ChunkText>(&source);
    return chunks ? std::optional(chunks->possible_files()) : std::nullopt;
}

bool holds(const std::vector<std::int64_t>& ids, std::int64_t id) {
    return std::binary_search(ids.begin(), ids.end(), id);
}

/// The search of one batch.
class BatchSearch {
  public:
    BatchSearch(const SearchOptions& options, const Render& render, SearchBatch batch)
        : _options(&options),
          _render(&render),
          _batch(std::move(batch)),
          _possible(possible_files(_batch.source)) {
        if (!_possible || options.result_kind == ResultKind::FILE_WITHOUT_MATCH) return;
        SortedLookup possible(*_possible);
        std::erase_if(_batch.files,
                      [&](const FileRow& file) { return !possible.contains(file.file_id); });
    }

    /// Adds to what earlier batches gave; false when the search is at its end.
    bool run(const Emit& emit, SearchResult& result) {
        const std::size_t count = _batch.files.size();
        OrderedPool<Rendered> pool({count, [this] { return _make_worker(); },
                                    [](const Rendered& rendered) { return rendered.out.size(); }},
                                   _pool_options());
        for (std::size_t item = 0; item < count; ++item) {
            Rendered file = pool.next();
            if (_results(file.stats) > _options->limit - result.results) {
                file = _searched_up_to(item, _options->limit - result.results);
            }
            result.stats += file.stats;
            result.results += _results(file.stats);
            if (_results(file.stats) > 0) result.stopped = !emit(file.out);
            if (result.stopped || result.results == _options->limit) return false;
        }
        return true;
    }

  private:
    std::int64_t _results(const Stats& stats) const {
        if (_options->result_kind == ResultKind::MATCHING_LINE) return stats.matched_lines;
        const bool wants_match = _options->result_kind == ResultKind::FILE_WITH_MATCH;
        return (stats.files_with_match > 0) == wants_match ? 1 : 0;
    }

    PoolOptions _pool_options() const {
        PoolOptions options{.batch_items = BATCH_FILES};
        if (_batch.files.size() < FILES_WORTH_THREADS) return options;
        const unsigned cores =
            _options->threads > 0 ? _options->threads : std::thread::hardware_concurrency();
        if (cores > 1) options.threads = cores;
        // What is searched beyond the last result is lost.
        if (_options->limit != NO_LIMIT) {
            options.batch_items = 1;
            options.window_items = std::size_t{2} * std::max(cores, 1U);
        }
        return options;
    }

    OrderedPool<Rendered>::Worker _make_worker() const {
        FileWants wants = _options->wants;
        if (_options->result_kind == ResultKind::MATCHING_LINE) {
            wants.max_matches = std::min(wants.max_matches, _options->limit);
        }
        return [this, wants, source = _batch.source, result = FileResult()](
                   std::size_t item) mutable { return _searched(item, source, wants, result); };
    }

    Rendered _searched(std::size_t item, code_text::TextSource& source, const FileWants& wants,
                       FileResult& result) const {
        const FileRow& file = _batch.files[item];
        Rendered rendered;
        std::unique_lock<std::mutex> alone;
        const auto begin = [&](std::size_t text_bytes) {
            if (text_bytes > LARGE_FILE_BYTES) alone = std::unique_lock(_large_file);
        };
        // A file without a candidate is still a result where files without a match are asked for.
        if (_possible && !holds(*_possible, file.file_id)) {
            result = FileResult();
            result.file = &file;
        } else {
            search_file(source, file, _options->query, wants, result, begin);
        }
        rendered.stats = result.stats;
        if (_results(result.stats) > 0) rendered.stats.matches += (*_render)(result, rendered.out);
        // The text goes before the next large file is begun.
        if (alone) {
            result = FileResult();
            source = _batch.source;  // which holds no lines
        }
        return rendered;
    }

    Rendered _searched_up_to(std::size_t item, std::int64_t max_matches) const {
        FileWants wants = _options->wants;
        wants.max_matches = max_matches;
        code_text::TextSource source = _batch.source;
        FileResult result;
        return _searched(item, source, wants, result);
    }

    const SearchOptions* _options;
    const Render* _render;
    SearchBatch _batch;
    std::optional<std::vector<std::int64_t>> _possible;
    mutable std::mutex _large_file;  ///< held while one is searched
};

}  // namespace

namespace {

SearchResult search_once(Database& db, const SearchOptions& options, SourceWanted source,
                         const Render& render, const Emit& emit) {
    const Transaction snapshot(db, Transaction::Kind::READ);
    SearchResult result;
    SearchBatches batches(db, options, source);
    bool goes_on = true;
    while (goes_on) {
        std::optional<SearchBatch> batch = batches.next();
        if (!batch) break;
        result.from_index = std::holds_alternative<code_text::ChunkText>(batch->source);
        goes_on =
            options.limit > 0 && BatchSearch(options, render, *std::move(batch)).run(emit, result);
    }
    result.reason = batches.reason();
    result.unread = batches.unread();
    return result;
}

bool is_damage(const DatabaseError& error) {
    return error.kind() == DatabaseError::Kind::DAMAGED ||
           error.kind() == DatabaseError::Kind::DAMAGED_PAGE;
}

constexpr const char* DAMAGED =
    "read from the files on disk: the index is damaged; run `codetext verify --repair`";

}  // namespace

SearchResult run_search(Database& db, const SearchOptions& options, const Render& render,
                        const Emit& emit) {
    bool has_emitted = false;
    const Emit noting_emit = [&](std::string_view out) {
        has_emitted = true;
        return emit(out);
    };
    const auto may_read_disk = [&] { return options.source == SourceWanted::AUTO && !has_emitted; };
    try {
        return search_once(db, options, options.source, render, noting_emit);
    } catch (const DatabaseError& error) {
        if (!is_damage(error) || !may_read_disk()) throw;
    } catch (const chunk_store::DamagedChunk&) {
        if (!may_read_disk()) throw;
    }
    SearchResult result = search_once(db, options, SourceWanted::DISK, render, emit);
    result.reason = DAMAGED;
    return result;
}

}  // namespace codetext::search
