// What the tools have in common, and those that tell of the index.

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "indexer/status.hpp"
#include "mcp/line_page.hpp"
#include "mcp/tool_calls.hpp"
#include "utils/path_below.hpp"
#include "utils/unicode.hpp"

namespace codetext::mcp {
namespace {

/// What git and codetext keep for themselves; git's configuration may hold passwords.
bool is_private(std::string_view path) {
    for (std::size_t begin = 0; begin <= path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const std::string name = unicode::lower(path.substr(begin, end - begin));
        if (name == ".git" || name == ".codetext") return true;
        begin = end + 1;
    }
    return false;
}

}  // namespace

void check_path(const std::string& path) {
    if (!is_path_below(path)) {
        throw std::runtime_error(fmt::format(
            "{} is no path below the repository's root: give one relative to the root, without "
            "\"..\", such as src/main.c",
            json_text(path)));
    }
    if (is_private(path)) {
        throw std::runtime_error(
            fmt::format("{} lies where git or codetext keep their own files", shown_path(path)));
    }
}

void add_freshness(JsonWriter& json, const Freshness& freshness) {
    json.key("checked_at");
    freshness.checked_at ? json.text(*freshness.checked_at) : json.null();
    json.boolean("stale", freshness.is_stale);
}

std::string freshness_text(const Freshness& freshness) {
    if (!freshness.is_stale) return "";
    return fmt::format(
        "[the index was last compared with the files {}; newer changes may be "
        "missing]\n",
        freshness.checked_at ? "at " + *freshness.checked_at : "at an unknown time");
}

ToolResult index_status(const ToolContext& context) {
    const Freshness freshness = context.refresher.freshness();
    const indexer::IndexStatus status = indexer::index_status(context.index.open());
    const std::string root = unicode::decode(context.root.string());
    JsonWriter json;
    json.begin_object();
    json.text("root", root);
    json.number("files", status.files);
    json.number("file_bytes", status.file_bytes);
    json.number("kept_on_disk", status.kept_on_disk);
    json.number("binary_files", status.binary_files);
    json.number("unreadable_files", status.unreadable_files);
    json.number("without_text", status.without_chunks);
    json.number("index_bytes", status.database_bytes);
    json.boolean("watched", freshness.is_watched);
    json.boolean("refreshing", context.refresher.is_running());
    add_freshness(json, freshness);
    json.end_object();
    return {fmt::format("{}: {} files ({} bytes) in an index of {} bytes; {} binary and {} "
                        "unreadable files are left out\n{}{}",
                        shown_path(root), status.files, status.file_bytes, status.database_bytes,
                        status.binary_files, status.unreadable_files,
                        freshness.is_watched ? "[codetext watch keeps it up to date]\n" : "",
                        freshness_text(freshness)),
            json.str()};
}

ToolResult refresh_result(const std::optional<indexer::IndexReport>& report,
                          const Freshness& freshness) {
    constexpr std::size_t MOST_NOTES = 10;
    std::vector<std::string> notes;
    JsonWriter json;
    json.begin_object();
    json.boolean("by_watcher", !report);
    if (report) {
        json.number("new", report->new_files);
        json.number("changed", report->changed_files);
        json.number("gone", report->gone_files);
        notes = report->warnings;
        for (const indexer::UnreadableFile& file : report->unreadable) {
            notes.push_back(fmt::format("{} is left out: {}", file.path, file.reason));
        }
        notes.resize(std::min(notes.size(), MOST_NOTES));
    }
    json.key("notes");
    json.begin_array();
    for (std::string& note : notes) json.text(note = unicode::decode(std::move(note)));
    json.end_array();
    add_freshness(json, freshness);
    json.end_object();
    std::string text =
        report
            ? fmt::format("[{} files in the index: {} new, {} changed, {} gone]\n", report->files,
                          report->new_files, report->changed_files, report->gone_files)
            : "[codetext watch has taken in all changes]\n";
    for (const std::string& note : notes) text += fmt::format("[{}]\n", note);
    return {text, json.str()};
}

}  // namespace codetext::mcp
