// A line is a row of pieces: text between matches, and matches or what replaces them. The pieces
// before the window are left out, the one that its beginning falls into is cut there, and the walk
// ends where the window is full. The window begins a little before its match. How long the line is
// as a whole is known without the pieces, unless matches are replaced: then they are counted first.

#include "cli/line_text.hpp"

#include <algorithm>
#include <functional>
#include <string>
#include <utility>

#include "cli/escaped.hpp"
#include "search/query/match_span.hpp"

namespace codetext::cli {

using search::MatchSpan;
using search::OutputBuffer;

namespace {

/// The part of a window that is in front of its match.
constexpr std::int64_t PART_BEFORE_MATCH = 4;

constexpr std::string_view WHITE_SPACE = " \t\v\f\r";

bool continues_code_point(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

std::size_t code_point_at_or_before(std::string_view text, std::size_t offset) {
    while (offset > 0 && offset < text.size() && continues_code_point(text[offset])) --offset;
    return offset;
}

void append_text(std::string& out, const LineFormat& format, std::string_view text) {
    if (format.to_terminal) return append_escaped(out, text);
    out.append(text);
}

void append_piece(OutputBuffer& out, const LineFormat& format, std::string_view text,
                  bool is_match) {
    const bool is_colored = is_match && !format.colors.match.empty();
    if (is_colored) out.text() += format.colors.match;
    append_text(out.text(), format, text);
    if (is_colored) out.text() += format.colors.reset;
    out.hand_on_if_large();
}

/// A piece of a line: `begin` and `end` are where it stands in the line, `text` what is shown.
struct Piece {
    std::size_t begin, end;
    std::string_view text;
    bool is_match;
};
using VisitPiece = std::function<bool(const Piece& piece)>;

bool marks_matches(const LineFormat& format) {
    return format.replacement != nullptr || !format.colors.match.empty();
}

/// Calls `visit` for each piece of the line from `from` on, until it returns false.
void each_piece(const LineFormat& format, std::string_view line, bool is_match, std::size_t from,
                const VisitPiece& visit) {
    std::size_t written = from;
    bool goes_on = true;
    const auto plain_until = [&](std::size_t end) {
        if (end <= written) return true;
        return visit({written, end, line.substr(written, end - written), false});
    };
    if (is_match && marks_matches(format)) {
        search::each_match_span(*format.query, line, [&](MatchSpan span) {
            const bool is_shown = format.replacement != nullptr || span.end > span.start;
            if (!is_shown || span.end < from) return true;
            goes_on = plain_until(span.start);
            if (!goes_on) return false;
            const std::size_t begin = std::max(span.start, written);
            const std::string replaced =
                format.replacement ? format.replacement->of(line, span) : std::string();
            const std::string_view text =
                format.replacement ? replaced : line.substr(begin, span.end - begin);
            written = span.end;
            goes_on = visit({begin, span.end, text, true});
            return goes_on;
        });
    }
    if (goes_on) plain_until(line.size());
}

std::size_t shown_bytes(const LineFormat& format, std::string_view line, bool is_match,
                        std::size_t from) {
    if (!format.replacement || !is_match) return line.size() - from;
    std::size_t bytes = 0;
    each_piece(format, line, is_match, from, [&](const Piece& piece) {
        bytes += piece.text.size();
        return true;
    });
    return bytes;
}

void append_window(OutputBuffer& out, const LineFormat& format, std::string_view line,
                   bool is_match, std::size_t from, std::size_t focus) {
    auto left = static_cast<std::size_t>(format.most_bytes);
    const std::size_t before = left / PART_BEFORE_MATCH;
    std::size_t begin = std::max(from, focus > before ? focus - before : 0);
    // The window reaches to the line's end where it can.
    if (begin + left > line.size())
        begin = std::max(from, line.size() - std::min(left, line.size()));
    begin = std::max(from, code_point_at_or_before(line, begin));
    if (begin > from) out.text() += CUT_MARK;
    bool is_cut = false;
    each_piece(format, line, is_match, begin, [&](const Piece& piece) {
        if (left == 0) {
            is_cut = true;
            return false;
        }
        const std::size_t size = piece.text.size() <= left
                                     ? piece.text.size()
                                     : code_point_at_or_before(piece.text, left);
        append_piece(out, format, piece.text.substr(0, size), piece.is_match);
        is_cut = size < piece.text.size();
        left -= size;
        return !is_cut;
    });
    if (is_cut) out.text() += CUT_MARK;
}

}  // namespace

void append_line(OutputBuffer& out, const LineFormat& format, std::string_view line, bool is_match,
                 std::optional<MatchSpan> focus) {
    std::size_t from = 0;
    if (format.trim) from = std::min(line.find_first_not_of(WHITE_SPACE), line.size());
    const auto most = static_cast<std::size_t>(format.most_bytes);
    if (most > 0 && shown_bytes(format, line, is_match, from) > most) {
        if (!focus && is_match) focus = search::first_match_span(*format.query, line);
        return append_window(out, format, line, is_match, from, focus ? focus->start : from);
    }
    if (!is_match || !marks_matches(format)) {
        return append_text(out.text(), format, line.substr(from));
    }
    each_piece(format, line, is_match, from, [&](const Piece& piece) {
        append_piece(out, format, piece.text, piece.is_match);
        return true;
    });
}

void append_match(OutputBuffer& out, const LineFormat& format, std::string_view line,
                  MatchSpan span) {
    const std::string replaced =
        format.replacement ? format.replacement->of(line, span) : std::string();
    std::string_view text =
        format.replacement ? replaced : line.substr(span.start, span.end - span.start);
    const auto most = static_cast<std::size_t>(format.most_bytes);
    const bool is_cut = most > 0 && text.size() > most;
    if (is_cut) text = text.substr(0, code_point_at_or_before(text, most));
    append_piece(out, format, text, true);
    if (is_cut) out.text() += CUT_MARK;
}

}  // namespace codetext::cli
