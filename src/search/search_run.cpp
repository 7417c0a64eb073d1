#include "search/search_run.hpp"

#include <algorithm>
#include <thread>
#include <utility>

#include "search/candidate_files.hpp"
#include "storage/chunk_store.hpp"

namespace codetext::search {

using code_text::FileRow;

namespace {

constexpr std::size_t FILES_WORTH_THREADS = 32;

// What is searched: files in path order, and where their text is read.
struct Scope {
    std::vector<FileRow> files;
    code_text::TextSource source;
    std::optional<std::string> reason;
};

std::vector<FileRow> narrowed_files(const Database& db, const SearchOptions& options,
                                    std::optional<chunk_store::Layout> store) {
    if (store == chunk_store::COMPRESSED && !options.files_without_match) {
        if (const auto ids = candidate_files(db, options.query)) {
            return selected_files(db, options.filter, *ids);
        }
    }
    return selected_files(db, options.filter);
}

Scope scope_of(const Database& db, const SearchOptions& options) {
    const Query& query = options.query;
    if (options.source == SourceWanted::DISK) {
        // A pattern is tried on every line, so that nothing but the pattern decides.
        code_text::SourceChoice disk =
            code_text::text_source(db, {}, query.pattern ? std::nullopt : query.needle,
                                   query.case_sensitive, std::nullopt);
        return {selected_files(db, options.filter), std::move(disk.source), std::nullopt};
    }
    const auto store = chunk_store::layout(db);
    std::vector<FileRow> files = narrowed_files(db, options, store);
    auto [source, reason] =
        code_text::text_source(db, files, query.needle, query.case_sensitive, store);
    if (!reason) return {std::move(files), std::move(source), std::nullopt};
    if (options.source == SourceWanted::INDEX) {
        throw IndexCannotAnswer("the index cannot answer this search; it would be " + *reason);
    }
    // The files were narrowed by an index that does not know all of their text.
    return {selected_files(db, options.filter), std::move(source), std::move(reason)};
}

// Ids of the files in which something can match; none: any of them.
std::optional<std::vector<std::int64_t>> possible_files(const code_text::TextSource& source) {
    const auto* chunks = std::get_if<code_text::ChunkText>(&source);
    return chunks ? std::optional(chunks->possible_files()) : std::nullopt;
}

bool holds(const std::vector<std::int64_t>& ids, std::int64_t id) {
    return std::binary_search(ids.begin(), ids.end(), id);
}

class Run {
  public:
    Run(const SearchOptions& options, const Render& render, Scope scope)
        : _options(&options),
          _render(&render),
          _scope(std::move(scope)),
          _possible(possible_files(_scope.source)) {
        if (!_possible || options.files_without_match) return;
        std::erase_if(_scope.files,
                      [&](const FileRow& file) { return !holds(*_possible, file.file_id); });
    }

    SearchResult run(const Emit& emit) {
        SearchResult result;
        result.from_index = std::holds_alternative<code_text::ChunkText>(_scope.source);
        result.reason = _scope.reason;
        const std::size_t count = _options->limit > 0 ? _scope.files.size() : 0;
        OrderedWork work(count, _work_options(), [this] { return _make_worker(); });
        for (std::size_t item = 0; item < count && !result.stopped; ++item) {
            Rendered file = work.next();
            if (_results(file.stats) > _options->limit - result.results) {
                file = _searched_up_to(item, _options->limit - result.results);
            }
            result.stats += file.stats;
            result.results += _results(file.stats);
            if (_results(file.stats) > 0) result.stopped = emit(file.out) == Visit::STOP;
            if (result.results == _options->limit) break;
        }
        return result;
    }

  private:
    std::int64_t _results(const Stats& stats) const {
        if (_options->files_without_match) return stats.files_with_match > 0 ? 0 : 1;
        return stats.matched_lines;
    }

    OrderedWorkOptions _work_options() const {
        OrderedWorkOptions options;
        if (_scope.files.size() < FILES_WORTH_THREADS) return options;
        const unsigned cores =
            _options->threads > 0 ? _options->threads : std::thread::hardware_concurrency();
        if (cores > 1) options.threads = cores;
        // What is searched beyond the last result is lost.
        if (_options->limit != NO_LIMIT) {
            options.batch_items = 1;
            options.window_batches = std::size_t{2} * std::max(cores, 1U);
        }
        return options;
    }

    OrderedWork::Worker _make_worker() const {
        FileWants wants = _options->wants;
        wants.max_matches = std::min(wants.max_matches, _options->limit);
        return [this, wants, source = _scope.source, result = FileResult()](
                   std::size_t item) mutable { return _searched(item, source, wants, result); };
    }

    Rendered _searched(std::size_t item, code_text::TextSource& source, const FileWants& wants,
                       FileResult& result) const {
        const FileRow& file = _scope.files[item];
        Rendered rendered;
        if (_possible && !holds(*_possible, file.file_id)) {
            result = FileResult();
            result.file = &file;
        } else {
            search_file(source, file, _options->query, wants, result);
        }
        rendered.stats = result.stats;
        if (_results(result.stats) > 0) (*_render)(result, rendered);
        return rendered;
    }

    Rendered _searched_up_to(std::size_t item, std::int64_t max_matches) const {
        FileWants wants = _options->wants;
        wants.max_matches = max_matches;
        code_text::TextSource source = _scope.source;
        FileResult result;
        return _searched(item, source, wants, result);
    }

    const SearchOptions* _options;
    const Render* _render;
    Scope _scope;
    std::optional<std::vector<std::int64_t>> _possible;
};

}  // namespace

SearchResult run_search(Database& db, const SearchOptions& options, const Render& render,
                        const Emit& emit) {
    const Transaction snapshot(db, Transaction::Kind::READ);
    return Run(options, render, scope_of(db, options)).run(emit);
}

}  // namespace codetext::search
