#include "cli/search_options.hpp"

#include <algorithm>
#include <utility>

#include "cli/color.hpp"
#include "cli/escaped.hpp"
#include "cli/file_types.hpp"
#include "search/query/named_groups.hpp"

namespace codetext::cli {

namespace {

using search::SearchOptions;
using search::SourceWanted;

std::int64_t or_no_limit(std::int64_t number) { return number < 0 ? search::NO_LIMIT : number; }

search::QueryOptions query_options(const SearchArguments& arguments,
                                   std::vector<std::string> patterns) {
    if (!arguments.fixed_strings) {
        for (std::string& pattern : patterns) pattern = search::with_named_groups(pattern);
    }
    return {.patterns = std::move(patterns),
            .fixed_strings = arguments.fixed_strings,
            .ignore_case = arguments.ignore_case,
            .smart_case = arguments.smart_case,
            .words = arguments.words,
            .whole_lines = arguments.whole_lines};
}

void add_globs(std::vector<search::Glob>& globs, const std::vector<std::string>& given,
               search::Glob::Case letter_case, const SearchPaths& paths) {
    for (const std::string& glob : given) {
        const std::string from_root = paths.glob_from_root(glob);
        const search::Glob as_given(glob);  // a failure shows the glob as the user wrote it
        globs.emplace_back(from_root, letter_case);
    }
}

search::FileFilter file_filter(const SearchArguments& arguments, const SearchPaths& paths) {
    search::FileFilter filter{
        .paths = paths.searched(),
        .globs = {},
        .languages = members_of_types(arguments.types, arguments.own_types),
        .languages_out = members_of_types(arguments.types_out, arguments.own_types)};
    for (const std::string& glob : arguments.left_out) filter.globs.emplace_back("!" + glob);
    filter.default_globs = filter.globs.size();
    add_globs(filter.globs, arguments.globs, search::Glob::Case::SENSITIVE, paths);
    add_globs(filter.globs, arguments.iglobs, search::Glob::Case::IGNORED, paths);
    if (arguments.max_depth >= 0) filter.max_depth = arguments.max_depth;
    if (arguments.max_filesize >= 0) filter.max_bytes = arguments.max_filesize;
    return filter;
}

// Ripgrep counts matches for "-c -o" too.
bool counts_matches(const SearchArguments& arguments) {
    return arguments.count_matches || (arguments.count && arguments.only_matching);
}

TextFormat::Shows shows(const SearchArguments& arguments) {
    if (arguments.files_with_matches || arguments.files_without_match) {
        return TextFormat::Shows::PATHS;
    }
    if (counts_matches(arguments)) return TextFormat::Shows::MATCH_COUNTS;
    return arguments.count ? TextFormat::Shows::COUNTS : TextFormat::Shows::LINES;
}

// A file's first match is enough when the output shows only paths, or nothing.
bool first_match_is_enough(const SearchArguments& arguments) {
    return shows(arguments) == TextFormat::Shows::PATHS || arguments.quiet;
}

search::FileWants file_wants(const SearchArguments& arguments) {
    if (first_match_is_enough(arguments)) {
        return {.max_matches = 1, .lines = false};
    }
    const bool has_lines = shows(arguments) == TextFormat::Shows::LINES;
    const bool all_lines = arguments.passthru && has_lines;
    return {.before = all_lines ? search::NO_LIMIT : arguments.lines_before(),
            .after = all_lines ? search::NO_LIMIT : arguments.lines_after(),
            .max_matches = or_no_limit(arguments.max_count),
            .lines = has_lines,
            .all_lines = all_lines,
            .matches = counts_matches(arguments),
            .offsets = arguments.json || arguments.byte_offset};
}

SourceWanted source_wanted(std::string_view name) {
    if (name == "index") return SourceWanted::INDEX;
    return name == "disk" ? SourceWanted::DISK : SourceWanted::AUTO;
}

search::ResultKind result_kind(const SearchArguments& arguments) {
    using search::ResultKind;
    if (arguments.files_without_match) return ResultKind::FILE_WITHOUT_MATCH;
    if (arguments.files_with_matches) return ResultKind::FILE_WITH_MATCH;
    if (shows(arguments) == TextFormat::Shows::LINES) {
        return arguments.passthru && !arguments.quiet ? ResultKind::FILE
                                                      : ResultKind::MATCHING_LINE;
    }
    const bool wants_all = arguments.include_zero && !arguments.quiet;
    return wants_all ? ResultKind::FILE : ResultKind::FILE_WITH_MATCH;
}

search::FileOrder file_order(const SearchArguments& arguments) {
    const bool is_reversed = !arguments.sort_backwards.empty();
    const std::string& key = is_reversed ? arguments.sort_backwards : arguments.sort;
    using By = search::FileOrder::By;
    const By by = key == "modified" ? By::MODIFIED : key == "created" ? By::CREATED : By::PATH;
    return {by, is_reversed};
}

std::vector<search::FileCondition> conditions(const SearchArguments& arguments) {
    std::vector<search::FileCondition> result;
    const auto add = [&](const std::vector<std::string>& patterns, bool is_wanted) {
        for (const std::string& pattern : patterns) {
            result.push_back({search::make_query(query_options(arguments, {pattern})), is_wanted});
        }
    };
    add(arguments.also, true);
    add(arguments.never, false);
    return result;
}

}  // namespace

search::QueryOptions query_options(const SearchArguments& arguments) {
    search::QueryOptions options = query_options(arguments, arguments.patterns);
    options.inverted = arguments.invert;
    return options;
}

SearchOptions search_options(const SearchArguments& arguments, const SearchPaths& paths) {
    SearchOptions options;
    if (!arguments.files) options.query = search::make_query(query_options(arguments));
    options.filter = file_filter(arguments, paths);
    options.source = source_wanted(arguments.source);
    options.wants = file_wants(arguments);
    options.result_kind = result_kind(arguments);
    options.conditions = conditions(arguments);
    options.binary_as_text = arguments.text;
    options.order = file_order(arguments);
    options.explains = arguments.explain;
    options.threads = static_cast<unsigned>(arguments.threads);
    options.limit = or_no_limit(arguments.limit);
    options.tells_cut = arguments.limit > 0 && !arguments.quiet;
    // The first result settles the exit status.
    if (arguments.quiet) options.limit = std::min<std::int64_t>(options.limit, 1);
    return options;
}

TextFormat text_format(const SearchArguments& arguments, bool is_terminal) {
    TextFormat format;
    format.shows = shows(arguments);
    const bool is_pretty = is_terminal || arguments.pretty;
    format.heading =
        !arguments.vimgrep && !arguments.no_heading && (arguments.heading || is_pretty);
    format.path = !arguments.no_filename;
    format.line_number = !arguments.no_line_number;
    format.column = arguments.column;
    format.byte_offset = arguments.byte_offset;
    format.each_match = arguments.vimgrep;
    format.only_matching = arguments.only_matching;
    format.null = arguments.null;
    format.match_separator = unescaped(arguments.match_field_separator);
    format.context_separator = unescaped(arguments.context_field_separator);
    format.gap = unescaped(arguments.context_separator);
    if (arguments.no_context_separator && !arguments.has_context_separator) format.gap.reset();
    format.line.to_terminal = is_terminal;
    format.line.trim = arguments.trim;
    const std::int64_t most = is_terminal ? TERMINAL_LINE_BYTES : 0;
    format.line.most_bytes = arguments.max_columns >= 0 ? arguments.max_columns : most;
    const Colors colors = terminal_colors(arguments.colors);
    const bool is_colored = arguments.pretty && arguments.color == "auto";
    if (is_colored || use_color(arguments.color, is_terminal)) format.line.colors = colors;
    return format;
}

}  // namespace codetext::cli
