// With a limit the first batches are small and grow: a search that ends early has read few rows,
// and one that does not pays for few batches. Without a limit there is one batch.
//
// The trigram index narrows the files only while the index answers. When a batch must be read from
// the disk, files that it left out may match too, and the batches begin anew with all files.
// Nothing was put out then: the state of the index, which decides, is one for all batches of a
// transaction.

#include "search/run/search_batches.hpp"

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

SearchBatches::SearchBatches(const Database& db, const SearchOptions& options, SourceWanted source)
    : _db(&db), _options(&options), _source(source), _reader(code_text::repository_root(db)) {
    if (source != SourceWanted::DISK) _layout = chunk_store::layout(db);
    if (_layout && chunk_store::asks_before_reading(*_layout)) {
        _candidates = chunks_worth_searching(db, options.query);
    }
    if (_candidates && options.result_kind != ResultKind::FILE_WITHOUT_MATCH) {
        _narrowed = _files_worth_searching();
    }
    _start();
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
    return files;
}

std::optional<SearchBatch> SearchBatches::next() {
    if (_is_done) return std::nullopt;
    std::vector<FileRow> files = _next_files();
    code_text::SourceChoice chosen = _choose(files);
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
            _start();
            files = _next_files();
        }
    }
    return SearchBatch{std::move(files), std::move(chosen.source), _disk()};
}

void SearchBatches::_start() {
    _in_order.reset();
    _count = FIRST_FILES;
    // A layout that answers with all texts at once gives them for one batch at the price of all.
    const bool may_end_early =
        _options->limit != NO_LIMIT && (!_layout || chunk_store::asks_before_reading(*_layout));
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

code_text::TextSource SearchBatches::_disk() const {
    // A pattern is tried on every line, so that nothing but the pattern decides.
    const Query& query = _options->query;
    return code_text::text_source(*_db, {}, query.pattern ? std::nullopt : query.needle,
                                  query.case_sensitive, std::nullopt, std::nullopt,
                                  _reader.reader())
        .source;
}

code_text::SourceChoice SearchBatches::_choose(const std::vector<FileRow>& files) const {
    if (_source == SourceWanted::DISK) return {_disk(), std::nullopt};
    const Query& query = _options->query;
    return code_text::text_source(*_db, files, narrowing_needle(query), query.case_sensitive,
                                  _layout, _candidates, _reader.reader());
}

}  // namespace codetext::search
