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
#include <memory>
#include <system_error>
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
/// How a file is now, beside what the index holds of it.
enum class Freshness {
    AS_INDEXED,
    UNKNOWN,  ///< it was read right after a change, so the index remembers no time; or nothing
              ///< tells
    CHANGED,
    GONE,
};
/// Ends the search of a file that is not as it was indexed, before anything of it is shown.
struct NotAsIndexed {
    Freshness freshness;
};

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
    BatchSearch(const SearchOptions& options, const MakeRenderer& make_renderer,
                const TreeReader& reader, SearchBatch batch)
        : _options(&options),
          _make_renderer(&make_renderer),
          _reader(&reader),
          _batch(std::move(batch)),
          _possible(possible_files(_batch.source)),
          _checks(_possible && options.source != SourceWanted::INDEX) {
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
            const std::int64_t left = _options->limit - result.results;
            if (file.is_large || _results(file.stats) > left) {
                file.stats = _streamed(item, left, emit, result.stopped);
            } else if (_results(file.stats) > 0) {
                result.stopped = !emit(file.out, true);
            }
            result.stats += file.stats;
            result.results += _results(file.stats);
            if (result.stopped || result.results == _options->limit) return false;
        }
        return true;
    }

  private:
    std::int64_t _results(const Stats& stats) const {
        if (stats.files_gone > 0) return 0;
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

    // What a thread has for itself.
    struct Worker {
        code_text::TextSource source, disk;
        TreeReader::Stamps stamps;
        std::unique_ptr<Renderer> renderer;
        OutputBuffer out;
    };

    OrderedPool<Rendered>::Worker _make_worker() const {
        const auto worker = std::make_shared<Worker>(Worker{
            _limited(_batch.source), _limited(_batch.disk), _reader->stamps(), (*_make_renderer)(),
            OutputBuffer(LARGE_OUTPUT_BYTES, [](std::string_view) { throw OutputTooLarge(); })});
        return [this, worker](std::size_t item) { return _searched(item, *worker); };
    }

    static code_text::TextSource _limited(code_text::TextSource source) {
        code_text::limit_text(source, LARGE_TEXT_BYTES);
        return source;
    }

    Rendered _searched(std::size_t item, Worker& worker) const {
        worker.out.clear();
        try {
            Rendered rendered;
            rendered.stats = _search(item, _options->limit, worker);
            rendered.out = worker.out.text();
            return rendered;
        } catch (const chunk_store::TextTooLarge&) {
        } catch (const OutputTooLarge&) {
        }
        worker.source = _limited(_batch.source);  // which holds no text
        worker.disk = _limited(_batch.disk);
        return {.out = {}, .stats = {}, .is_large = true};
    }

    // Emits the output while the file is searched, up to `most_results`.
    Stats _streamed(std::size_t item, std::int64_t most_results, const Emit& emit,
                    bool& stopped) const {
        bool begins_file = true;
        Worker worker{_batch.source, _batch.disk, _reader->stamps(), (*_make_renderer)(),
                      OutputBuffer(PART_BYTES, [&](std::string_view part) {
                          if (!emit(part, std::exchange(begins_file, false))) throw ReaderGone();
                      })};
        try {
            Stats stats = _search(item, most_results, worker);
            if (_results(stats) > 0) worker.out.hand_on();
            return stats;
        } catch (const ReaderGone&) {
            stopped = true;
            return {};
        }
    }

    // The search of one file, which fills `worker.out` if it has a result.
    Stats _search(std::size_t item, std::int64_t most_results, Worker& worker) const {
        const FileRow& file = _batch.files[item];
        FileWants wants = _options->wants;
        if (_options->result_kind == ResultKind::MATCHING_LINE) {
            wants.max_matches = std::min(wants.max_matches, most_results);
        }
        const bool wants_absence = _options->result_kind == ResultKind::FILE_WITHOUT_MATCH;
        if (wants_absence) wants.lines = false;
        const bool checks = _checks && file.stamp;
        bool is_checked = false;
        const auto check = [&] {
            if (!checks || std::exchange(is_checked, true)) return;
            const Freshness freshness = _freshness(file, worker.stamps);
            if (freshness != Freshness::AS_INDEXED) throw NotAsIndexed{freshness};
        };
        try {
            if (wants_absence) check();  // it may have lost its matches
            // A file without a candidate is still a result where files without a match are asked
            // for.
            const bool is_possible = !_possible || holds(*_possible, file.file_id);
            Stats stats =
                _shown(file, wants, is_possible ? &worker.source : nullptr, check, worker);
            stats.files_checked = checks && (wants_absence || _results(stats) > 0) ? 1 : 0;
            return stats;
        } catch (const NotAsIndexed& found) {
            return _as_it_is(file, wants, found.freshness, worker);
        }
    }

    Stats _as_it_is(const FileRow& file, const FileWants& wants, Freshness freshness,
                    Worker& worker) const {
        Stats stats;
        if (freshness == Freshness::GONE) {
            stats.files_gone = 1;
        } else {
            stats = _shown(
                file, wants, &worker.disk, [] {}, worker);
        }
        stats.files_checked = 1;
        stats.files_stale = freshness == Freshness::UNKNOWN ? 0 : 1;
        return stats;
    }

    // Searches the file in `source`, none for a file that holds no match. `check` is called before
    // anything of a result is rendered.
    template <typename Check>
    Stats _shown(const FileRow& file, const FileWants& wants, code_text::TextSource* source,
                 const Check& check, Worker& worker) const {
        bool has_begun = false;
        const auto begin = [&] {
            if (std::exchange(has_begun, true)) return;
            check();
            worker.renderer->begin(file, worker.out);
        };
        Stats stats;
        if (source != nullptr) {
            stats = search_file(*source, file, _options->query, wants, [&](const ResultLine& line) {
                begin();
                worker.renderer->line(line, worker.out);
                worker.out.hand_on_if_large();
            });
        }
        if (_results(stats) > 0) {
            begin();
            stats.matches += worker.renderer->end(stats, worker.out);
        }
        return stats;
    }

    static Freshness _freshness(const FileRow& file, TreeReader::Stamps& stamps) {
        try {
            const std::optional<FileStamp> now = stamps.of(file.path);
            if (!now) return Freshness::GONE;
            if (is_unchanged(*file.stamp, *now)) return Freshness::AS_INDEXED;
            FileStamp timeless = *now;
            timeless.mtime_ns = UNSETTLED_MTIME_NS;
            return is_unchanged(*file.stamp, timeless) ? Freshness::UNKNOWN : Freshness::CHANGED;
        } catch (const std::system_error&) {
            return Freshness::UNKNOWN;  // reading it will tell
        }
    }

    const SearchOptions* _options;
    const MakeRenderer* _make_renderer;
    const TreeReader* _reader;
    SearchBatch _batch;
    std::optional<std::vector<std::int64_t>> _possible;  ///< none: the disk is read
    bool _checks;  ///< whether a file with a result is as it was indexed
};

SearchResult search_once(Database& db, const SearchOptions& options, SourceWanted source,
                         const MakeRenderer& make_renderer, const Emit& emit) {
    const Transaction snapshot(db, Transaction::Kind::READ);
    SearchResult result;
    SearchBatches batches(db, options, source);
    bool goes_on = true;
    while (goes_on) {
        std::optional<SearchBatch> batch = batches.next();
        if (!batch) break;
        result.from_index = std::holds_alternative<code_text::ChunkText>(batch->source);
        goes_on = options.limit > 0 &&
                  BatchSearch(options, make_renderer, batches.reader(), *std::move(batch))
                      .run(emit, result);
    }
    result.reason = batches.reason();
    result.unread = batches.reader().unread();
    return result;
}

constexpr const char* DAMAGED =
    "read from the files on disk: the index is damaged; run `codetext verify --repair`";

}  // namespace

SearchResult run_search(Database& db, const SearchOptions& options,
                        const MakeRenderer& make_renderer, const Emit& emit) {
    bool has_emitted = false;
    const Emit noting_emit = [&](std::string_view part, bool begins_file) {
        has_emitted = true;
        return emit(part, begins_file);
    };
    const auto may_read_disk = [&] { return options.source == SourceWanted::AUTO && !has_emitted; };
    try {
        return search_once(db, options, options.source, make_renderer, noting_emit);
    } catch (const DatabaseError& error) {
        if (!error.is_damage() || !may_read_disk()) throw;
    } catch (const chunk_store::DamagedChunk&) {
        if (!may_read_disk()) throw;
    }
    SearchResult result = search_once(db, options, SourceWanted::DISK, make_renderer, emit);
    result.reason = DAMAGED;
    result.is_damaged = true;
    return result;
}

}  // namespace codetext::search
