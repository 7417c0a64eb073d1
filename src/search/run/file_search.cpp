#include "search/run/file_search.hpp"

#include <algorithm>
#include <chrono>
#include <optional>

#include "search/run/line_offsets.hpp"

namespace codetext::search {

using code_text::FileRow;

// A byte-order mark at a file's start is no part of what a pattern is matched with, nor of what is
// printed: the first segment is replaced by one without it before it is searched. Only the column
// of a match on line 1 counts the mark, for it is a column in the line as the text source has it.

namespace {

constexpr std::string_view BYTE_ORDER_MARK = "\uFEFF";

std::int64_t now_ns() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

std::int64_t saturated_sum(std::int64_t number, std::int64_t more) {
    return more > NO_LIMIT - number ? NO_LIMIT : number + more;
}

bool begins_with_mark(const code_text::Segment& segment) {
    return segment.first == 1 && segment.lines.text().starts_with(BYTE_ORDER_MARK);
}

code_text::Lines without_mark(const code_text::Lines& lines) {
    if (!lines.text().starts_with(BYTE_ORDER_MARK)) return lines;
    return code_text::Lines(std::string(lines.text().substr(BYTE_ORDER_MARK.size())));
}

code_text::SegmentList without_mark(const code_text::SegmentList& segments) {
    std::vector<code_text::Segment> copies(segments.begin(), segments.end());
    copies.front().lines = without_mark(copies.front().lines);
    return code_text::SegmentList(std::move(copies));
}

/// Context lines that are cut out at a time.
constexpr std::int64_t CONTEXT_LINES = 4096;

// The search of one file. Matches come in order; the lines around them are shown as soon as it is
// known which they are: those after a match when the next match, or the end, is found. They are cut
// from the segment of the match where that holds them all, and only else from the whole file, which
// must be read for it. Matches ascend, and so do lines and segments: nothing is passed twice.
class FileSearch {
  public:
    FileSearch(code_text::TextSource& source, const FileRow& file, const Query& query,
               const FileWants& wants, const ShowLine& show)
        : _source(&source), _file(&file), _query(&query), _wants(wants), _show(&show) {}

    Stats run() {
        _segments = code_text::segments(*_source, _file->file_id, _file->path);
        _has_mark = !_segments.empty() && begins_with_mark(_segments[0]);
        if (_has_mark) _segments = without_mark(_segments);
        for (const code_text::Segment& segment : _segments) {
            if (_stats.matched_lines >= _wants.max_matches) break;
            if (_wants.stop && *_wants.stop) throw SearchStopped();
            _search(segment);
        }
        if (_wants.all_lines) _wanted_until = NO_LIMIT;
        if (_wanted_until > 0) _show_context(_next, _wanted_until);
        _stats.files_searched = 1;
        _stats.files_from_disk = code_text::reads_disk(*_source, _file->file_id) ? 1 : 0;
        _stats.files_with_match = _stats.matched_lines > 0 ? 1 : 0;
        return _stats;
    }

  private:
    void _search(const code_text::Segment& segment) {
        const std::int64_t before = _stats.matched_lines;
        if (_query->inverted) {
            _search_inverted(segment);
        } else {
            for (const code_text::LineMatch& match : _matches_in(segment)) {
                if (!_count({segment.first + match.number - 1, match.column, match.line})) break;
            }
        }
        ++_stats.segments;
        if (_stats.matched_lines == before) ++_stats.segments_without_match;
        _stats.bytes_searched += static_cast<std::int64_t>(segment.lines.text().size());
    }

    code_text::LineMatches<Pattern> _matches_in(const code_text::Segment& segment) const {
        const Pattern* pattern = _query->pattern ? &*_query->pattern : nullptr;
        return code_text::line_matches(segment.lines, _query->needle.value_or(""), pattern,
                                       _query->case_sensitive);
    }

    // The lines between the matches are the ones looked for.
    void _search_inverted(const code_text::Segment& segment) {
        auto matches = _matches_in(segment);
        auto match = matches.begin();
        std::int64_t number = 0;
        for (const std::string_view line : segment.lines) {
            ++number;
            if (match != matches.end() && match->number == number) {
                ++match;
            } else if (!_count({segment.first + number - 1, 0, line})) {
                return;
            }
        }
    }

    // Takes in a matching line; false when no further one is wanted.
    bool _count(const ResultLine& match) {
        if (match.number < _wants.from_line) return true;
        ++_stats.matched_lines;
        if (_wants.matches) _count_matches(match.text);
        if (_wants.lines) _take(match);
        return _stats.matched_lines < _wants.max_matches;
    }

    void _count_matches(std::string_view line) {
        _stats.matches += _query->inverted ? 1 : 0;
        each_match_span(*_query, line, [this](MatchSpan) {
            ++_stats.matches;
            return true;
        });
    }

    void _take(ResultLine match) {
        if (_has_mark && match.number == 1 && !_query->inverted) ++match.column;
        _show_context(_next, std::min(_wanted_until, match.number - 1));
        _show_context(std::max(_next, match.number - _wants.before), match.number - 1);
        _show_line(match);
        _next = match.number + 1;
        if (_wants.after > 0) _wanted_until = saturated_sum(match.number, _wants.after);
    }

    void _show_context(std::int64_t first, std::int64_t last) {
        while (first <= last) {
            const auto& [lines, start] = _run_holding(first, last);
            const std::int64_t until = std::min(last, saturated_sum(first, CONTEXT_LINES - 1));
            const auto cut = code_text::context(lines, first, until, start);
            for (const code_text::ContextLine& line : cut) {
                _show_line({line.line, -1, line.content});
                _next = line.line + 1;
            }
            if (_next <= until) return;  // the file ends before
            first = _next;
        }
    }

    // A run of lines that holds what the file has of the range: a segment, or else the whole file.
    std::pair<const code_text::Lines&, std::int64_t> _run_holding(std::int64_t first,
                                                                  std::int64_t last) {
        for (; _segment < _segments.size(); ++_segment) {
            const code_text::Segment& segment = _segments[_segment];
            const auto size = static_cast<std::int64_t>(segment.lines.size());
            if (first >= segment.first + size) {
                if (segment.last) return {_all_lines, 1};  // which has no such line, read or not
                continue;
            }
            if (first >= segment.first && (segment.last || last < segment.first + size)) {
                return {segment.lines, segment.first};
            }
            break;
        }
        return {_whole_file(), 1};
    }

    const code_text::Lines& _whole_file() {
        if (!_has_all_lines) {
            _all_lines = without_mark(code_text::lines(*_source, _file->file_id, _file->path));
            _has_all_lines = true;
        }
        return _all_lines;
    }

    void _show_line(ResultLine line) {
        if (_wants.offsets) {
            if (!_offsets) _offsets.emplace(_segments);
            line.offset = _offsets->of(line.number, [this] { return _whole_file(); });
        }
        (*_show)(line);
    }

    code_text::TextSource* _source;
    const FileRow* _file;
    const Query* _query;
    FileWants _wants;
    const ShowLine* _show;
    Stats _stats;
    code_text::SegmentList _segments;
    code_text::Lines _all_lines;  ///< of the file, once a line outside of the segments is wanted
    bool _has_all_lines = false;
    bool _has_mark = false;
    std::int64_t _next = 1;          ///< number of the first line that is not shown yet
    std::int64_t _wanted_until = 0;  ///< number of the last line that is wanted after a match
    std::size_t _segment = 0;        ///< the first one that later lines may lie in
    std::optional<LineOffsets> _offsets;
};

}  // namespace

Stats& Stats::operator+=(const Stats& other) {
    files_searched += other.files_searched;
    files_from_disk += other.files_from_disk;
    files_with_match += other.files_with_match;
    segments += other.segments;
    segments_without_match += other.segments_without_match;
    bytes_searched += other.bytes_searched;
    matched_lines += other.matched_lines;
    matches += other.matches;
    files_checked += other.files_checked;
    files_stale += other.files_stale;
    files_gone += other.files_gone;
    files_refused += other.files_refused;
    elapsed_ns += other.elapsed_ns;
    return *this;
}

Stats search_file(code_text::TextSource& source, const FileRow& file, const Query& query,
                  const FileWants& wants, const ShowLine& show) {
    const std::int64_t start_ns = now_ns();
    Stats stats = FileSearch(source, file, query, wants, show).run();
    stats.elapsed_ns = now_ns() - start_ns;
    return stats;
}

}  // namespace codetext::search
