// Descriptions are written for a model that must choose a tool and has seen none of this program:
// what it gives, when to use it, what it leaves out.

#include "mcp/tools.hpp"

#include <fmt/format.h>

#include <array>

#include "mcp/json.hpp"

namespace codetext::mcp {
namespace {

using Kind = Parameter::Kind;

constexpr Parameter MAX_BYTES = {
    .name = "max_bytes",
    .kind = Kind::NUMBER,
    .help =
        "About how many bytes of text the result may have. What does not fit comes with the "
        "next page",
    .least = 1024,
    .most = 65536,
    .fallback = 8192,
    .is_of_page = true};
constexpr Parameter CURSOR = {
    .name = "cursor",
    .kind = Kind::TEXT,
    .help =
        "next_cursor of the last result, to get the next page. Leave the other arguments as "
        "they were",
    .is_of_page = true};

constexpr auto SEARCH = std::to_array<Parameter>(
    {{"pattern", Kind::TEXT,
      "What lines must match: a regular expression in RE2's syntax (no look-around, no "
      "back-references), or plain text with fixed_strings. Lines are matched one by one",
      true},
     {"fixed_strings", Kind::FLAG, "Take the pattern as plain text"},
     {"paths", Kind::TEXTS,
      "Only these files and directories, relative to the repository's root, such as \"src/net\""},
     {"globs", Kind::TEXTS,
      "Only files that match, such as \"*.h\" or \"src/**/test_*\"; \"!GLOB\" excludes. The last "
      "one that matches a file decides"},
     {"types", Kind::TEXTS,
      "Only files of these languages, such as \"c\", \"cpp\", \"py\", \"ts\""},
     {"ignore_case", Kind::FLAG, "Ignore case"},
     {"smart_case", Kind::FLAG, "Ignore case unless the pattern has a capital letter"},
     {"words", Kind::FLAG, "Match whole words only"},
     {.name = "context",
      .kind = Kind::NUMBER,
      .help = "Lines to show before and after each match",
      .most = 20,
      .is_of_page = true},
     {.name = "limit",
      .kind = Kind::NUMBER,
      .help = "Matching lines on a page, at most",
      .least = 1,
      .most = 1000,
      .fallback = 100,
      .is_of_page = true},
     MAX_BYTES,
     CURSOR});

constexpr auto FIND = std::to_array<Parameter>(
    {{"pattern", Kind::TEXT,
      "A glob such as \"*.proto\" (names in any directory) or \"src/**/test_*.py\" (from the "
      "root), or a part of a path such as \"net/tun\"; the case of a part counts only if it has a "
      "capital letter",
      true},
     {.name = "limit",
      .kind = Kind::NUMBER,
      .help = "Paths on a page, at most",
      .least = 1,
      .most = 5000,
      .fallback = 200,
      .is_of_page = true},
     MAX_BYTES,
     CURSOR});

constexpr auto READ = std::to_array<Parameter>(
    {{"path", Kind::TEXT, "A file, relative to the repository's root, without \"..\"", true},
     {.name = "first",
      .kind = Kind::NUMBER,
      .help = "The first line, from 1",
      .least = 1,
      .most = INT64_C(1) << 31,
      .fallback = 1},
     {.name = "last",
      .kind = Kind::NUMBER,
      .help = "The last line; without it as many as fit",
      .least = 1,
      .most = INT64_C(1) << 31,
      .fallback = INT64_C(1) << 31},
     MAX_BYTES});

// What a result from the index says of how old it may be.
constexpr std::string_view CHECKED_AT =
    R"("checked_at":{"type":["string","null"],"description":"When the index was last compared with )"
    R"(all files (UTC); null: not since the server started"})";
constexpr std::string_view STALE =
    R"("stale":{"type":"boolean","description":"Files may have changed or been made since, so that )"
    R"(matches are missing; what is shown is true in any case. Call `refresh` to be sure"})";
constexpr std::string_view NEXT_CURSOR =
    R"("next_cursor":{"type":"string","description":"There is more: pass it as cursor"})";
constexpr std::string_view NOTES = R"("notes":{"type":"array","items":{"type":"string"}})";
constexpr std::string_view LINES =
    R"("lines":{"type":"array","items":{"type":"object","properties":{"line":{"type":"integer"},)"
    R"("text":{"type":"string"}},"required":["line","text"]}})";

constexpr Properties SEARCH_RESULT = {
    R"("files":{"type":"array","items":{"type":"object","properties":{"path":{"type":"string"},)"
    R"("lines":{"type":"array","items":{"type":"object","properties":{"line":{"type":"integer"},)"
    R"("text":{"type":"string"},"context":{"type":"boolean","description":"The line does not )"
    R"(match"}},"required":["line","text"]}}},"required":["path","lines"]}})",
    R"("matches":{"type":"integer","description":"Matching lines on this page"})",
    NEXT_CURSOR,
    NOTES,
    CHECKED_AT,
    STALE};
constexpr Properties FIND_RESULT = {R"("paths":{"type":"array","items":{"type":"string"}})",
                                    NEXT_CURSOR, CHECKED_AT, STALE};
constexpr Properties READ_RESULT = {
    R"("path":{"type":"string"})", R"("total_lines":{"type":"integer"})", LINES,
    R"("next_line":{"type":"integer","description":"There is more: pass it as first"})"};
constexpr Properties STATUS_RESULT = {
    R"("root":{"type":"string"},"watched":{"type":"boolean"},"refreshing":{"type":"boolean"})",
    R"("files":{"type":"integer"},"file_bytes":{"type":"integer"},"index_bytes":{"type":"integer"})",
    R"("binary_files":{"type":"integer"},"unreadable_files":{"type":"integer"})",
    R"("kept_on_disk":{"type":"integer"},"without_text":{"type":"integer"})",
    CHECKED_AT,
    STALE};
constexpr Properties REFRESH_RESULT = {
    R"("by_watcher":{"type":"boolean"})",
    R"("new":{"type":"integer"},"changed":{"type":"integer"},"gone":{"type":"integer"})", NOTES,
    CHECKED_AT, STALE};

constexpr auto TOOLS = std::to_array<Tool>(
    {{"search_code", "Search code",
      "Search the text of all files of the repository, line by line, from an index: takes "
      "milliseconds also in very large repositories. Gives exactly the lines that a scan of the "
      "files gives, grouped by file, in the order of paths, with line numbers. Binary files and "
      "files that git ignores are left out. A page that is cut has next_cursor.",
      Effect::READS, SEARCH, SEARCH_RESULT, R"(["files","matches","checked_at","stale"])"},
     {"find_files", "Find files",
      "List paths of the repository's files by a glob or a part of the path. Binary files and "
      "files that git ignores are left out. A page that is cut has next_cursor.",
      Effect::READS, FIND, FIND_RESULT, R"(["paths","checked_at","stale"])"},
     {"read_lines", "Read lines of a file",
      "Read lines of one file of the repository as it is on disk now, numbered as search_code "
      "numbers them. Use it to see more around a match.",
      Effect::READS, READ, READ_RESULT, R"(["path","total_lines","lines"])"},
     {"index_status",
      "Status of the index",
      "Say which repository this is, how many files its index holds, and how fresh it is.",
      Effect::READS,
      {},
      STATUS_RESULT,
      R"(["root","files","checked_at","stale"])"},
     {"refresh",
      "Refresh the index",
      "Make the index, or take in all changes of files up to now. Needed before the first search "
      "of a repository, and after edits when the next search must see new text. Takes moments "
      "where little has changed.",
      Effect::WRITES,
      {},
      REFRESH_RESULT,
      R"(["by_watcher","checked_at","stale"])"}});

void add_type(JsonWriter& json, const Parameter& parameter) {
    switch (parameter.kind) {
        case Kind::TEXT:
            return json.text("type", "string");
        case Kind::TEXTS:
            json.text("type", "array");
            return json.raw("items", R"({"type":"string"})");
        case Kind::FLAG:
            json.text("type", "boolean");
            return json.boolean("default", false);
        case Kind::NUMBER:
            json.text("type", "integer");
            json.number("minimum", parameter.least);
            json.number("maximum", parameter.most);
            if (parameter.fallback != parameter.most) json.number("default", parameter.fallback);
    }
}

void add_input_schema(JsonWriter& json, const Tool& tool) {
    json.key("inputSchema");
    json.begin_object();
    json.text("type", "object");
    json.key("properties");
    json.begin_object();
    for (const Parameter& parameter : tool.parameters) {
        json.key(parameter.name);
        json.begin_object();
        add_type(json, parameter);
        json.text("description", parameter.help);
        json.end_object();
    }
    json.end_object();
    json.key("required");
    json.begin_array();
    for (const Parameter& parameter : tool.parameters) {
        if (parameter.is_required) json.text(parameter.name);
    }
    json.end_array();
    json.boolean("additionalProperties", false);
    json.end_object();
}

std::string joined(const Properties& properties) {
    std::string text;
    for (const std::string_view property : properties) {
        if (!text.empty() && !property.empty()) text += ',';
        text += property;
    }
    return text;
}

void add_tool(JsonWriter& json, const Tool& tool) {
    json.begin_object();
    json.text("name", tool.name);
    json.text("title", tool.title);
    json.text("description", tool.description);
    add_input_schema(json, tool);
    json.raw("outputSchema", fmt::format(R"({{"type":"object","properties":{{{}}},"required":{}}})",
                                         joined(tool.result), tool.required));
    json.key("annotations");
    json.begin_object();
    json.text("title", tool.title);
    json.boolean("readOnlyHint", tool.effect == Effect::READS);
    json.boolean("destructiveHint", false);
    json.boolean("idempotentHint", true);
    json.boolean("openWorldHint", false);
    json.end_object();
    json.end_object();
}

bool is_there(const Tool& tool, bool may_write) {
    return may_write || tool.effect == Effect::READS;
}

}  // namespace

const Tool* tool_named(std::string_view name, bool may_write) {
    for (const Tool& tool : TOOLS) {
        if (tool.name == name && is_there(tool, may_write)) return &tool;
    }
    return nullptr;
}

std::string tool_list(bool may_write) {
    JsonWriter json;
    json.begin_object();
    json.key("tools");
    json.begin_array();
    for (const Tool& tool : TOOLS) {
        if (is_there(tool, may_write)) add_tool(json, tool);
    }
    json.end_array();
    json.end_object();
    return json.str();
}

}  // namespace codetext::mcp
