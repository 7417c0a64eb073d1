// The search's threads render lines into records; the thread that emits puts them onto the page. So
// lines are shortened where they are found, and only the page knows when it is full.
//
// A record is a header and a text: a path that begins a file, or a line.

#include <fmt/format.h>

#include <cstring>

#include "mcp/line_page.hpp"
#include "mcp/tool_calls.hpp"
#include "search/files/coverage.hpp"
#include "search/run/search_run.hpp"

namespace codetext::mcp {
namespace {

struct Record {
    enum class Kind : std::uint8_t { PATH, MATCH, CONTEXT };
    Kind kind;
    std::uint32_t size_bytes;  ///< of the text that follows
    std::int64_t line;
};

void add_record(search::OutputBuffer& out, Record::Kind kind, std::int64_t line,
                std::string_view text) {
    const Record record{kind, static_cast<std::uint32_t>(text.size()), line};
    out.text().append(reinterpret_cast<const char*>(&record), sizeof record);
    out.text().append(text);
}

template <typename Take>
bool each_record(std::string_view records, const Take& take) {
    while (!records.empty()) {
        Record record;
        std::memcpy(&record, records.data(), sizeof record);
        if (!take(record, records.substr(sizeof record, record.size_bytes))) return false;
        records.remove_prefix(sizeof record + record.size_bytes);
    }
    return true;
}

class RecordRenderer : public search::Renderer {
  public:
    explicit RecordRenderer(const search::Query& query) : _query(&query) {}

    void begin(const code_text::FileRow& file, search::OutputBuffer& out) override {
        add_record(out, Record::Kind::PATH, 0, file.path);
    }
    void line(const search::ResultLine& line, search::OutputBuffer& out) override {
        const bool is_long = line.text.size() > MOST_LINE_BYTES;
        const std::size_t wanted =
            is_long && line.is_match() ? search::first_match_span(*_query, line.text)->start : 0;
        add_record(out, line.is_match() ? Record::Kind::MATCH : Record::Kind::CONTEXT, line.number,
                   shortened(line.text, wanted));
    }
    std::int64_t end(const search::Stats& /*stats*/, search::OutputBuffer& /*out*/) override {
        return 0;
    }

  private:
    const search::Query* _query;
};

/// A path of the client as the index has it; the root itself is the empty path.
std::string searched_path(std::string path) {
    while (path.starts_with("./")) path.erase(0, 2);
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    if (path.empty() || path == ".") return "";
    check_path(path);
    return path;
}

search::Glob glob_of(std::string_view glob) {
    const bool excludes = glob.starts_with('!');
    std::string_view rest = glob.substr(excludes ? 1 : 0);
    if (!rest.starts_with("./")) return search::Glob(glob);
    return search::Glob(fmt::format("{}{}", excludes ? "!" : "", rest.substr(1)));
}

search::SearchOptions search_options(const Arguments& arguments, const ToolContext& context) {
    search::SearchOptions options;
    options.query = search::make_query({.patterns = {arguments.text("pattern")},
                                        .fixed_strings = arguments.flag("fixed_strings"),
                                        .ignore_case = arguments.flag("ignore_case"),
                                        .smart_case = arguments.flag("smart_case"),
                                        .words = arguments.flag("words")});
    std::vector<std::string> paths = arguments.texts("paths");
    for (std::string& path : paths) path = searched_path(std::move(path));
    options.filter.paths = search::SearchedPaths(std::move(paths));
    for (const std::string& glob : arguments.texts("globs")) {
        options.filter.globs.push_back(glob_of(glob));
    }
    options.filter.languages = context.members_of_types(arguments.texts("types"));
    options.wants.before = options.wants.after = arguments.number("context");
    options.limit = arguments.number("limit") + 1;  // one more tells that there is more
    options.stop = &context.stop;
    if (arguments.has("cursor")) {
        Position begin = parse_cursor(arguments.text("cursor"), arguments.question());
        options.filter.from = std::move(begin.path);
        options.from_line = begin.line;
    }
    return options;
}

using Notes = std::vector<std::string>;

/// Nothing is found in a path that is ignored, binary or new; that must not look like an answer.
void note_unknown_paths(const Database& db, const search::FileFilter& filter, Notes& notes) {
    for (const std::string& path : filter.paths.outermost()) {
        if (path.empty() || search::has_files_at(db, path)) continue;
        const search::Coverage found =
            search::coverage_of(db, {.paths = {path}, .globs = {}, .languages = {}});
        const char* reason = found.binary > 0 ? "binary" : "unreadable";
        notes.push_back(found.binary + found.unreadable > 0
                            ? fmt::format("{} is not searched: it is {}", path, reason)
                            : fmt::format("the index has no files at {}", path));
    }
}

Notes notes_of(const search::SearchResult& result, const LinePage& page) {
    Notes notes;
    if (result.reason) notes.push_back(*result.reason);
    if (result.unread.count > 0) {
        notes.push_back(
            fmt::format("{} file(s) could not be read, so matches in them are missing: {}",
                        result.unread.count, result.unread.first));
    }
    if (result.stats.files_stale > 0) {
        notes.push_back(
            fmt::format("{} file(s) have changed since they were indexed and were "
                        "searched as they are; `refresh` finds what is new elsewhere",
                        result.stats.files_stale));
    }
    if (page.lacks_context()) notes.emplace_back("some context lines are left out for max_bytes");
    return notes;
}

std::string summary(const LinePage& page, const std::optional<std::string>& cursor) {
    const std::int64_t matches = page.matches();
    if (!cursor) return fmt::format("[{} matching line{}]\n", matches, matches == 1 ? "" : "s");
    return fmt::format("[{} matching lines, and there are more; next page: cursor {}]\n", matches,
                       json_text(*cursor));
}

ToolResult shown(const LinePage& page, const std::optional<std::string>& cursor, const Notes& notes,
                 const Freshness& freshness) {
    JsonWriter json;
    json.begin_object();
    json.raw("files", page.json());
    json.number("matches", page.matches());
    if (cursor) json.text("next_cursor", *cursor);
    if (!notes.empty()) {
        json.key("notes");
        json.begin_array();
        for (const std::string& note : notes) json.text(note);
        json.end_array();
    }
    add_freshness(json, freshness);
    json.end_object();
    std::string text = page.text() + (page.text().empty() ? "" : "\n") + summary(page, cursor);
    for (const std::string& note : notes) text += fmt::format("[{}]\n", note);
    return {text + freshness_text(freshness), json.str()};
}

}  // namespace

ToolResult search_code(const Arguments& arguments, const ToolContext& context) {
    const search::SearchOptions options = search_options(arguments, context);
    // Before the search: what it finds is at least as new.
    const Freshness freshness = context.refresher.freshness();
    Database& db = context.index.open();
    LinePage page({.most_matches = arguments.number("limit"),
                   .most_bytes = static_cast<std::size_t>(arguments.number("max_bytes")),
                   .after = options.wants.after});
    const auto take = [&](const Record& record, std::string_view text) {
        if (record.kind != Record::Kind::PATH) {
            return page.line({record.line, record.kind == Record::Kind::MATCH, std::string(text)});
        }
        page.file(text);
        return true;
    };
    const search::SearchResult result = search::run_search(
        db, options, [&] { return std::make_unique<RecordRenderer>(options.query); },
        [&](std::string_view records, bool /*begins_file*/) { return each_record(records, take); });
    if (context.stop) throw CallStopped();
    page.finish();
    Notes notes = notes_of(result, page);
    if (!result.is_damaged) note_unknown_paths(db, options.filter, notes);
    std::optional<std::string> cursor;
    if (page.next()) cursor = cursor_text(*page.next(), arguments.question());
    return shown(page, cursor, notes, freshness);
}

}  // namespace codetext::mcp
