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

class TextRenderer : public search::Renderer {
  public:
    TextRenderer(const TextFormat& format, bool context)
        : _format(format),
          _has_context(context),
          _shows_columns(format.column || format.each_match) {}

    void begin(const code_text::FileRow& file, OutputBuffer& out) override {
        std::string path = _format.paths->shown(file.path);
        if (!_format.null || _format.line.to_terminal) path = quoted_path(std::move(path));
        _path.clear();
        _append_colored(_path, _format.line.colors.path, path);
        if (_format.hyperlink) _file = file.path;
        _follows = 0;
        // The path above the lines comes with the first of them: an empty file has none.
        _above.clear();
        const bool is_alone =
            _shows_lines() ? _format.heading && _format.path : _format.path || !_shows_counts();
        if (is_alone) _append_path(_shows_lines() ? _above : out.text(), 1, 1);
        if (is_alone && _shows_lines()) _above += _format.null ? '\0' : '\n';
    }

    void line(const ResultLine& line, OutputBuffer& out) override {
        if (!_above.empty()) out.text() += std::exchange(_above, "");
        const bool is_gap = _has_context && _follows != 0 && line.number != _follows;
        if (is_gap && _format.gap) out.text() += *_format.gap + '\n';
        _follows = line.number + 1;
        const bool is_inverted = _format.line.query->inverted;
        if (!line.is_match() || is_inverted) return _write(line, std::nullopt, out);
        if (!_format.each_match && !_format.only_matching) return _write_match(line, out);
        search::each_match_span(*_format.line.query, line.text, [&](MatchSpan span) {
            if (!_format.only_matching || span.end > span.start) _write(line, span, out);
            out.hand_on_if_large();
            return true;
        });
    }

    std::int64_t end(const search::Stats& stats, OutputBuffer& out) override {
        if (_shows_lines()) return 0;
        if (_shows_counts() && _format.path) out.text() += _format.null ? '\0' : ':';
        if (_shows_counts()) {
            append_number(out.text(), _format.shows == TextFormat::Shows::COUNTS
                                          ? stats.matched_lines
                                          : stats.matches);
        }
        out.text() += !_shows_counts() && _format.null ? '\0' : '\n';
        return 0;
    }

  private:
    bool _shows_lines() const { return _format.shows == TextFormat::Shows::LINES; }
    bool _shows_counts() const {
        return _format.shows == TextFormat::Shows::COUNTS ||
               _format.shows == TextFormat::Shows::MATCH_COUNTS;
    }

    void _append_colored(std::string& out, std::string_view color, std::string_view text) const {
        out += color;
        out += text;
        if (!color.empty()) out += _format.line.colors.reset;
    }

    void _append_path(std::string& out, std::int64_t line, std::int64_t column) const {
        if (_format.hyperlink) out += _format.hyperlink->begin(_file, line, column);
        out += _path;
        if (_format.hyperlink) out += Hyperlink::END;
    }

    void _write_match(const ResultLine& line, OutputBuffer& out) const {
        std::optional<MatchSpan> first;
        if (_shows_columns) first = search::first_match_span(*_format.line.query, line.text);
        _write(line, first, out);
    }

    // `match` is the one whose column is shown.
    void _write(const ResultLine& line, const std::optional<MatchSpan>& match,
                OutputBuffer& out) const {
        const std::string& separator =
            line.is_match() ? _format.match_separator : _format.context_separator;
        std::string& text = out.text();
        const std::int64_t column = match ? static_cast<std::int64_t>(match->start) + 1 : 1;
        if (_format.path && !_format.heading) {
            _append_path(text, line.number, column);
            _format.null ? text += '\0' : text += separator;
        }
        if (_format.line_number) {
            _append_field(text, _format.line.colors.line_number, line.number, separator);
        }
        if (match && _shows_columns) {
            _append_field(text, _format.line.colors.column, column, separator);
        }
        if (_format.byte_offset) {
            const bool is_of_match = match && (_format.only_matching || _format.each_match);
            const std::int64_t within = is_of_match ? column - 1 : 0;
            _append_field(text, "", line.offset + within, separator);
        }
        if (_format.only_matching && match) {
            append_match(out, _format.line, line.text, *match);
        } else {
            append_line(out, _format.line, line.text, line.is_match(), match);
        }
        out.text() += '\n';
    }

    void _append_field(std::string& out, std::string_view color, std::int64_t number,
                       const std::string& separator) const {
        out += color;
        append_number(out, number);
        if (!color.empty()) out += _format.line.colors.reset;
        out += separator;
    }

    TextFormat _format;
    bool _has_context, _shows_columns;
    std::string _path;          ///< of the file, as it is shown
    std::string _above;         ///< what stands above the file's first line, until it does
    std::string _file;          ///< its path below the root, where paths are links
    std::int64_t _follows = 0;  ///< number of the line after the last one; 0 before the first
};

}  // namespace

std::unique_ptr<search::Renderer> make_text_renderer(const TextFormat& format, bool context) {
    return std::make_unique<TextRenderer>(format, context);
}

std::string file_separator(const TextFormat& format, bool context) {
    if (format.shows != TextFormat::Shows::LINES) return "";
    if (format.heading) return "\n";
    return context && format.gap ? *format.gap + '\n' : "";
}

}  // namespace codetext::cli
