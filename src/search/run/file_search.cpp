#include "search/run/file_search.hpp"

#include <algorithm>
#include <chrono>

namespace codetext::search {

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

std::size_t text_bytes(const code_text::SegmentList& segments) {
    std::size_t bytes = 0;
    for (const code_text::Segment& segment : segments) bytes += segment.lines.size_bytes();
    return bytes;
}

// Puts the lines around each match between the matches that search_segment found. They are cut from
// the segment of the match where that holds them all, and only else from the whole file, which must
// be read for it. Matches ascend, and so do lines and segments: nothing is passed twice.
class ContextFiller {
  public:
    ContextFiller(code_text::TextSource& source, const FileWants& wants, FileResult& result)
        : _source(&source), _wants(wants), _result(&result) {}

    void fill() {
        const std::vector<ResultLine> matches = std::exchange(_result->lines, {});
        if (matches.empty()) return;
        for (std::size_t i = 0; i < matches.size(); ++i) {
            const ResultLine& match = matches[i];
            _add(std::max(_next, match.number - _wants.before), match.number - 1);
            _result->lines.push_back(match);
            _next = match.number + 1;
            const std::int64_t until =
                i + 1 < matches.size() ? matches[i + 1].number - 1 : NO_LIMIT;
            const std::int64_t last = std::min(saturated_sum(match.number, _wants.after), until);
            _add(_next, last);
        }
    }

  private:
    void _add(std::int64_t first, std::int64_t last) {
        if (first > last) return;
        const auto& [lines, start] = _run_holding(first, last);
        for (const code_text::ContextLine& line : code_text::context(lines, first, last, start)) {
            _result->lines.push_back({line.line, -1, line.content});
            _next = line.line + 1;
        }
    }

    // A run of lines that holds what the file has of the range: a segment, or else the whole file.
    std::pair<const code_text::Lines&, std::int64_t> _run_holding(std::int64_t first,
                                                                  std::int64_t last) {
        for (; _segment < _result->segments.size(); ++_segment) {
            const code_text::Segment& segment = _result->segments[_segment];
            const auto size = static_cast<std::int64_t>(segment.lines.size());
            if (first >= segment.first + size) continue;
            if (first >= segment.first && (segment.last || last < segment.first + size)) {
                return {segment.lines, segment.first};
            }
            break;
        }
        if (!_has_all_lines) {
            _result->all_lines = without_mark(
                code_text::lines(*_source, _result->file->file_id, _result->file->path));
            _has_all_lines = true;
        }
        return {_result->all_lines, 1};
    }

    code_text::TextSource* _source;
    FileWants _wants;
    FileResult* _result;
    std::int64_t _next = 1;    ///< number of the first line that is not in the result yet
    std::size_t _segment = 0;  ///< the first one that later lines may lie in
    bool _has_all_lines = false;
};

void search_segment(const code_text::Segment& segment, const Query& query, const FileWants& wants,
                    FileResult& result) {
    const Pattern* pattern = query.pattern ? &*query.pattern : nullptr;
    const std::int64_t before = result.stats.matched_lines;
    auto matches = code_text::line_matches(segment.lines, query.needle.value_or(""), pattern,
                                           query.case_sensitive);
    for (const code_text::LineMatch& match : matches) {
        ++result.stats.matched_lines;
        if (wants.lines) {
            result.lines.push_back({segment.first + match.number - 1, match.column, match.line});
        }
        if (result.stats.matched_lines == wants.max_matches) break;
    }
    ++result.stats.segments;
    if (result.stats.matched_lines == before) ++result.stats.segments_without_match;
    result.stats.bytes_searched += static_cast<std::int64_t>(segment.lines.text().size());
}

}  // namespace

Stats& Stats::operator+=(const Stats& other) {
    files_searched += other.files_searched;
    files_with_match += other.files_with_match;
    segments += other.segments;
    segments_without_match += other.segments_without_match;
    bytes_searched += other.bytes_searched;
    matched_lines += other.matched_lines;
    matches += other.matches;
    elapsed_ns += other.elapsed_ns;
    return *this;
}

void search_file(code_text::TextSource& source, const code_text::FileRow& file, const Query& query,
                 const FileWants& wants, FileResult& result,
                 const std::function<void(std::size_t text_bytes)>& begin) {
    const std::int64_t start_ns = now_ns();
    result.file = &file;
    result.lines.clear();
    result.stats = {};
    result.segments = code_text::segments(source, file.file_id, file.path);
    if (begin) begin(text_bytes(result.segments));
    const bool has_mark = !result.segments.empty() && begins_with_mark(result.segments[0]);
    if (has_mark) result.segments = without_mark(result.segments);
    for (const code_text::Segment& segment : result.segments) {
        if (result.stats.matched_lines >= wants.max_matches) break;
        search_segment(segment, query, wants, result);
    }
    if (has_mark && !result.lines.empty() && result.lines[0].number == 1) ++result.lines[0].column;
    if (wants.lines && (wants.before > 0 || wants.after > 0)) {
        ContextFiller(source, wants, result).fill();
    }
    result.stats.files_searched = 1;
    result.stats.files_with_match = result.stats.matched_lines > 0 ? 1 : 0;
    result.stats.elapsed_ns = now_ns() - start_ns;
}

}  // namespace codetext::search
