// A file is searched, and its first result makes it worth a look: has it changed since it was
// indexed, and do the conditions hold? Most files have no result and are not looked at. Nothing of
// a file is rendered before both are known; a file that has changed is searched again, on disk.

#include "search/run/file_results.hpp"

#include <algorithm>
#include <system_error>
#include <utility>

namespace codetext::search {

using code_text::FileRow;

namespace {

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
/// Ends the search of a file for which a condition does not hold, likewise.
struct ConditionFails {};

Freshness freshness_of(const FileRow& file, TreeReader::Stamps& stamps) {
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

bool is_indexed(const FileRow& file) { return file.file_id > 0; }

/// Whether a file without a match may be a result.
bool counts_without_match(ResultKind kind) {
    return kind == ResultKind::FILE_WITHOUT_MATCH || kind == ResultKind::FILE;
}

}  // namespace

std::int64_t results_of(const Stats& stats, ResultKind kind) {
    if (stats.files_gone > 0 || stats.files_refused > 0) return 0;
    switch (kind) {
        case ResultKind::MATCHING_LINE:
            return stats.matched_lines;
        case ResultKind::FILE_WITH_MATCH:
            return stats.files_with_match > 0 ? 1 : 0;
        case ResultKind::FILE_WITHOUT_MATCH:
            return stats.files_with_match > 0 ? 0 : 1;
        case ResultKind::FILE:
            return 1;
    }
    return 0;
}

FileResults::FileResults(const BatchContext& context, std::unique_ptr<Renderer> renderer)
    : _context(context),
      _source(context.batch->source),
      _disk(context.batch->disk),
      _conditions(context.options->conditions, context.batch->conditions),
      _conditions_on_disk(context.options->conditions, context.batch->conditions_on_disk),
      _stamps(context.reader->stamps()),
      _renderer(std::move(renderer)) {}

void FileResults::limit_text(std::size_t bytes) {
    _source = _context.batch->source;  // which holds no text
    _disk = _context.batch->disk;
    _conditions = {_context.options->conditions, _context.batch->conditions};
    _conditions_on_disk = {_context.options->conditions, _context.batch->conditions_on_disk};
    code_text::limit_text(_source, bytes);
    code_text::limit_text(_disk, bytes);
    _conditions.limit_text(bytes);
    _conditions_on_disk.limit_text(bytes);
}

Stats FileResults::search(std::size_t item, std::int64_t most_results, OutputBuffer& out) {
    const FileRow& file = _context.batch->files[item];
    const SearchOptions& options = *_context.options;
    FileWants wants = options.wants;
    wants.stop = options.stop;
    if (file.path == options.filter.from) wants.from_line = options.from_line;
    if (options.result_kind == ResultKind::MATCHING_LINE) {
        wants.max_matches = std::min(wants.max_matches, most_results);
    }
    if (options.result_kind == ResultKind::FILE_WITHOUT_MATCH) wants.lines = false;
    if (!is_indexed(file)) return _from_disk(file, wants, out);
    // Without an index to answer, the disk is read anyway.
    const bool checks =
        _context.possible->has_value() && options.source != SourceWanted::INDEX && file.stamp;
    bool is_checked = false;
    const auto check = [&] {
        if (!checks || std::exchange(is_checked, true)) return;
        const Freshness freshness = freshness_of(file, _stamps);
        if (freshness != Freshness::AS_INDEXED) throw NotAsIndexed{freshness};
    };
    Stats stats;
    try {
        const bool needs_no_match = counts_without_match(options.result_kind);
        if (needs_no_match) check();  // it may have lost its matches, or have got one
        const bool is_read = _is_possible(file) || wants.all_lines;
        stats = _shown(
            file, wants, is_read ? &_source : nullptr,
            [&] {
                check();
                if (!_conditions.holds(file)) throw ConditionFails();
            },
            out);
        stats.files_checked = is_checked ? 1 : 0;
    } catch (const ConditionFails&) {
        return {.files_searched = 1, .files_checked = is_checked ? 1 : 0, .files_refused = 1};
    } catch (const NotAsIndexed& found) {
        if (found.freshness == Freshness::GONE) {
            return {.files_checked = 1, .files_stale = 1, .files_gone = 1};
        }
        stats = _from_disk(file, wants, out);
        stats.files_checked = 1;
        stats.files_stale = found.freshness == Freshness::UNKNOWN ? 0 : 1;
    }
    return stats;
}

bool FileResults::_is_possible(const FileRow& file) const {
    const auto& possible = *_context.possible;
    return !possible || std::ranges::binary_search(*possible, file.file_id);
}

Stats FileResults::_from_disk(const FileRow& file, const FileWants& wants, OutputBuffer& out) {
    try {
        return _shown(
            file, wants, &_disk,
            [&] {
                if (!_conditions_on_disk.holds(file)) throw ConditionFails();
            },
            out);
    } catch (const ConditionFails&) {
        return {.files_searched = 1, .files_refused = 1};
    }
}

// Searches the file in `source`, none for a file that holds no match. `check` is called before
// anything of a result is rendered.
template <typename Check>
Stats FileResults::_shown(const FileRow& file, const FileWants& wants,
                          code_text::TextSource* source, const Check& check, OutputBuffer& out) {
    bool has_begun = false;
    const auto begin = [&] {
        if (std::exchange(has_begun, true)) return;
        check();
        _renderer->begin(file, out);
    };
    Stats stats;
    if (source != nullptr) {
        stats =
            search_file(*source, file, _context.options->query, wants, [&](const ResultLine& line) {
                begin();
                _renderer->line(line, out);
                out.hand_on_if_large();
            });
    }
    if (results_of(stats, _context.options->result_kind) > 0) {
        begin();
        stats.matches += _renderer->end(stats, out);
    }
    return stats;
}

}  // namespace codetext::search
