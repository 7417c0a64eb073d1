// With a limit the first batches are small and grow: a search that ends early has read few rows,
// and one that does not pays for few batches. Without a limit there is one batch.
//
// The trigram index narrows the files only while the index answers. When a batch must be read from
// the disk, files that it left out may match too, and the batches begin anew with all files.
// Nothing was put out then: the state of the index, which decides, is one for all batches of a
// transaction.

#include "search/run/search_batches.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <span>
#include <utility>

#include "search/run/chunks_worth_searching.hpp"

namespace codetext::search {

using code_text::FileRow;

namespace {

/// Files of the first batch where there are several, and how many times as many the next one has.
constexpr std::size_t FIRST_FILES = 256;
constexpr std::size_t GROWTH = 4;

}  // namespace

SearchBatches::SearchBatches(const Database& db, const SearchOptions& options, SourceWanted source,
                             StepLog& log)
    : _db(&db),
      _options(&options),
      _source(source),
      _reader(code_text::repository_root(db), options.binary_as_text
                                                  ? TreeReader::Binary::IS_TEXT
                                                  : TreeReader::Binary::HAS_NO_TEXT) {
    if (source != SourceWanted::DISK) _layout = chunk_store::layout(db);
    if (_layout && chunk_store::asks_before_reading(*_layout)) {
        _candidates = chunks_worth_searching(db, options.query);
        _condition_candidates.emplace(db, options.conditions);
    }
    const bool needs_match = options.result_kind == ResultKind::MATCHING_LINE ||
                             options.result_kind == ResultKind::FILE_WITH_MATCH;
    if (_candidates && needs_match) _narrowed = _files_worth_searching();
    log.add([this] { return _description(); });
    _start();
}

std::string SearchBatches::_description() const {
    if (_source == SourceWanted::DISK) return "the index is not asked";
    if (!_layout) return "the index has no text";
    if (!chunk_store::asks_before_reading(*_layout)) {
        return "this layout has no trigram index: SQLite looks through the chunks";
    }
    if (!_candidates) return "the trigram index narrows nothing: all chunks may match";
    std::string text = fmt::format("the trigram index leaves {} chunk(s) in {} file(s)",
                                   _candidates->rowids().size(), _candidates->file_ids().size());
    if (_narrowed) {
        text +=
            fmt::format("; with files kept on disk{}, {} file(s)",
                        _options->conditions.empty() ? "" : ", and by --and", _narrowed->size());
    }
    return text;
}

// Files kept on disk have no chunk, and may hold anything.
std::vector<std::int64_t> SearchBatches::_files_worth_searching() const {
    std::vector<std::int64_t> on_disk;
    _db->each("SELECT id FROM files WHERE text_on_disk = 1 ORDER BY id", {},
              [&](const RowView& row) {
                  on_disk.push_back(row.integer(0));
                  return Visit::CONTINUE;
              });
    const std::span<const std::int64_t> chunked = _candidates->file_ids();
    std::vector<std::int64_t> files;
    std::set_union(chunked.begin(), chunked.end(), on_disk.begin(), on_disk.end(),
                   std::back_inserter(files));
    _condition_candidates->narrow(files, on_disk);
    return files;
}

std::optional<SearchBatch> SearchBatches::next() {
    if (_is_done) return std::nullopt;
    std::vector<FileRow> files = _next_files();
    code_text::SourceChoice chosen = _choose(files, _options->query, _candidates);
    if (chosen.reason && !_reason) {
        _reason = std::move(chosen.reason);
        if (_source == SourceWanted::INDEX) {
            throw IndexCannotAnswer("the index cannot answer this search, which would be " +
                                    *_reason);
        }
        if (_narrowed) {
            // The files were narrowed by an index that does not know all of their text.
            _narrowed.reset();
            _candidates.reset();
            _condition_candidates.reset();
            _start();
            files = _next_files();
        }
    }
    SearchBatch batch{{}, std::move(chosen.source), _disk(_options->query), {}, {}};
    for (std::size_t i = 0; i < _options->conditions.size(); ++i) {
        const Query& query = _options->conditions[i].query;
        batch.conditions.push_back(
            _choose(files, query,
                    _condition_candidates ? _condition_candidates->of(i) : std::nullopt)
                .source);
        batch.conditions_on_disk.push_back(_disk(query));
    }
    _add_unindexed(files);
    batch.files = std::move(files);
    return batch;
}

// Those that come before the last file of the batch, or all that are left in the last batch.
void SearchBatches::_add_unindexed(std::vector<FileRow>& files) {
    const std::vector<FileRow>& unindexed = _options->unindexed;
    const std::size_t indexed = files.size();
    while (_unindexed < unindexed.size() &&
           (_is_done || unindexed[_unindexed].path < files[indexed - 1].path)) {
        files.push_back(unindexed[_unindexed++]);
    }
    std::inplace_merge(
        files.begin(), files.begin() + static_cast<std::ptrdiff_t>(indexed), files.end(),
        [](const FileRow& one, const FileRow& other) { return one.path < other.path; });
}

void SearchBatches::_start() {
    _in_order.reset();
    _unindexed = 0;
    _count = FIRST_FILES;
    // A layout that answers with all texts at once gives them for one batch at the price of all.
    const bool may_end_early = _options->order == FileOrder() && _options->limit != NO_LIMIT &&
                               (!_layout || chunk_store::asks_before_reading(*_layout));
    if (may_end_early && (!_narrowed || _narrowed->size() > FIRST_FILES)) {
        _in_order.emplace(*_db, _options->filter, _narrowed);
    }
}

std::vector<FileRow> SearchBatches::_next_files() {
    if (_in_order) {
        std::vector<FileRow> files = _in_order->next(_count);
        _is_done = files.size() < _count;
        _count *= GROWTH;
        return files;
    }
    _is_done = true;
    return _narrowed ? selected_files(*_db, _options->filter, *_narrowed)
                     : selected_files(*_db, _options->filter);
}

code_text::TextSource SearchBatches::_disk(const Query& query) const {
    // A pattern is tried on every line, so that nothing but the pattern decides.
    const bool narrows = !query.pattern && !query.inverted && !_options->wants.all_lines;
    return code_text::text_source(*_db, {}, narrows ? query.needle : std::nullopt,
                                  query.case_sensitive, std::nullopt, std::nullopt,
                                  _reader.reader())
        .source;
}

code_text::SourceChoice SearchBatches::_choose(
    const std::vector<FileRow>& files, const Query& query,
    const std::optional<chunk_store::Candidates>& asked) const {
    if (_source == SourceWanted::DISK) return {_disk(query), std::nullopt};
    const auto needle = _options->wants.all_lines ? std::nullopt : narrowing_needle(query);
    return code_text::text_source(*_db, files, needle, query.case_sensitive, _layout, asked,
                                  _reader.reader());
}

}  // namespace codetext::search
