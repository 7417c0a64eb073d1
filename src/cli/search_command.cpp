#include "cli/search_command.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include "cli/config.hpp"
#include "cli/existing_index.hpp"
#include "cli/exit_status.hpp"
#include "cli/file_types.hpp"
#include "cli/fresh_index.hpp"
#include "cli/json_output.hpp"
#include "cli/output.hpp"
#include "cli/search_arguments.hpp"
#include "cli/search_options.hpp"
#include "cli/search_paths.hpp"
#include "cli/search_summary.hpp"
#include "cli/text_output.hpp"
#include "cli/unindexed_files.hpp"
#include "indexer/plan/language.hpp"
#include "search/run/file_listing.hpp"
#include "search/run/search_run.hpp"
#include "storage/indexed_at.hpp"
#include "utils/wall_clock.hpp"

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

// One run of the command.
class SearchCommand {
  public:
    SearchCommand(SearchArguments arguments, SearchPaths paths, const WhichIndex& which)
        : _arguments(std::move(arguments)),
          _owners(which.owners()),
          _paths(std::move(paths)),
          _may_be_another(which.roots.empty()),
          _options(search_options(_arguments, _paths)),
          _format(text_format(_arguments, _out.is_terminal())) {
        _out.set_line_buffered(_arguments.line_buffered);
        if (_arguments.replaces) {
            _replacement.emplace(query_options(_arguments), _arguments.replacement);
            _format.line.replacement = &*_replacement;
        }
        if (_arguments.hyperlink) {
            const std::string& form = _arguments.hyperlink_format;
            _hyperlink.emplace(form.empty() ? "default" : form, _paths.root());
            if (!_hyperlink->is_none()) _format.hyperlink = &*_hyperlink;
        }
        _format.line.query = &_options.query;
        _format.paths = &_paths;
    }

    int run() {
        for (const std::string& missing : _paths.missing()) _tell_of_files(missing);
        if (_arguments.unrestricted) report(UNRESTRICTED);
        if (_is_refresh_due()) make_fresh(_paths.root(), _owners);
        Database db = open_existing_index(_paths.root(), _owners);
        if (_may_be_another) _report_who_answers();
        const std::vector<std::string> problems = _find_unindexed(db);
        if (_arguments.files) return _list(db, problems);
        // No line of any file is wanted, so none is searched.
        if (_arguments.max_count == 0) return _paths.missing().empty() ? NOTHING : FAILURE;
        const SearchResult result = _search(db);
        _finish(db, result);
        if (!result.is_damaged) _tell_problems(problems);
        return _exit_status(result);
    }

  private:
    static constexpr const char* UNRESTRICTED =
        "files that git ignores are not in the index: name them as PATHs to search them; -a "
        "searches binary files";

    bool _is_refresh_due() const {
        if (_arguments.fresh || _arguments.no_fresh || _arguments.fresh_after < 0) {
            return _arguments.fresh;
        }
        const std::optional<std::int64_t> at = schema::indexed_at(_paths.root(), _owners);
        return !at || now_ns() - *at >= _arguments.fresh_after * NS_PER_S;
    }

    void _report_who_answers() const {
        const auto line = who_answers(_paths.root(), _paths.searched());
        if (line) report(*line);
    }

    bool _has_context() const {
        const search::FileWants& wants = _options.wants;
        return !wants.all_lines && (wants.before > 0 || wants.after > 0);
    }

    /// Says what is wrong with a file.
    void _tell_of_files(const std::string& problem) const {
        if (!_arguments.no_messages) report(problem);
    }

    // What is named and cannot be searched must not be taken for "no match", nor what other paths
    // gave for the whole answer.
    void _tell_problems(const std::vector<std::string>& problems) const {
        for (const std::string& problem : problems) _tell_of_files(problem);
    }

    std::vector<std::string> _find_unindexed(const Database& db) {
        try {
            UnindexedFiles found =
                unindexed_files(db, _paths, _options.filter, _options.source != SourceWanted::INDEX,
                                _arguments.text);
            _options.unindexed = std::move(found.files);
            return std::move(found.problems);
        } catch (const DatabaseError& error) {
            if (!error.is_damage()) throw;
            return {};  // the search meets the damage too, and says so
        }
    }

    int _list(Database& db, const std::vector<std::string>& problems) {
        _format.shows = TextFormat::Shows::PATHS;
        std::int64_t left = _options.limit;
        search::OutputBuffer text(1 << 16, [this](std::string_view part) { _emit(part, true); });
        const auto renderer = make_text_renderer(_format, false);
        bool found = false;
        for (const code_text::FileRow& file : search::listed_files(db, _options)) {
            if (left-- == 0) break;
            renderer->begin(file, text);
            renderer->end({}, text);
            text.hand_on_if_large();
            found = true;
        }
        text.hand_on();
        _out.flush();
        _tell_problems(problems);
        if (!_paths.missing().empty()) return FAILURE;
        return found ? SUCCESS : NOTHING;
    }

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
        if (_arguments.json) {
            return make_json_renderer(_options.query, _paths, _format.line.replacement);
        }
        return make_text_renderer(_format, _has_context());
    }

    bool _emit(std::string_view part, bool begins_file) {
        if (_arguments.quiet || part.empty()) return true;
        if (begins_file && _bytes_printed > 0 && !_arguments.json) {
            if (!_write(file_separator(_format, _has_context()))) return false;
        }
        return _write(part);
    }

    // False once the output has as many bytes as it may have, or nobody reads it.
    bool _write(std::string_view part) {
        const std::int64_t most = or_no_limit(_arguments.max_bytes);
        const auto left = static_cast<std::size_t>(most - _bytes_printed);
        if (part.size() > left) {
            const char end = _format.null && !_format.line_number ? '\0' : '\n';
            part = part.substr(0, part.substr(0, left).rfind(end) + 1);
            _is_full = true;
        }
        _bytes_printed += static_cast<std::int64_t>(part.size());
        return _out.write(part) && !_is_full;
    }

    SearchSummary _summary(const Database& db, const SearchResult& result) const {
        SearchSummary summary{.result = &result,
                              .elapsed_ns = ns_since(_start),
                              .bytes_printed = _bytes_printed,
                              .is_cut = result.is_cut || _is_full};
        const bool is_wanted = _arguments.stats || (_arguments.json && !_arguments.quiet);
        if (is_wanted && !result.is_damaged) {
            summary.coverage = search::coverage_of(db, _options.filter);
        }
        if (is_wanted) summary.indexed_at_ns = schema::indexed_at(_paths.root(), _owners);
        return summary;
    }

    void _finish(const Database& db, const SearchResult& result) {
        const SearchSummary summary = _summary(db, result);
        if (_arguments.json && !_arguments.quiet) _out.write(json_summary(summary));
        _out.flush();
        if (result.reason) report(*result.reason);
        if (result.unread.count > 0) {
            _tell_of_files(
                fmt::format("{} file(s) could not be read, so matches in them are missing: {}",
                            result.unread.count, result.unread.first));
        }
        if (result.stats.files_stale > 0) {
            report(
                fmt::format("{} file(s) have changed since they were indexed and were searched "
                            "as they are; `codetext index` finds what is new elsewhere",
                            result.stats.files_stale));
        }
        if (summary.is_cut) {
            report(_is_full ? fmt::format("cut after {} bytes (--max-bytes): there is more",
                                          _bytes_printed)
                            : fmt::format("cut after {} results (--limit): there are more",
                                          result.results));
        }
        if (_arguments.stats) fmt::print(stderr, "{}", stats_text(summary));
        if (_arguments.explain) fmt::print(stderr, "{}", explanation(_options.query, summary));
    }

    bool _has_found(const SearchResult& result) const {
        const bool counts_all = _options.result_kind == search::ResultKind::FILE;
        return (counts_all ? result.stats.files_with_match : result.results) > 0;
    }

    int _exit_status(const SearchResult& result) const {
        const int status = _has_found(result) ? SUCCESS : NOTHING;
        // A match is a match, whatever could not be read; with -q that is all that was asked.
        const bool is_whole = result.unread.count == 0 && _paths.missing().empty();
        return is_whole || (_arguments.quiet && status == SUCCESS) ? status : FAILURE;
    }

    Clock::time_point _start = Clock::now();
    SearchArguments _arguments;
    schema::Owners _owners;
    SearchPaths _paths;
    bool _may_be_another;  ///< nobody has said which index is to answer
    Output _out{STDOUT_FILENO};
    SearchOptions _options;
    TextFormat _format;
    std::optional<search::Replacement> _replacement;
    std::optional<Hyperlink> _hyperlink;
    std::int64_t _bytes_printed = 0;
    bool _is_full = false;  ///< the output has as many bytes as it may have
};

}  // namespace

int search_main(SearchArguments arguments, const WhichIndex& which, const ReadAgain& read_again) {
    const auto settle = [&] {
        if (!arguments.type_list) arguments.settle_patterns();
    };
    settle();
    SearchPaths paths(arguments.type_list ? std::vector<std::string>() : arguments.paths,
                      which.root());
    const Settings defaults = which.no_config ? Settings() : settings_for(paths.root());
    if (!defaults.empty()) {
        arguments = read_again(defaults);
        settle();
    }
    if (arguments.type_list) {
        fmt::print("{}", type_list(arguments.own_types));
        return 0;
    }
    arguments.read_pattern_files();
    return SearchCommand(std::move(arguments), std::move(paths), which).run();
}

}  // namespace codetext::cli
