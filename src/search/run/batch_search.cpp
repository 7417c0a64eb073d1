// The files of a batch are searched by a thread a core and come out in their order (OrderedPool);
// one thread counts the results and hands the output on.
//
// A limit is kept by that one thread. A worker does not know what earlier files gave, so a file
// with more results than are left is searched once more, up to the limit.

#include "search/run/batch_search.hpp"

#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "search/run/file_order.hpp"
#include "search/run/file_results.hpp"
#include "utils/ordered_pool.hpp"
#include "utils/sorted_lookup.hpp"

namespace codetext::search {

using code_text::FileRow;

namespace {

/// The output for one file, with its stats.
struct Rendered {
    std::string out;
    Stats stats;
    /// It was given up: the file has much text, or much output. The thread that emits searches it
    /// and hands the output on as it comes.
    bool is_large = false;
};

constexpr std::size_t FILES_WORTH_THREADS = 32;
/// Files that a thread takes at a time: most are searched faster than a lock is handed over.
constexpr std::size_t BATCH_FILES = 24;

/// A file with more text is large: memory holds one of them at a time.
constexpr std::size_t LARGE_TEXT_BYTES = 16 << 20;
/// And one with more output. It is far above what most files have, for it is made twice.
constexpr std::size_t LARGE_OUTPUT_BYTES = 8 << 20;
/// The parts in which a large output is handed on.
constexpr std::size_t PART_BYTES = 1 << 16;

/// Ends the search of a file that has more output than a thread keeps.
struct OutputTooLarge {};
/// Ends the search of a file whose output nobody reads any more.
struct ReaderGone {};

/// Ids of the files in which something can match; none: any of them.
std::optional<std::vector<std::int64_t>> possible_files(const code_text::TextSource& source) {
    const auto* chunks = std::get_if<code_text::ChunkText>(&source);
    return chunks ? std::optional(chunks->possible_files()) : std::nullopt;
}

class BatchSearch {
  public:
    BatchSearch(const SearchOptions& options, const MakeRenderer& make_renderer,
                const TreeReader& reader, SearchBatch batch)
        : _options(&options),
          _make_renderer(&make_renderer),
          _batch(std::move(batch)),
          _possible(possible_files(_batch.source)),
          _context{_options, &_batch, &reader, &_possible} {
        const bool needs_match = options.result_kind == ResultKind::MATCHING_LINE ||
                                 options.result_kind == ResultKind::FILE_WITH_MATCH;
        if (_possible && needs_match) {
            SortedLookup possible(*_possible);
            std::erase_if(_batch.files, [&](const FileRow& file) {
                return file.file_id > 0 && !possible.contains(file.file_id);
            });
        }
        if (options.order != FileOrder()) sort_files(_batch.files, options.order, reader.stamps());
    }

    // _context points into it.
    BatchSearch(const BatchSearch&) = delete;
    BatchSearch& operator=(const BatchSearch&) = delete;

    bool run(const Emit& emit, SearchResult& result) {
        const std::size_t count = _batch.files.size();
        OrderedPool<Rendered> pool({count, [this] { return _make_worker(); },
                                    [](const Rendered& rendered) { return rendered.out.size(); }},
                                   _pool_options());
        for (std::size_t item = 0; item < count; ++item) {
            _check_stop();
            if (!_take(item, pool.next(), emit, result)) return false;
        }
        return true;
    }

  private:
    // Adds what the file at `item` gives; false at the end of the search.
    bool _take(std::size_t item, Rendered file, const Emit& emit, SearchResult& result) const {
        const std::int64_t left = _options->limit - result.results;
        const bool is_more = file.is_large ? _options->tells_cut && _has_more(item, left)
                                           : _results(file.stats) > left;
        result.is_cut = is_more && _options->tells_cut;
        if (left == 0) return !is_more;
        if (file.is_large || is_more) {
            file.stats = _streamed(item, left, emit, result.stopped);
        } else if (_results(file.stats) > 0) {
            result.stopped = !emit(file.out, true);
        }
        result.stats += file.stats;
        result.results += _results(file.stats);
        const bool is_full = result.results == _options->limit;
        return !result.stopped && !is_more && !(is_full && !_options->tells_cut);
    }

    std::int64_t _results(const Stats& stats) const {
        return results_of(stats, _options->result_kind);
    }

    // Whether the large file at `item` has more results than `left`, which takes a search of it.
    bool _has_more(std::size_t item, std::int64_t left) const {
        if (_options->limit == NO_LIMIT) return false;
        bool is_stopped = false;
        const Emit nowhere = [](std::string_view, bool) { return true; };
        return _results(_streamed(item, left + 1, nowhere, is_stopped)) > left;
    }

    PoolOptions _pool_options() const {
        PoolOptions options{.batch_items = BATCH_FILES};
        if (_batch.files.size() < FILES_WORTH_THREADS) return options;
        const unsigned cores =
            _options->threads > 0 ? _options->threads : std::thread::hardware_concurrency();
        if (cores > 1) options.threads = cores;
        // What is searched beyond the last result is lost: so it is little beside what is wanted.
        if (_options->limit != NO_LIMIT) {
            constexpr std::int64_t PART_OF_LIMIT = 16;
            options.batch_items = static_cast<std::size_t>(
                std::clamp<std::int64_t>(_options->limit / PART_OF_LIMIT, 1, BATCH_FILES));
            options.window_items = options.batch_items * 2 * std::max(cores, 1U);
        }
        return options;
    }

    // What a thread has for itself.
    struct Worker {
        FileResults files;
        OutputBuffer out{LARGE_OUTPUT_BYTES, [](std::string_view) { throw OutputTooLarge(); }};
    };

    OrderedPool<Rendered>::Worker _make_worker() const {
        const auto worker =
            std::make_shared<Worker>(Worker{FileResults(_context, (*_make_renderer)())});
        worker->files.limit_text(LARGE_TEXT_BYTES);
        return [this, worker](std::size_t item) { return _searched(item, *worker); };
    }

    void _check_stop() const {
        if (_options->stop && *_options->stop) throw SearchStopped();
    }

    Rendered _searched(std::size_t item, Worker& worker) const {
        _check_stop();
        worker.out.clear();
        // One more than the limit, where the search is to know that there is one.
        const bool one_more = _options->tells_cut && _options->limit != NO_LIMIT;
        try {
            Rendered rendered;
            rendered.stats =
                worker.files.search(item, _options->limit + (one_more ? 1 : 0), worker.out);
            rendered.out = worker.out.text();
            return rendered;
        } catch (const chunk_store::TextTooLarge&) {
        } catch (const OutputTooLarge&) {
        }
        worker.files.limit_text(LARGE_TEXT_BYTES);
        return {.out = {}, .stats = {}, .is_large = true};
    }

    // Emits the output while the file is searched, up to `most_results`.
    Stats _streamed(std::size_t item, std::int64_t most_results, const Emit& emit,
                    bool& stopped) const {
        bool begins_file = true;
        OutputBuffer out(PART_BYTES, [&](std::string_view part) {
            if (!emit(part, std::exchange(begins_file, false))) throw ReaderGone();
        });
        FileResults files(_context, (*_make_renderer)());
        try {
            Stats stats = files.search(item, most_results, out);
            if (_results(stats) > 0) out.hand_on();
            return stats;
        } catch (const ReaderGone&) {
            stopped = true;
            return {};
        }
    }

    const SearchOptions* _options;
    const MakeRenderer* _make_renderer;
    SearchBatch _batch;
    std::optional<std::vector<std::int64_t>> _possible;  ///< none: the disk is read
    BatchContext _context;
};

}  // namespace

bool search_batch(const SearchOptions& options, const MakeRenderer& make_renderer,
                  const TreeReader& reader, SearchBatch batch, const Emit& emit,
                  SearchResult& result) {
    return BatchSearch(options, make_renderer, reader, std::move(batch)).run(emit, result);
}

}  // namespace codetext::search
