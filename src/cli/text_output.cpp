#include "cli/text_output.hpp"

#include <fmt/format.h>

#include <utility>
#include <vector>

#include "cli/escaped.hpp"
#include "search/query/match_span.hpp"

namespace codetext::cli {

using search::FileResult;
using search::MatchSpan;
using search::ResultLine;

namespace {

void append_number(std::string& out, std::int64_t number) {
    const fmt::format_int digits(number);
    out.append(digits.data(), digits.size());
}

void append_path(std::string& out, const TextFormat& format, std::string_view path) {
    out.append(format.colors.path).append(path).append(format.colors.reset);
}

void append_text(std::string& out, const TextFormat& format, std::string_view text) {
    if (format.to_terminal) return append_escaped(out, text);
    out.append(text);
}

// Writes the lines of one file.
class LineWriter {
  public:
    LineWriter(const TextFormat& format, std::string_view path, std::string& out)
        : _format(format),
          _out(&out),
          _needs_spans(format.column || format.each_match || !format.colors.match.empty()) {
        if (!format.heading) append_path(_path, format, path);
    }

    void write(const ResultLine& line) {
        if (!line.is_match() || !_needs_spans) return _write(line, {}, 0);
        const std::vector<MatchSpan> spans = search::match_spans(*_format.query, line.text);
        const std::size_t lines = _format.each_match ? spans.size() : 1;
        for (std::size_t i = 0; i < lines; ++i) _write(line, spans, i);
    }

  private:
    void _write(const ResultLine& line, const std::vector<MatchSpan>& spans, std::size_t first) {
        const char separator = line.is_match() ? ':' : '-';
        if (!_format.heading) {
            _out->append(_path);
            *_out += _format.null ? '\0' : separator;
        }
        _out->append(_format.colors.line_number);
        append_number(*_out, line.number);
        _out->append(_format.colors.reset);
        *_out += separator;
        if ((_format.column || _format.each_match) && !spans.empty()) {
            append_number(*_out, static_cast<std::int64_t>(spans[first].start) + 1);
            *_out += separator;
        }
        _write_text(line.text, spans);
        *_out += '\n';
    }

    void _write_text(std::string_view text, const std::vector<MatchSpan>& spans) {
        std::size_t written = 0;
        if (!_format.colors.match.empty()) {
            for (const MatchSpan& span : spans) {
                if (span.start == span.end) continue;
                append_text(*_out, _format, text.substr(written, span.start - written));
                _out->append(_format.colors.match);
                append_text(*_out, _format, text.substr(span.start, span.end - span.start));
                _out->append(_format.colors.reset);
                written = span.end;
            }
        }
        append_text(*_out, _format, text.substr(written));
    }

    const TextFormat& _format;
    std::string* _out;
    bool _needs_spans;
    std::string _path;
};

/// About the size of the lines as text. A string that grows while it is written would take twice
/// the memory for the output of a large file.
std::size_t size_of_lines(const FileResult& result, const TextFormat& format,
                          std::string_view path) {
    constexpr std::size_t NUMBERS_AND_MARKS = 12;
    const std::size_t before = NUMBERS_AND_MARKS + (format.heading ? 0 : path.size());
    std::size_t size = result.lines.size() * before;
    for (const ResultLine& line : result.lines) size += line.text.size();
    return size;
}

void render_lines(const FileResult& result, const TextFormat& format, std::string_view path,
                  bool context, std::string& out) {
    out.reserve(size_of_lines(result, format, path));
    if (format.heading) {
        append_path(out, format, path);
        out += format.null ? '\0' : '\n';
    }
    LineWriter writer(format, path, out);
    std::int64_t follows = 0;
    for (const ResultLine& line : result.lines) {
        if (context && follows != 0 && line.number != follows) out.append("--\n");
        writer.write(line);
        follows = line.number + 1;
    }
}

}  // namespace

void render_text(const FileResult& result, const TextFormat& format, bool context,
                 std::string& out) {
    std::string path = format.paths->shown(result.file->path);
    if (!format.null || format.to_terminal) path = quoted_path(std::move(path));
    if (format.shows == TextFormat::Shows::LINES) {
        return render_lines(result, format, path, context, out);
    }
    append_path(out, format, path);
    const bool counts = format.shows == TextFormat::Shows::COUNTS;
    out += format.null ? '\0' : counts ? ':' : '\n';
    if (!counts) return;
    append_number(out, result.stats.matched_lines);
    out += '\n';
}

std::string_view file_separator(const TextFormat& format, bool context) {
    if (format.shows != TextFormat::Shows::LINES) return "";
    if (format.heading) return "\n";
    return context ? "--\n" : "";
}

}  // namespace codetext::cli
