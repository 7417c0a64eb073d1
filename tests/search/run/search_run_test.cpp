#include "search/run/search_run.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <random>

#include "indexer/run/index_run.hpp"
#include "search/run/chunks_worth_searching.hpp"
#include "storage/temp_index.hpp"
#include "utils/reference.hpp"
#include "utils/unicode.hpp"

namespace codetext::search {
namespace {

using namespace std::string_view_literals;

constexpr unsigned SEED = 7;

using Files = std::map<std::string, std::string>;

constexpr SourceWanted SOURCES[] = {SourceWanted::INDEX, SourceWanted::DISK};

// A repository with its index.
class IndexedFiles : public test_support::TempFolder {
  public:
    IndexedFiles(const Files& files, chunk_store::Layout layout) {
        for (const auto& [name, bytes] : files) write(name, bytes);
        indexer::index_repository(path(), {.layout = layout, .progress = {}});
    }
    Database open(Access access = Access::READ_ONLY) const {
        return schema::open_index(schema::index_path(path()), access);
    }
};

/// More bytes than SQLite takes for LIKE. Every even offset is inside a character.
std::string long_text() {
    std::string text = "x";
    while (text.size() < 50001) text += "\u00e9";
    return text;
}

// Words that share trigrams, in cases and letters that fold into one another. The last two
// lower-case into ASCII, which the code_chunks layout does not look for.
Files random_files(std::size_t count, const chunk_store::Layout& layout) {
    std::mt19937 random(SEED);
    static const std::vector<std::string> WORDS = reference::words(
        "spin_lock Spin_Lock spin lock( unlock flags \u017fpin \u00c9t\u00e9 foo foobar bar BAZ "
        "f\0oo "
        "x\vbar \u2028 loc\u212a \u0130d"sv);
    const std::size_t words = WORDS.size() - (layout == chunk_store::COMPRESSED ? 0 : 2);
    Files files;
    for (std::size_t i = 0; i < count; ++i) {
        // A NUL early in a file would make it binary.
        const bool holds_nul = i % 10 == 1;
        std::string text = holds_nul ? std::string(8000, '-') : "";
        for (std::size_t line = random() % (i % 8 == 0 ? 200 : 6); line > 0; --line) {
            for (std::size_t word = random() % 3; word > 0; --word) {
                text += WORDS[random() % words] + (random() % 2 == 0 ? " " : "");
            }
            text += line % 50 == 0 ? "\r\n" : "\n";
        }
        if (!holds_nul) std::erase(text, '\0');
        const bool large = i % 20 == 0;
        files[fmt::format("{}/f{}.{}", i % 7, i, large ? "json" : "c")] =
            large ? text + std::string(40000, 'x') : text;
    }
    files["9/long.c"] = "y" + long_text() + "\nx\n";
    return files;
}

std::string scanned(const Files& files, const Query& query) {
    std::string out;
    for (const auto& [path, bytes] : files) {
        int number = 0;
        for (const std::string& line : reference::reference_lines(unicode::decode(bytes))) {
            ++number;
            const std::string compared = query.case_sensitive ? line : unicode::lower(line);
            const std::size_t at = query.pattern ? compared.npos : compared.find(*query.needle);
            const std::int64_t column = query.pattern ? query.pattern->search(line).value_or(-1)
                                        : at == compared.npos
                                            ? -1
                                            : unicode::code_points(compared.substr(0, at));
            if (column >= 0) out += fmt::format("{}:{}:{}:{}\n", path, number, column, line);
        }
    }
    return out;
}

// What differs first, for a message of bearable length; empty when nothing does.
std::string difference(std::string_view found, std::string_view expected) {
    if (found == expected) return "";
    const auto at = std::mismatch(found.begin(), found.end(), expected.begin(), expected.end());
    const auto from = static_cast<std::size_t>(at.first - found.begin());
    const std::size_t start = from < 60 ? 0 : from - 60;
    return fmt::format("found {}, expected {}", testing::PrintToString(found.substr(start, 120)),
                       testing::PrintToString(expected.substr(start, 120)));
}

// Each line as path:number:column:text; column -1 is a context line.
std::pair<std::string, SearchResult> output_of(Database& db, const SearchOptions& options) {
    std::string text;
    const Render render = [&](const FileResult& file, std::string& out) {
        for (const ResultLine& line : file.lines) {
            out +=
                fmt::format("{}:{}:{}:{}\n", file.file->path, line.number, line.column, line.text);
            EXPECT_TRUE(!line.is_match() || !match_spans(options.query, line.text).empty()) << out;
        }
        return 0;
    };
    SearchResult result = run_search(db, options, render, [&](std::string_view out) {
        text += out;
        return true;
    });
    return {text, std::move(result)};
}

std::vector<QueryOptions> queries() {
    std::vector<QueryOptions> all = {{.patterns = {"foobar", "baz"}, .ignore_case = true},
                                     {.patterns = {long_text()}},
                                     {.patterns = {"y" + long_text()}, .whole_lines = true},
                                     {.patterns = {long_text() + "x"}}};
    for (const std::string& pattern : reference::words(
             "spin_lock,lock,id,\u00e9t\u00e9,spin.*flags,SPIN.*LOCK,(spin|unl).*(foo|flags),f\0oo,"
             "\\x00o,\u017fpin.?,foo bar,xxx,no such text,,ar"sv,
             ',')) {
        all.push_back({.patterns = {pattern}});
        all.push_back({.patterns = {pattern}, .ignore_case = true});
        all.push_back({.patterns = {pattern}, .words = true});
        all.push_back({.patterns = {pattern}, .ignore_case = true, .whole_lines = true});
    }
    return all;
}

TEST(search_run, finds_what_a_scan_of_the_files_finds) {
    for (const chunk_store::Layout layout : test_support::layouts()) {
        const Files files = random_files(80, layout);
        const IndexedFiles index(files, layout);
        Database db = index.open();
        for (const QueryOptions& query : queries()) {
            SearchOptions options;
            options.query = make_query(query);
            const std::string expected = scanned(files, options.query);
            for (const SourceWanted source : SOURCES) {
                for (unsigned threads : {1U, 3U}) {
                    options.source = source;
                    options.threads = threads;
                    EXPECT_EQ(difference(output_of(db, options).first, expected), "")
                        << query.patterns.front() << " in " << layout.name << ", seed " << SEED;
                }
            }
        }
    }
}

TEST(search_run, reads_no_file_that_the_trigrams_rule_out) {
    if (sqlite_version() < 3043000) GTEST_SKIP() << "no compressed layout";
    const IndexedFiles index(
        {{"a.c", "spin_lock(flags)\n"}, {"b.c", "spin\nflags\n"}, {"c.c", "spin lock flag\n"}},
        chunk_store::COMPRESSED);
    const Database db = index.open();
    const std::pair<const char*, std::optional<std::size_t>> CASES[] = {
        {"spin_lock", 1},      {"spin.*flags", 2},   {"_loc.*flags|spin loc.", 2},
        {"nowhere.*flags", 0}, {"sp", std::nullopt}, {"flags|x*", std::nullopt}};
    for (const auto& [pattern, count] : CASES) {
        const auto found = chunks_worth_searching(db, make_query({.patterns = {pattern}}));
        EXPECT_EQ(found ? std::optional(found->file_ids().size()) : std::nullopt, count) << pattern;
    }
}

TEST(search_run, a_limit_cuts_the_same_results_short) {
    for (const chunk_store::Layout layout : test_support::layouts()) {
        // More files than a search with a limit begins with.
        const IndexedFiles index(random_files(700, layout), layout);
        Database db = index.open(Access::READ_WRITE);
        for (const SourceWanted source :
             {SourceWanted::INDEX, SourceWanted::DISK, SourceWanted::AUTO}) {
            // A file that is in the index without its chunks: the disk is read.
            if (source == SourceWanted::AUTO) {
                index.write("9/new.c", "foo\n");
                db.execute("INSERT INTO files VALUES (9999, '9/new.c', 'c', 4, 0, 0, 0)");
            }
            SearchOptions options;
            options.query = make_query({.patterns = {"foo"}});
            options.source = source;
            const std::string all = output_of(db, options).first;
            for (std::int64_t limit : {0, 1, 2, 57, 3000, 1 << 20}) {
                std::size_t end = 0;
                for (std::int64_t line = 0; line < limit && end < all.size(); ++line) {
                    end = all.find('\n', end) + 1;
                }
                for (unsigned threads : {1U, 3U}) {
                    options.limit = limit;
                    options.threads = threads;
                    EXPECT_EQ(output_of(db, options).first, all.substr(0, end)) << limit;
                }
            }
        }
    }
}

TEST(search_run, selects_files_by_path_glob_and_language) {
    Files files;
    for (const auto& path : reference::words("a/x.c a/x.h a/b/y.py a.c a0/z.c a-b/z.c"))
        files[path] = "n";
    const IndexedFiles index(files, chunk_store::CODE_CHUNKS);
    const Database db = index.open();
    const struct {
        std::vector<std::string> paths;
        std::string globs, languages, expected;
    } CASES[] = {
        {{}, "", "", "a-b/z.c a.c a/b/y.py a/x.c a/x.h a0/z.c"},
        {{""}, "", "", "a-b/z.c a.c a/b/y.py a/x.c a/x.h a0/z.c"},
        {{"a"}, "", "", "a/b/y.py a/x.c a/x.h"},
        {{"a/b", "a", "a/x.c"}, "", "", "a/b/y.py a/x.c a/x.h"},
        {{"a0", "a.c"}, "", "", "a.c a0/z.c"},
        {{"a/b", "a/x.h"}, "", "", "a/b/y.py a/x.h"},
        {{}, "*.c !a0", "", "a-b/z.c a.c a/x.c"},
        {{}, "", "python", "a/b/y.py"},
        {{"a"}, "x.*", "c", "a/x.c a/x.h"},
        {{"none"}, "", "", ""},
    };
    const auto add = [](std::vector<std::string>& paths, const auto& selected) {
        for (const code_text::FileRow& file : selected) paths.push_back(file.path);
        return selected.size();
    };
    std::vector<std::int64_t> ids;
    for (const code_text::FileRow& file : selected_files(db, {})) ids.push_back(file.file_id);
    std::sort(ids.begin(), ids.end());
    for (const auto& [paths, globs, languages, expected] : CASES) {
        FileFilter filter{.paths = paths, .globs = {}, .languages = reference::words(languages)};
        for (const std::string& glob : reference::words(globs)) filter.globs.emplace_back(glob);
        std::vector<std::string> all, scanned, asked, in_steps;
        add(all, selected_files(db, filter));
        add(scanned, selected_files(db, filter, ids));
        for (const std::int64_t id : ids) add(asked, selected_files(db, filter, {id}));
        std::sort(asked.begin(), asked.end());
        SelectedFiles selected(db, filter, std::nullopt);
        while (add(in_steps, selected.next(2)) > 0) continue;
        EXPECT_EQ(in_steps, all);
        EXPECT_EQ(all, reference::words(expected));
        EXPECT_EQ(scanned, all);
        EXPECT_EQ(asked, all);
    }
}

TEST(search_run, a_byte_order_mark_hides_no_match_and_is_not_shown) {
    const struct {
        std::string text;
        QueryOptions query;
        std::string lines;  ///< parted by "|"
        FileWants wants = {};
    } CASES[] = {
        {"\uFEFFusing x\n\uFEFFusing\n", {.patterns = {"^using"}}, "1:1:using x"},
        {"\uFEFFa using\n", {.patterns = {"using"}}, "1:3:a using"},
        {"\uFEFF\u00e9 Using\n", {.patterns = {"using"}, .ignore_case = true}, "1:3:\u00e9 Using"},
        {"\uFEFFusing\n", {.patterns = {"using"}, .whole_lines = true}, "1:1:using"},
        {"\uFEFFusing\n", {.patterns = {"using"}, .words = true}, "1:1:using"},
        {"\uFEFFusing\n", {.patterns = {"^.{5}$"}}, "1:1:using"},
        {"\uFEFF", {.patterns = {"^$"}}, "1:1:"},
        {"\uFEFF\n\n", {.patterns = {"^$"}}, "1:1:|2:0:"},
        {"\uFEFFa", {.patterns = {""}}, "1:1:a"},
        {"\uFEFFa\n\uFEFFa\n", {.patterns = {"\uFEFFa"}}, "2:0:\uFEFFa"},
        {"\uFEFFa\uFEFFa", {.patterns = {"\uFEFFa"}}, "1:2:a\uFEFFa"},
        {"\uFEFF\uFEFFa", {.patterns = {"^.a"}}, "1:1:\uFEFFa"},
        {"x\uFEFFa", {.patterns = {"^a"}}, ""},
        {"\uFEFFone\nxyz\n", {.patterns = {"xyz"}}, "1:-1:one|2:0:xyz", {.before = 1}},
        {"\uFEFFone\nxyz\n", {.patterns = {"one"}}, "1:1:one|2:-1:xyz", {.after = 1}},
        {"\uFEFFone\n" + test_support::numbered_lines(64) + "xyz\n\uFEFFend\n",
         {.patterns = {"xyz"}},
         "1:-1:one|2:-1:line 1|",
         {.before = 65, .max_matches = 1}},
        {test_support::numbered_lines(64) + "\uFEFFend\n",
         {.patterns = {"^.end"}},
         "65:0:\uFEFFend"},
    };
    for (const chunk_store::Layout layout : test_support::layouts()) {
        test_support::TempIndex index(layout);
        for (const auto& [text, query, lines, wants] : CASES) {
            index.put(1, "a.cs", text);
            std::string expected;
            for (const std::string& line : reference::words(lines, '|')) {
                expected += line.empty() ? "" : "a.cs:" + line + "\n";
            }
            for (const SourceWanted source : SOURCES) {
                SearchOptions options;
                options.query = make_query(query);
                options.source = source;
                options.wants = wants;
                std::string found = output_of(index.db, options).first;
                // Of a long answer only the beginning is given.
                if (lines.ends_with('|')) found.resize(expected.size());
                EXPECT_EQ(found, expected)
                    << query.patterns.front() << " in " << testing::PrintToString(text);
            }
        }
    }
}

TEST(search_run, counts_the_files_whose_text_was_looked_at) {
    const struct {
        std::string pattern;
        SourceWanted source;
        std::int64_t searched, with_match;
    } CASES[] = {{"spin", SourceWanted::DISK, 3, 1},  {"nowhere", SourceWanted::DISK, 3, 0},
                 {"no+w", SourceWanted::DISK, 3, 0},  {"spin", SourceWanted::INDEX, 2, 1},
                 {"none", SourceWanted::INDEX, 1, 1}, {"nowhere", SourceWanted::INDEX, 1, 0}};
    for (const chunk_store::Layout layout : test_support::layouts()) {
        test_support::TempIndex index(layout);
        index.put(1, "a.c", "spin\n");
        index.put(2, "b.c", "lock\n");
        index.put(3, "c.json", "none\n");
        index.drop(3);
        index.add_row(3, "c.json", 1);
        for (const auto& [pattern, source, searched, with_match] : CASES) {
            SearchOptions options;
            options.query = make_query({.patterns = {pattern}});
            options.source = source;
            const Stats stats = output_of(index.db, options).second.stats;
            EXPECT_EQ(stats.files_searched, searched) << pattern;
            EXPECT_EQ(stats.files_with_match, with_match) << pattern;
        }
    }
}

}  // namespace
}  // namespace codetext::search
