#include "cli/text_output.hpp"

#include <fmt/format.h>

#include <optional>
#include <string>
#include <utility>

#include "cli/escaped.hpp"
#include "search/query/match_span.hpp"

namespace codetext::cli {

using search::MatchSpan;
using search::OutputBuffer;
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

class TextRenderer : public search::Renderer {
  public:
    TextRenderer(const TextFormat& format, bool context)
        : _format(format),
          _has_context(context),
          _shows_columns(format.column || format.each_match),
          _colors_matches(!format.colors.match.empty()) {}

    void begin(const code_text::FileRow& file, OutputBuffer& out) override {
        std::string path = _format.paths->shown(file.path);
        if (!_format.null || _format.to_terminal) path = quoted_path(std::move(path));
        _path.clear();
        append_path(_path, _format, path);
        _follows = 0;
        if (!_shows_lines() || _format.heading) out.text() += _path;
        if (_shows_lines() && _format.heading) out.text() += _format.null ? '\0' : '\n';
    }

    void line(const ResultLine& line, OutputBuffer& out) override {
        if (_has_context && _follows != 0 && line.number != _follows) out.text() += "--\n";
        _follows = line.number + 1;
        if (!line.is_match()) return _write(line, std::nullopt, out);
        if (!_format.each_match) return _write_match(line, out);
        search::each_match_span(*_format.query, line.text, [&](MatchSpan span) {
            _write(line, span, out);
            out.hand_on_if_large();
            return true;
        });
    }

    std::int64_t end(const search::Stats& stats, OutputBuffer& out) override {
        if (_shows_lines()) return 0;
        const bool counts = _format.shows == TextFormat::Shows::COUNTS;
        out.text() += _format.null ? '\0' : counts ? ':' : '\n';
        if (!counts) return 0;
        append_number(out.text(), stats.matched_lines);
        out.text() += '\n';
        return 0;
    }

  private:
    bool _shows_lines() const { return _format.shows == TextFormat::Shows::LINES; }

    void _write_match(const ResultLine& line, OutputBuffer& out) const {
        std::optional<MatchSpan> first;
        if (_shows_columns) first = search::first_match_span(*_format.query, line.text);
        _write(line, first, out);
    }

    // `match` is the one whose column is shown.
    void _write(const ResultLine& line, const std::optional<MatchSpan>& match,
                OutputBuffer& out) const {
        const char separator = line.is_match() ? ':' : '-';
        std::string& text = out.text();
        if (!_format.heading) {
            text += _path;
            text += _format.null ? '\0' : separator;
        }
        text += _format.colors.line_number;
        append_number(text, line.number);
        text += _format.colors.reset;
        text += separator;
        if (match && _shows_columns) {
            append_number(text, static_cast<std::int64_t>(match->start) + 1);
            text += separator;
        }
        _write_text(line, out);
        out.text() += '\n';
    }

    void _write_text(const ResultLine& line, OutputBuffer& out) const {
        std::size_t written = 0;
        if (line.is_match() && _colors_matches) {
            search::each_match_span(*_format.query, line.text, [&](MatchSpan span) {
                if (span.start == span.end) return true;
                const std::string_view between = line.text.substr(written, span.start - written);
                append_text(out.text(), _format, between);
                out.text() += _format.colors.match;
                append_text(out.text(), _format,
                            line.text.substr(span.start, span.end - span.start));
                out.text() += _format.colors.reset;
                out.hand_on_if_large();
                written = span.end;
                return true;
            });
        }
        append_text(out.text(), _format, line.text.substr(written));
    }

    TextFormat _format;
    bool _has_context, _shows_columns, _colors_matches;
    std::string _path;          ///< of the file, as it is shown
    std::int64_t _follows = 0;  ///< number of the line after the last one; 0 before the first
};

}  // namespace

std::unique_ptr<search::Renderer> make_text_renderer(const TextFormat& format, bool context) {
    return std::make_unique<TextRenderer>(format, context);
}

std::string_view file_separator(const TextFormat& format, bool context) {
    if (format.shows != TextFormat::Shows::LINES) return "";
    if (format.heading) return "\n";
    return context ? "--\n" : "";
}

}  // namespace codetext::cli
