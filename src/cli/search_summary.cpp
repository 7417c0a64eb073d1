#include "cli/search_summary.hpp"

#include <fmt/format.h>

#include "cli/escaped.hpp"
#include "search/query/query_description.hpp"

namespace codetext::cli {

using search::SearchResult;

namespace {

double seconds(std::int64_t ns) { return static_cast<double>(ns) * 1e-9; }

double milliseconds(std::int64_t ns) { return static_cast<double>(ns) * 1e-6; }

std::string coverage_text(const SearchSummary& summary) {
    if (!summary.coverage) return "";
    const search::Coverage& coverage = *summary.coverage;
    return fmt::format(
        "{} files in the index, {} of them left out by globs, types or depth\n"
        "{} binary files and {} unreadable ones not in the index\n",
        coverage.files, coverage.left_out, coverage.binary, coverage.unreadable);
}

}  // namespace

std::string stats_text(const SearchSummary& summary) {
    const SearchResult& result = *summary.result;
    const search::Stats& stats = result.stats;
    return fmt::format(
               "{} matching lines in {} files{}\n{} files searched, {} of them from disk\n"
               "{} {} read, {} of them without a match\n"
               "{} bytes searched\n{} files checked, {} stale\n{} files could not be read\n",
               stats.matched_lines, stats.files_with_match, summary.is_cut ? ", cut" : "",
               stats.files_searched, stats.files_from_disk, stats.segments,
               result.from_index ? "chunks" : "files", stats.segments_without_match,
               stats.bytes_searched, stats.files_checked, stats.files_stale, result.unread.count) +
           coverage_text(summary) +
           fmt::format("{:.6f} seconds\nread from the {}{}\n", seconds(summary.elapsed_ns),
                       result.from_index ? "index" : "disk",
                       result.reason ? ": " + escaped(*result.reason) : "");
}

std::string explanation(const search::Query& query, const SearchSummary& summary) {
    std::string text;
    for (const std::string& line : search::description_of(query)) {
        text += fmt::format("{:>10}  {}\n", "", escaped(line));
    }
    for (const search::SearchStep& step : summary.result->steps) {
        text += fmt::format("{:7.2f} ms  {}\n", milliseconds(step.ns), escaped(step.what));
    }
    const std::string why = summary.result->reason ? escaped(*summary.result->reason) : "";
    text += fmt::format("{:7.2f} ms  in all{}\n", milliseconds(summary.elapsed_ns),
                        why.empty() ? "" : "; " + why);
    return text;
}

}  // namespace codetext::cli
