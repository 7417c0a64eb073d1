// A search goes through batches of files (search_batches.hpp), all in one read transaction.
//
// Damage: as long as nothing was put out, the search begins anew on the disk. Afterwards that would
// put out lines twice, so the failure goes on to the caller.

#include "search/run/search_run.hpp"

#include <fmt/format.h>

#include <string>
#include <utility>

#include "search/run/batch_search.hpp"
#include "search/run/search_batches.hpp"

namespace codetext::search {
namespace {

std::string description_of(const SearchBatch& batch) {
    const bool is_index = std::holds_alternative<code_text::ChunkText>(batch.source);
    return fmt::format("{} file(s) to look at, read from the {}", batch.files.size(),
                       is_index ? "index" : "disk");
}

std::string description_of(const SearchResult& result) {
    const Stats& stats = result.stats;
    return fmt::format(
        "{} file(s) searched, {} of them from disk: {} {}, {} without a match; {} file(s) match on "
        "{} line(s); {} refused by --and or --not; {} compared with the disk, {} stale",
        stats.files_searched, stats.files_from_disk, stats.segments,
        result.from_index ? "chunk(s)" : "text(s)", stats.segments_without_match,
        stats.files_with_match, stats.matched_lines, stats.files_refused, stats.files_checked,
        stats.files_stale);
}

SearchResult search_once(Database& db, const SearchOptions& options, SourceWanted source,
                         const MakeRenderer& make_renderer, const Emit& emit) {
    const Transaction snapshot(db, Transaction::Kind::READ);
    SearchResult result;
    StepLog log(options.explains);
    SearchBatches batches(db, options, source, log);
    try {
        bool goes_on = true;
        while (goes_on) {
            std::optional<SearchBatch> batch = batches.next();
            if (!batch) break;
            result.from_index = std::holds_alternative<code_text::ChunkText>(batch->source);
            log.add([&] { return description_of(*batch); });
            goes_on = options.limit > 0 && search_batch(options, make_renderer, batches.reader(),
                                                        *std::move(batch), emit, result);
        }
    } catch (const SearchStopped&) {
        result.stopped = true;
    }
    log.add([&] { return description_of(result); });
    result.steps = log.steps();
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
