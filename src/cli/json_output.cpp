// One object a line, as ripgrep writes them: begin, match and context, end for each file, and a
// summary. All text in it is UTF-8: the search decodes what it reads, and what is cut at other
// places is decoded again here.

#include "cli/json_output.hpp"

#include <fmt/format.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "search/query/match_span.hpp"
#include "utils/unicode.hpp"

namespace codetext::cli {

using search::FileResult;
using search::MatchSpan;
using search::ResultLine;

namespace {

constexpr std::int64_t NS_PER_SECOND = 1'000'000'000;

using Json = rapidjson::Writer<rapidjson::StringBuffer>;

void text(Json& json, std::string_view value) {
    json.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
}

void key(Json& json, std::string_view name) {
    json.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
}

void number(Json& json, std::string_view name, std::int64_t value) {
    key(json, name);
    json.Int64(value);
}

void wrapped_text(Json& json, std::string_view name, std::string_view value) {
    key(json, name);
    json.StartObject();
    key(json, "text");
    text(json, value);
    json.EndObject();
}

// The objects of one output, a line each.
class Objects {
  public:
    template <typename WriteData>
    void add(std::string_view type, const WriteData& write_data) {
        _json.Reset(_buffer);
        _json.StartObject();
        key(_json, "type");
        text(_json, type);
        key(_json, "data");
        _json.StartObject();
        write_data(_json);
        _json.EndObject();
        _json.EndObject();
        _buffer.Put('\n');
    }
    std::string_view view() const { return {_buffer.GetString(), _buffer.GetSize()}; }

  private:
    rapidjson::StringBuffer _buffer;
    Json _json{_buffer};
};

void elapsed(Json& json, std::string_view name, std::int64_t elapsed_ns) {
    key(json, name);
    json.StartObject();
    number(json, "secs", elapsed_ns / NS_PER_SECOND);
    number(json, "nanos", elapsed_ns % NS_PER_SECOND);
    key(json, "human");
    text(json, fmt::format("{:.6f}s", static_cast<double>(elapsed_ns) / NS_PER_SECOND));
    json.EndObject();
}

void stats(Json& json, const search::Stats& stats, std::int64_t bytes_printed) {
    key(json, "stats");
    json.StartObject();
    elapsed(json, "elapsed", stats.elapsed_ns);
    number(json, "searches", stats.files_searched);
    number(json, "searches_with_match", stats.files_with_match);
    number(json, "bytes_searched", stats.bytes_searched);
    number(json, "bytes_printed", bytes_printed);
    number(json, "matched_lines", stats.matched_lines);
    number(json, "matches", stats.matches);
    number(json, "segments", stats.segments);
    number(json, "segments_without_match", stats.segments_without_match);
    json.EndObject();
}

void submatches(Json& json, const std::vector<MatchSpan>& spans, std::string_view line) {
    key(json, "submatches");
    json.StartArray();
    for (const MatchSpan& span : spans) {
        json.StartObject();
        // A pattern can match one byte of a character (\C); JSON strings are UTF-8 all the same.
        wrapped_text(json, "match",
                     unicode::decode(std::string(line.substr(span.start, span.end - span.start))));
        number(json, "start", static_cast<std::int64_t>(span.start));
        number(json, "end", static_cast<std::int64_t>(span.end));
        json.EndObject();
    }
    json.EndArray();
}

void line_data(Json& json, const ResultLine& line, const std::vector<MatchSpan>& spans,
               std::string_view path) {
    wrapped_text(json, "path", path);
    wrapped_text(json, "lines", std::string(line.text) + '\n');
    number(json, "line_number", line.number);
    if (line.is_match()) number(json, "column", line.column);
    submatches(json, spans, line.text);
}

}  // namespace

std::int64_t render_json(const FileResult& result, const search::Query& query,
                         const SearchPaths& paths, std::string& out) {
    // A directory above the repository may have a name that is not UTF-8.
    const std::string path = unicode::decode(paths.shown(result.file->path));
    search::Stats shown = result.stats;
    Objects objects;
    objects.add("begin", [&](Json& json) { wrapped_text(json, "path", path); });
    for (const ResultLine& line : result.lines) {
        std::vector<MatchSpan> spans;
        if (line.is_match()) spans = search::match_spans(query, line.text);
        shown.matches += static_cast<std::int64_t>(spans.size());
        objects.add(line.is_match() ? "match" : "context",
                    [&](Json& json) { line_data(json, line, spans, path); });
    }
    const auto bytes_printed = static_cast<std::int64_t>(objects.view().size());
    objects.add("end", [&](Json& json) {
        wrapped_text(json, "path", path);
        key(json, "binary_offset");
        json.Null();
        stats(json, shown, bytes_printed);
    });
    out.append(objects.view());
    return shown.matches;
}

std::string json_summary(const search::SearchResult& result, std::int64_t elapsed_ns,
                         std::int64_t bytes_printed) {
    Objects objects;
    objects.add("summary", [&](Json& json) {
        elapsed(json, "elapsed_total", elapsed_ns);
        stats(json, result.stats, bytes_printed);
        key(json, "source");
        text(json, result.from_index ? "index" : "disk");
        key(json, "reason");
        result.reason ? text(json, *result.reason) : static_cast<void>(json.Null());
        key(json, "unreadable");
        json.Int64(result.unread.count);
    });
    return std::string(objects.view());
}

}  // namespace codetext::cli
