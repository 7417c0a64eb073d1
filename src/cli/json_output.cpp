// One object a line, as ripgrep writes them: begin, match and context, end for each file, and a
// summary. All text in it is UTF-8: the search decodes what it reads, and what is cut at other
// places is decoded again here.

#include "cli/json_output.hpp"

#include <fmt/format.h>
#include <rapidjson/writer.h>

#include <limits>
#include <string_view>
#include <utility>

#include "cli/times.hpp"
#include "search/query/match_span.hpp"
#include "utils/unicode.hpp"

namespace codetext::cli {

using search::MatchSpan;
using search::OutputBuffer;
using search::ResultLine;

namespace {

constexpr std::int64_t NS_PER_SECOND = 1'000'000'000;

// What RapidJSON writes to: it goes on to an OutputBuffer in parts.
class JsonStream {
  public:
    using Ch = char;
    explicit JsonStream(OutputBuffer& out) : _out(&out) {}
    JsonStream(const JsonStream&) = delete;
    JsonStream& operator=(const JsonStream&) = delete;

    // NOLINTNEXTLINE(readability-identifier-naming): RapidJSON calls it so
    void Put(char c) {
        if (_size == sizeof _part) _hand_over();
        _part[_size++] = c;
    }
    /// Called by RapidJSON at the end of each object.
    // NOLINTNEXTLINE(readability-identifier-naming): likewise
    void Flush() { _hand_over(); }

  private:
    void _hand_over() {
        _out->text().append(_part, _size);
        _size = 0;
        _out->hand_on_if_large();
    }
    OutputBuffer* _out;
    std::size_t _size = 0;
    char _part[4096];
};

using Json = rapidjson::Writer<JsonStream>;

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

// Writes one object, and the line feed after it.
template <typename WriteData>
void add_object(OutputBuffer& out, std::string_view type, const WriteData& write_data) {
    JsonStream stream(out);
    Json json(stream);
    json.StartObject();
    key(json, "type");
    text(json, type);
    key(json, "data");
    json.StartObject();
    write_data(json);
    json.EndObject();
    json.EndObject();
    out.text() += '\n';
}

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

void coverage(Json& json, const std::optional<search::Coverage>& coverage) {
    key(json, "coverage");
    if (!coverage) return static_cast<void>(json.Null());
    json.StartObject();
    number(json, "files", coverage->files);
    number(json, "left_out", coverage->left_out);
    number(json, "binary", coverage->binary);
    number(json, "unreadable", coverage->unreadable);
    json.EndObject();
}

class JsonRenderer : public search::Renderer {
  public:
    JsonRenderer(const search::Query& query, const SearchPaths& paths,
                 const search::Replacement* replacement)
        : _query(&query), _paths(&paths), _replacement(replacement) {}

    void begin(const code_text::FileRow& file, OutputBuffer&) override {
        // A directory above the repository may have a name that is not UTF-8.
        _path = unicode::decode(_paths->shown(file.path));
        _matches = 0;
        _has_lines = false;
    }

    void line(const ResultLine& line, OutputBuffer& out) override {
        // A file without a line has no object, as where --passthru shows an empty file.
        if (!_has_lines) {
            add_object(out, "begin", [&](Json& json) { wrapped_text(json, "path", _path); });
        }
        _has_lines = true;
        add_object(out, line.is_match() ? "match" : "context", [&](Json& json) {
            wrapped_text(json, "path", _path);
            wrapped_text(json, "lines", std::string(line.text) + '\n');
            number(json, "line_number", line.number);
            number(json, "absolute_offset", line.offset);
            if (line.is_match()) number(json, "column", line.column);
            _submatches(json, line);
        });
    }

    std::int64_t end(const search::Stats& of_file, OutputBuffer& out) override {
        if (!_has_lines) return 0;
        const auto bytes_printed = static_cast<std::int64_t>(out.size());
        search::Stats shown = of_file;
        shown.matches += _matches;
        add_object(out, "end", [&](Json& json) {
            wrapped_text(json, "path", _path);
            key(json, "binary_offset");
            json.Null();
            stats(json, shown, bytes_printed);
        });
        return _matches;
    }

  private:
    void _submatches(Json& json, const ResultLine& line) {
        key(json, "submatches");
        json.StartArray();
        if (line.is_match()) {
            search::each_match_span(*_query, line.text, [&](MatchSpan span) {
                _submatch(json, line.text, span);
                ++_matches;
                return true;
            });
        }
        json.EndArray();
    }

    void _submatch(Json& json, std::string_view line, MatchSpan span) const {
        json.StartObject();
        // A pattern can match one byte of a character (\C); JSON strings are UTF-8 all the same.
        wrapped_text(json, "match",
                     unicode::decode(std::string(line.substr(span.start, span.end - span.start))));
        if (_replacement) {
            wrapped_text(json, "replacement", unicode::decode(_replacement->of(line, span)));
        }
        number(json, "start", static_cast<std::int64_t>(span.start));
        number(json, "end", static_cast<std::int64_t>(span.end));
        json.EndObject();
    }

    const search::Query* _query;
    const SearchPaths* _paths;
    const search::Replacement* _replacement;
    std::string _path;          ///< of the file, as it is shown
    std::int64_t _matches = 0;  ///< written for the file
    bool _has_lines = false;    ///< likewise
};

}  // namespace

std::unique_ptr<search::Renderer> make_json_renderer(const search::Query& query,
                                                     const SearchPaths& paths,
                                                     const search::Replacement* replacement) {
    return std::make_unique<JsonRenderer>(query, paths, replacement);
}

std::string json_summary(const SearchSummary& summary) {
    const search::SearchResult& result = *summary.result;
    OutputBuffer out(std::numeric_limits<std::size_t>::max(), nullptr);
    add_object(out, "summary", [&](Json& json) {
        elapsed(json, "elapsed_total", summary.elapsed_ns);
        stats(json, result.stats, summary.bytes_printed);
        key(json, "source");
        text(json, result.from_index ? "index" : "disk");
        key(json, "reason");
        result.reason ? text(json, *result.reason) : static_cast<void>(json.Null());
        number(json, "from_disk", result.stats.files_from_disk);
        number(json, "unreadable", result.unread.count);
        key(json, "truncated");
        json.Bool(summary.is_cut);
        number(json, "checked", result.stats.files_checked);
        number(json, "stale", result.stats.files_stale);
        coverage(json, summary.coverage);
        key(json, "indexed_at");
        summary.indexed_at_ns ? text(json, utc_time(*summary.indexed_at_ns / NS_PER_SECOND))
                              : static_cast<void>(json.Null());
    });
    return out.text();
}

}  // namespace codetext::cli
