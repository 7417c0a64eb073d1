#include "search/run/file_search.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "search/run/search_run.hpp"
#include "storage/temp_index.hpp"

namespace codetext::search {
namespace {

struct Answer {
    std::string lines;
    Stats stats;
};

// Each line as number:column:spans:text, "|" between two; column -1 is a context line.
Answer answer_of(test_support::TempIndex& index, const Query& query, const FileWants& wants,
                 SourceWanted source) {
    Answer answer;
    const Render render = [&](const FileResult& file, std::string& out) {
        for (const ResultLine& line : file.lines) {
            std::string spans;
            if (line.is_match()) {
                for (const MatchSpan span : match_spans(query, line.text)) {
                    spans += fmt::format("[{},{}]", span.start, span.end);
                }
                EXPECT_NE(spans, "") << line.text;
            }
            out += fmt::format("{}:{}:{}:{}|", line.number, line.column, spans, line.text);
        }
        return 0;
    };
    SearchOptions options;
    options.query = query;
    options.source = source;
    options.wants = wants;
    const auto emit = [&](std::string_view out) {
        answer.lines += out;
        return true;
    };
    answer.stats = run_search(index.db, options, render, emit).stats;
    return answer;
}

TEST(file_search, a_byte_order_mark_hides_no_match_and_is_not_shown) {
    const std::string mark = "\uFEFF";
    const struct {
        std::string text;
        QueryOptions query;
        FileWants wants;
        std::string lines;
    } CASES[] = {
        {mark + "using x\n\uFEFFusing\n", {.patterns = {"^using"}}, {}, "1:1:[0,5]:using x|"},
        {mark + "a using\n", {.patterns = {"using"}}, {}, "1:3:[2,7]:a using|"},
        {mark + "\u00e9 Using\n",
         {.patterns = {"using"}, .ignore_case = true},
         {},
         "1:3:[3,8]:\u00e9 Using|"},
        {mark + "using\n", {.patterns = {"using"}, .whole_lines = true}, {}, "1:1:[0,5]:using|"},
        {mark + "using\n", {.patterns = {"using"}, .words = true}, {}, "1:1:[0,5]:using|"},
        {mark + "using\n", {.patterns = {"^.{5}$"}}, {}, "1:1:[0,5]:using|"},
        {mark, {.patterns = {"^$"}}, {}, "1:1:[0,0]:|"},
        {mark + "\n\n", {.patterns = {"^$"}}, {}, "1:1:[0,0]:|2:0:[0,0]:|"},
        {mark + "a", {.patterns = {""}}, {}, "1:1:[0,0][1,1]:a|"},
        {mark + "a\n" + mark + "a\n", {.patterns = {mark + "a"}}, {}, "2:0:[0,4]:\uFEFFa|"},
        {mark + "a" + mark + "a", {.patterns = {mark + "a"}}, {}, "1:2:[1,5]:a\uFEFFa|"},
        {mark + mark + "a", {.patterns = {"^.a"}}, {}, "1:1:[0,4]:\uFEFFa|"},
        {"x" + mark + "a", {.patterns = {"^a"}}, {}, ""},
        {mark + "one\nxyz\n", {.patterns = {"xyz"}}, {.before = 1}, "1:-1::one|2:0:[0,3]:xyz|"},
        {mark + "one\nxyz\n", {.patterns = {"one"}}, {.after = 1}, "1:1:[0,3]:one|2:-1::xyz|"},
        {mark + "one\n" + test_support::numbered_lines(62) + "63\n64\nxyz\n" + mark + "end\n",
         {.patterns = {"xyz"}},
         {.before = 65, .max_matches = 1},
         "1:-1::one|2:"},
        {test_support::numbered_lines(64) + mark + "end\n",
         {.patterns = {"^.end"}},
         {},
         "65:0:[0,6]:\uFEFFend|"},
    };
    for (const chunk_store::Layout layout : test_support::layouts()) {
        test_support::TempIndex index(layout);
        for (const auto& [text, query, wants, lines] : CASES) {
            index.put(1, "a.cs", text);
            for (const SourceWanted source : {SourceWanted::INDEX, SourceWanted::DISK}) {
                const std::string found = answer_of(index, make_query(query), wants, source).lines;
                // Of a long answer only the beginning is given.
                const bool is_cut = lines.ends_with(':');
                EXPECT_EQ(is_cut ? found.substr(0, lines.size()) : found, lines)
                    << query.patterns.front() << " in " << testing::PrintToString(text);
            }
        }
    }
}

TEST(file_search, counts_the_files_whose_text_was_looked_at) {
    for (const chunk_store::Layout layout : test_support::layouts()) {
        test_support::TempIndex index(layout);
        index.put(1, "a.c", "spin\n");
        index.put(2, "b.c", "lock\n");
        index.put(3, "c.json", "none\n");
        index.drop(3);
        index.add_row(3, "c.json", 1);
        const struct {
            std::string pattern;
            SourceWanted source;
            std::int64_t searched, with_match;
        } CASES[] = {
            {"spin", SourceWanted::DISK, 3, 1},  {"nowhere", SourceWanted::DISK, 3, 0},
            {"no+w", SourceWanted::DISK, 3, 0},  {"spin", SourceWanted::INDEX, 2, 1},
            {"none", SourceWanted::INDEX, 1, 1}, {"nowhere", SourceWanted::INDEX, 1, 0},
        };
        for (const auto& [pattern, source, searched, with_match] : CASES) {
            const Stats stats =
                answer_of(index, make_query({.patterns = {pattern}}), {}, source).stats;
            EXPECT_EQ(stats.files_searched, searched) << pattern;
            EXPECT_EQ(stats.files_with_match, with_match) << pattern;
        }
    }
}

}  // namespace
}  // namespace codetext::search
