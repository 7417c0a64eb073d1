#include "cli/search_command.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <utility>

#include "cli/color.hpp"
#include "cli/existing_index.hpp"
#include "cli/exit_status.hpp"
#include "cli/file_types.hpp"
#include "cli/fresh_index.hpp"
#include "cli/json_output.hpp"
#include "cli/output.hpp"
#include "cli/search_arguments.hpp"
#include "cli/search_paths.hpp"
#include "cli/text_output.hpp"
#include "indexer/plan/language.hpp"
#include "search/run/search_run.hpp"

namespace codetext::cli {

namespace {

using search::SearchOptions;
using search::SearchResult;
using search::SourceWanted;
using Clock = std::chrono::steady_clock;

std::int64_t ns_since(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - start).count();
}

std::int64_t or_no_limit(std::int64_t number) { return number < 0 ? search::NO_LIMIT : number; }

search::QueryOptions query_options(const SearchArguments& arguments) {
    return {.patterns = arguments.patterns,
            .fixed_strings = arguments.fixed_strings,
            .ignore_case = arguments.ignore_case,
            .smart_case = arguments.smart_case,
            .words = arguments.words,
            .whole_lines = arguments.whole_lines};
}

search::FileFilter file_filter(const SearchArguments& arguments, const SearchPaths& paths) {
    search::FileFilter filter{.paths = paths.searched(),
                              .globs = {},
                              .languages = members_of_types(arguments.types),
                              .languages_out = members_of_types(arguments.types_out)};
    for (const std::string& glob : arguments.globs) {
        const std::string from_root = paths.glob_from_root(glob);
        const search::Glob as_given(glob);  // a failure shows the glob as the user wrote it
        filter.globs.emplace_back(from_root);
    }
    return filter;
}

// A file's first match is enough when the output shows only paths, or nothing.
bool first_match_is_enough(const SearchArguments& arguments) {
    return arguments.files_with_matches || arguments.files_without_match || arguments.quiet;
}

search::FileWants file_wants(const SearchArguments& arguments) {
    if (first_match_is_enough(arguments)) {
        return {.max_matches = arguments.max_count == 0 ? 0 : 1, .lines = false};
    }
    return {.before = arguments.lines_before(),
            .after = arguments.lines_after(),
            .max_matches = or_no_limit(arguments.max_count),
            .lines = !arguments.count};
}

SourceWanted source_wanted(std::string_view name) {
    if (name == "index") return SourceWanted::INDEX;
    return name == "disk" ? SourceWanted::DISK : SourceWanted::AUTO;
}

search::ResultKind result_kind(const SearchArguments& arguments) {
    if (arguments.files_without_match) return search::ResultKind::FILE_WITHOUT_MATCH;
    const bool is_of_files = arguments.files_with_matches || arguments.count;
    return is_of_files ? search::ResultKind::FILE_WITH_MATCH : search::ResultKind::MATCHING_LINE;
}

SearchOptions search_options(const SearchArguments& arguments, const SearchPaths& paths) {
    SearchOptions options;
    options.query = search::make_query(query_options(arguments));
    options.filter = file_filter(arguments, paths);
    options.source = source_wanted(arguments.source);
    options.wants = file_wants(arguments);
    options.result_kind = result_kind(arguments);
    options.limit = or_no_limit(arguments.limit);
    // The first result settles the exit status.
    if (arguments.quiet) options.limit = std::min<std::int64_t>(options.limit, 1);
    return options;
}

TextFormat::Shows shows(const SearchArguments& arguments) {
    if (arguments.files_with_matches || arguments.files_without_match) {
        return TextFormat::Shows::PATHS;
    }
    return arguments.count ? TextFormat::Shows::COUNTS : TextFormat::Shows::LINES;
}

TextFormat text_format(const SearchArguments& arguments, bool is_terminal) {
    TextFormat format;
    format.shows = shows(arguments);
    format.heading =
        !arguments.vimgrep && !arguments.no_heading && (arguments.heading || is_terminal);
    format.column = arguments.column;
    format.each_match = arguments.vimgrep;
    format.null = arguments.null;
    format.to_terminal = is_terminal;
    if (use_color(arguments.color, is_terminal)) format.colors = ANSI;
    return format;
}

std::string stats_text(const SearchResult& result, std::int64_t elapsed_ns) {
    const search::Stats& stats = result.stats;
    return fmt::format(
        "{} matching lines in {} files\n{} files searched\n{} {} read, {} of them without a match\n"
        "{} bytes searched\n{} files checked, {} stale\n{:.6f} seconds\nread from the {}\n",
        stats.matched_lines, stats.files_with_match, stats.files_searched, stats.segments,
        result.from_index ? "chunks" : "files", stats.segments_without_match, stats.bytes_searched,
        stats.files_checked, stats.files_stale, static_cast<double>(elapsed_ns) * 1e-9,
        result.from_index ? "index" : "disk");
}

// One run of the command.
class SearchCommand {
  public:
    SearchCommand(SearchArguments arguments, schema::Owners owners)
        : _arguments(std::move(arguments)),
          _owners(owners),
          _paths(_arguments.paths),
          _options(search_options(_arguments, _paths)),
          _format(text_format(_arguments, _out.is_terminal())) {
        _format.query = &_options.query;
        _format.paths = &_paths;
    }

    int run() {
        if (_arguments.fresh) make_fresh(_paths.root(), _owners);
        Database db = open_existing_index(_paths.root(), _owners);
        const SearchResult result = _search(db);
        _finish(result);
        if (!result.is_damaged) _report_unknown_paths(db);
        return _exit_status(result);
    }

  private:
    bool _has_context() const { return _options.wants.before > 0 || _options.wants.after > 0; }

    SearchResult _search(Database& db) {
        try {
            return search::run_search(
                db, _options, [this] { return _make_renderer(); },
                [this](std::string_view part, bool begins_file) {
                    return _emit(part, begins_file);
                });
        } catch (const std::exception&) {
            _out.flush();  // what was found stands, and the error is told after it
            throw;
        }
    }

    std::unique_ptr<search::Renderer> _make_renderer() const {
        if (_arguments.json) return make_json_renderer(_options.query, _paths);
        return make_text_renderer(_format, _has_context());
    }

    bool _emit(std::string_view part, bool begins_file) {
        if (_arguments.quiet) return true;
        if (begins_file && _bytes_printed > 0 && !_arguments.json)
            _out.write(file_separator(_format, _has_context()));
        _bytes_printed += static_cast<std::int64_t>(part.size());
        return _out.write(part);
    }

    void _finish(const SearchResult& result) {
        const std::int64_t elapsed_ns = ns_since(_start);
        if (_arguments.json && !_arguments.quiet) {
            _out.write(json_summary(result, elapsed_ns, _bytes_printed));
        }
        _out.flush();
        if (result.reason) report(*result.reason);
        if (result.unread.count > 0) {
            report(fmt::format("{} file(s) could not be read, so matches in them are missing: {}",
                               result.unread.count, result.unread.first));
        }
        if (result.stats.files_stale > 0) {
            report(
                fmt::format("{} file(s) have changed since they were indexed and were searched "
                            "as they are; `codetext index` finds what is new elsewhere",
                            result.stats.files_stale));
        }
        if (_arguments.stats) fmt::print(stderr, "{}", stats_text(result, elapsed_ns));
    }

    int _exit_status(const SearchResult& result) const {
        const int status = result.results > 0 ? SUCCESS : NOTHING;
        // A match is a match, whatever could not be read; with -q that is all that was asked.
        const bool is_certain = result.unread.count == 0 || (_arguments.quiet && status == SUCCESS);
        return is_certain ? status : FAILURE;
    }

    // Nothing is found in a path that is ignored, binary or new. Users must not take this for "no
    // match", nor what other paths gave for the whole answer.
    void _report_unknown_paths(const Database& db) const {
        for (const std::string& path : _paths.searched()) {
            if (search::has_files_at(db, path)) continue;
            const std::string shown = _paths.shown(path);
            if (const auto reason = search::why_skipped(db, path)) {
                report(fmt::format("{} is not searched: the last run found it {}", shown, *reason));
            } else {
                report(fmt::format("the index has no files at {}", shown.empty() ? "." : shown));
            }
        }
    }

    Clock::time_point _start = Clock::now();
    SearchArguments _arguments;
    schema::Owners _owners;
    SearchPaths _paths;
    Output _out{STDOUT_FILENO};
    SearchOptions _options;
    TextFormat _format;
    std::int64_t _bytes_printed = 0;
};

}  // namespace

int search_main(SearchArguments arguments, schema::Owners owners) {
    if (arguments.type_list) {
        fmt::print("{}", type_list());
        return 0;
    }
    arguments.settle_pattern();
    return SearchCommand(std::move(arguments), owners).run();
}

}  // namespace codetext::cli
