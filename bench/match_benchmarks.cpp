// Finding the lines that match, in whole files of lines. Each benchmark first compares what it
// finds with a look at every line for itself.

#include <benchmark/benchmark.h>

#include "sample_text.hpp"
#include "search/query/pattern.hpp"
#include "storage/code_text/line_matches.hpp"
#include "utils/unicode.hpp"

namespace codetext::bench {
namespace {

using code_text::Lines;
using search::Pattern;

const std::vector<Lines>& sample_lists() {
    static const std::vector<Lines> lists(sample_lines().begin(), sample_lines().end());
    return lists;
}

std::int64_t matching_lines(const std::string& needle, const Pattern* pattern,
                            bool case_sensitive) {
    std::int64_t count = 0;
    for (const Lines& lines : sample_lists()) {
        auto matches = code_text::line_matches(lines, needle, pattern, case_sensitive);
        for (const code_text::LineMatch& match : matches) count += match.number > 0 ? 1 : 0;
    }
    return count;
}

template <typename Holds>
std::int64_t lines_that(Holds holds) {
    std::int64_t count = 0;
    for (const Lines& lines : sample_lists()) {
        for (const std::string_view line : lines) count += holds(line) ? 1 : 0;
    }
    return count;
}

void time_matching(benchmark::State& state, std::int64_t expected, const std::string& needle,
                   const Pattern* pattern, bool case_sensitive) {
    if (matching_lines(needle, pattern, case_sensitive) != expected) {
        return state.SkipWithError("wrong answer");
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(matching_lines(needle, pattern, case_sensitive));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * sample_bytes());
    state.counters["lines"] = static_cast<double>(expected);
}

void needle_matching(benchmark::State& state, const std::string& needle) {
    const auto holds = [&](std::string_view line) { return line.find(needle) != line.npos; };
    time_matching(state, lines_that(holds), needle, nullptr, true);
}
BENCHMARK_CAPTURE(needle_matching, common, "return");
BENCHMARK_CAPTURE(needle_matching, absent, "no_such_symbol_zq");

void needle_matching_ignoring_case(benchmark::State& state, const std::string& needle) {
    const auto holds = [&](std::string_view line) {
        return unicode::lower(line).find(needle) != std::string::npos;
    };
    time_matching(state, lines_that(holds), needle, nullptr, false);
}
BENCHMARK_CAPTURE(needle_matching_ignoring_case, common, "return");
BENCHMARK_CAPTURE(needle_matching_ignoring_case, absent, "no_such_symbol_zq");

void regex_matching(benchmark::State& state, const std::string& expression) {
    const Pattern pattern({expression}, {});
    const auto holds = [&](std::string_view line) { return pattern.search(line).has_value(); };
    time_matching(state, lines_that(holds), "", &pattern, true);
}
BENCHMARK_CAPTURE(regex_matching, common, "(if|for|while) \\(");
BENCHMARK_CAPTURE(regex_matching, rare, "[0-9]{7,}");

}  // namespace
}  // namespace codetext::bench
