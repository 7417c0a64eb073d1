#include <fmt/format.h>

#include <algorithm>
#include <system_error>

#include "mcp/cursor.hpp"
#include "mcp/line_page.hpp"
#include "mcp/tool_calls.hpp"
#include "search/files/file_selection.hpp"
#include "search/run/tree_reader.hpp"
#include "storage/code_text.hpp"
#include "utils/text_find.hpp"
#include "utils/unicode.hpp"

namespace codetext::mcp {
namespace {

/// Rows that are read before the stop flag is looked at.
constexpr std::size_t BATCH_FILES = 4096;

/// Paths that hold a text; only the globs of the filter count where the pattern is one.
class PathMatch {
  public:
    PathMatch(const std::string& pattern, search::FileFilter& filter) : _part(pattern) {
        if (pattern.find_first_of("*?[{") != std::string::npos) {
            filter.globs.emplace_back(pattern);
            _part.clear();
        }
        _ignores_case = std::ranges::none_of(_part, [](char c) { return c >= 'A' && c <= 'Z'; });
    }
    bool operator()(std::string_view path) const {
        const std::size_t at = _ignores_case ? text_find::find_ignoring_ascii_case(path, _part)
                                             : text_find::find(path, _part);
        return at != text_find::NOT_FOUND;
    }

  private:
    std::string _part;
    bool _ignores_case;
};

/// Whether the file is there, as far as the system tells.
bool is_there(search::TreeReader::Stamps& stamps, const std::string& path) {
    try {
        return stamps.of(path).has_value();
    } catch (const std::system_error&) {
        return true;
    }
}

struct Found {
    std::vector<std::string> paths;
    std::optional<Position> next;
};

Found found_files(const Arguments& arguments, const ToolContext& context, Database& db) {
    search::FileFilter filter;
    const PathMatch matches(arguments.text("pattern"), filter);
    if (arguments.has("cursor")) {
        filter.from = parse_cursor(arguments.text("cursor"), arguments.question()).path;
    }
    const auto most = static_cast<std::size_t>(arguments.number("limit"));
    auto bytes_left = static_cast<std::size_t>(arguments.number("max_bytes"));
    const Transaction snapshot(db, Transaction::Kind::READ);
    search::SelectedFiles files(db, filter, std::nullopt);
    search::TreeReader::Stamps stamps = search::TreeReader(code_text::repository_root(db)).stamps();
    Found found;
    std::vector<code_text::FileRow> batch;
    do {
        if (context.stop) throw CallStopped();
        batch = files.next(BATCH_FILES);
        for (const code_text::FileRow& file : batch) {
            if (!matches(file.path) || !is_there(stamps, file.path)) continue;
            const std::size_t bytes = cost_of(file.path) + 1;
            const bool has_room = found.paths.empty() || bytes <= bytes_left;
            if (found.paths.size() == most || !has_room) {
                found.next = Position{file.path, 1};
                return found;
            }
            bytes_left -= std::min(bytes, bytes_left);
            found.paths.push_back(file.path);
        }
    } while (batch.size() == BATCH_FILES);
    return found;
}

}  // namespace

ToolResult find_files(const Arguments& arguments, const ToolContext& context) {
    const Freshness freshness = context.refresher.freshness();
    const Found found = found_files(arguments, context, context.index.open());
    JsonWriter json;
    std::string text;
    json.begin_object();
    json.key("paths");
    json.begin_array();
    for (const std::string& path : found.paths) {
        json.text(path);
        text += shown_path(path) + '\n';
    }
    json.end_array();
    text += fmt::format("[{} path{}", found.paths.size(), found.paths.size() == 1 ? "" : "s");
    if (found.next) {
        const std::string cursor = cursor_text(*found.next, arguments.question());
        json.text("next_cursor", cursor);
        text += ", and there are more; next page: cursor " + json_text(cursor);
    }
    add_freshness(json, freshness);
    json.end_object();
    return {text + "]\n" + freshness_text(freshness), json.str()};
}

}  // namespace codetext::mcp
