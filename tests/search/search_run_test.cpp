#include "search/search_run.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <random>

#include "search/candidate_files.hpp"
#include "search/indexed_files.hpp"
#include "utils/unicode.hpp"

namespace codetext::search {
namespace {

constexpr unsigned SEED = 7;

using Files = std::map<std::string, std::string>;

// Words that share trigrams, in cases and letters that fold into one another.
Files random_files(std::size_t count, std::mt19937& random) {
    static const std::vector<std::string> WORDS = {
        "spin_lock", "Spin_Lock", "spin",      "lock(",   "unlock",
        "flags",     "\u017fpin", "loc\u212a", "\u0130d", "\u00c9t\u00e9",
        "foo",       "foobar",    "bar",       "BAZ",     std::string("f\0oo", 4)};
    Files files;
    for (std::size_t i = 0; i < count; ++i) {
        // A NUL early in a file would make it binary.
        const bool holds_nul = i % 10 == 1;
        std::string text = holds_nul ? std::string(8000, '-') : "";
        for (std::size_t line = random() % (i % 8 == 0 ? 200 : 6); line > 0; --line) {
            for (std::size_t word = random() % 3; word > 0; --word) {
                text += WORDS[random() % WORDS.size()] + (random() % 2 == 0 ? " " : "");
            }
            text += line % 50 == 0 ? "\r\n" : "\n";
        }
        if (!holds_nul) std::erase(text, '\0');
        const bool large = i % 20 == 0;
        files[fmt::format("{}/f{}.{}", i % 7, i, large ? "json" : "c")] =
            large ? text + std::string(40000, 'x') : text;
    }
    return files;
}

std::string reference(const Files& files, const Query& query) {
    std::string out;
    for (const auto& [path, bytes] : files) {
        const auto joined = unicode::joined_lines(unicode::decode(bytes));
        if (!joined) continue;
        std::int64_t number = 0;
        for (std::size_t start = 0; start <= joined->size();) {
            const std::size_t end = std::min(joined->find('\n', start), joined->size());
            const std::string line = joined->substr(start, end - start);
            ++number;
            const std::string compared = query.case_sensitive ? line : unicode::lower(line);
            const bool matches = query.pattern ? query.pattern->search(line).has_value()
                                               : compared.find(*query.needle) != std::string::npos;
            if (matches) out += fmt::format("{}:{}:{}\n", path, number, line);
            start = end + 1;
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

struct Output {
    std::string text;
    SearchResult result;
};

Output output_of(Database& db, const SearchOptions& options) {
    std::string text;
    const Render render = [](const FileResult& file, Rendered& rendered) {
        for (const ResultLine& line : file.lines) {
            rendered.out += fmt::format("{}:{}:{}\n", file.file->path, line.number, line.text);
        }
    };
    SearchResult result = run_search(db, options, render, [&](std::string_view out) {
        text += out;
        return Visit::CONTINUE;
    });
    return {text, result};
}

const std::vector<QueryOptions> QUERIES = {
    {.patterns = {"spin_lock"}},
    {.patterns = {"spin_lock"}, .ignore_case = true},
    {.patterns = {"lock"}, .ignore_case = true, .words = true},
    {.patterns = {"lock"}, .words = true},
    {.patterns = {"id"}, .ignore_case = true},
    {.patterns = {"\u00e9t\u00e9"}, .ignore_case = true},
    {.patterns = {"spin.*flags"}},
    {.patterns = {"SPIN.*LOCK"}, .ignore_case = true},
    {.patterns = {"(spin|unl).*(foo|flags)"}},
    {.patterns = {"foobar", "baz"}, .ignore_case = true},
    {.patterns = {std::string("f\0oo", 4)}, .fixed_strings = true},
    {.patterns = {"\\x00o"}},
    {.patterns = {"\u017fpin.?"}},
    {.patterns = {"foo bar"}, .whole_lines = true},
    {.patterns = {"xxx"}},
    {.patterns = {"no such text"}},
    {.patterns = {""}},
    {.patterns = {"ar"}},
};

TEST(search_run, finds_what_a_scan_of_the_files_finds) {
    std::mt19937 random(SEED);
    const Files files = random_files(80, random);
    for (chunk_store::Layout layout : {chunk_store::COMPRESSED, chunk_store::CODE_CHUNKS}) {
        if (layout == chunk_store::COMPRESSED && sqlite_version() < 3043000) continue;
        const IndexedFiles index(files, layout);
        Database db = index.open();
        for (const QueryOptions& query : QUERIES) {
            SearchOptions options;
            options.query = make_query(query);
            const std::string expected = reference(files, options.query);
            for (SourceWanted source : {SourceWanted::INDEX, SourceWanted::DISK}) {
                for (unsigned threads : {1U, 3U}) {
                    options.source = source;
                    options.threads = threads;
                    EXPECT_EQ(difference(output_of(db, options).text, expected), "")
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
    const auto candidates = [&](QueryOptions options) {
        const auto files = candidate_files(db, make_query(options));
        return files ? static_cast<int>(files->size()) : -1;
    };
    EXPECT_EQ(candidates({.patterns = {"spin_lock"}}), 1);
    EXPECT_EQ(candidates({.patterns = {"spin.*flags"}}), 2);
    EXPECT_EQ(candidates({.patterns = {"_loc.*flags|spin loc."}}), 2);
    EXPECT_EQ(candidates({.patterns = {"nowhere.*flags"}}), 0);
    EXPECT_EQ(candidates({.patterns = {"sp"}}), -1);
    EXPECT_EQ(candidates({.patterns = {"flags|x*"}}), -1);
}

TEST(search_run, a_limit_cuts_the_same_results_short) {
    std::mt19937 random(SEED);
    const Files files = random_files(60, random);
    const IndexedFiles index(files, chunk_store::CODE_CHUNKS);
    Database db = index.open();
    SearchOptions options;
    options.query = make_query({.patterns = {"foo"}});
    const std::string all = output_of(db, options).text;
    for (std::int64_t limit : {0, 1, 2, 57, 200, 1 << 20}) {
        std::size_t end = 0;
        for (std::int64_t line = 0; line < limit && end < all.size(); ++line) {
            end = all.find('\n', end) + 1;
        }
        for (unsigned threads : {1U, 3U}) {
            options.limit = limit;
            options.threads = threads;
            EXPECT_EQ(output_of(db, options).text, all.substr(0, end)) << limit;
        }
    }
}

TEST(search_run, falls_back_to_the_disk_for_files_that_the_trigrams_do_not_know) {
    const IndexedFiles index({{"a.c", "needle\n"}, {"c.c", ""}},
                             chunk_store::default_layout().value());
    index.write("b.c", "needle\n");
    index.open(Access::READ_WRITE)
        .execute(
            "INSERT INTO files(path, language, size, mtime_ns, content_hash) "
            "VALUES('b.c', 'c', 7, 0, 0)");
    Database db = index.open();
    SearchOptions options;
    options.query = make_query({.patterns = {"needle"}});
    const Output output = output_of(db, options);
    EXPECT_EQ(output.text, "a.c:1:needle\nb.c:1:needle\n");
    EXPECT_FALSE(output.result.from_index);
    EXPECT_EQ(output.result.reason,
              "read from the files on disk: 1 indexed file(s) have no chunks yet (the next index "
              "pass parses them)");
    options.source = SourceWanted::INDEX;
    EXPECT_THROW(output_of(db, options), IndexCannotAnswer);
    options.source = SourceWanted::DISK;
    EXPECT_EQ(output_of(db, options).result.reason, std::nullopt);
}

TEST(search_run, selects_files_by_path_glob_and_language) {
    const IndexedFiles index({{"a/x.c", "n"},
                              {"a/x.h", "n"},
                              {"a/b/y.py", "n"},
                              {"a.c", "n"},
                              {"a0/z.c", "n"},
                              {"a-b/z.c", "n"}},
                             chunk_store::CODE_CHUNKS);
    const Database db = index.open();
    struct Case {
        std::vector<std::string> paths, globs, languages;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {{}, {}, {}, "a-b/z.c a.c a/b/y.py a/x.c a/x.h a0/z.c "},
        {{""}, {}, {}, "a-b/z.c a.c a/b/y.py a/x.c a/x.h a0/z.c "},
        {{"a"}, {}, {}, "a/b/y.py a/x.c a/x.h "},
        {{"a/b", "a", "a/x.c"}, {}, {}, "a/b/y.py a/x.c a/x.h "},
        {{"a0", "a.c"}, {}, {}, "a.c a0/z.c "},
        {{"a/b", "a/x.h"}, {}, {}, "a/b/y.py a/x.h "},
        {{}, {"*.c", "!a0"}, {}, "a-b/z.c a.c a/x.c "},
        {{}, {}, {"python"}, "a/b/y.py "},
        {{"a"}, {"x.*"}, {"c"}, "a/x.c a/x.h "},
        {{"none"}, {}, {}, ""},
    };
    std::vector<std::int64_t> ids;
    for (const code_text::FileRow& file : selected_files(db, {})) ids.push_back(file.file_id);
    std::sort(ids.begin(), ids.end());
    for (const Case& one : cases) {
        FileFilter filter{.paths = one.paths, .globs = {}, .languages = one.languages};
        for (const std::string& glob : one.globs) filter.globs.emplace_back(glob);
        std::string all, scanned, asked;
        for (const auto& file : selected_files(db, filter)) all += file.path + ' ';
        for (const auto& file : selected_files(db, filter, ids)) scanned += file.path + ' ';
        for (std::int64_t id : ids) {
            for (const auto& file : selected_files(db, filter, {id})) asked += file.path + ' ';
        }
        EXPECT_EQ(all, one.expected);
        EXPECT_EQ(scanned, one.expected);
        EXPECT_EQ(asked.size(), one.expected.size());
    }
}

TEST(ordered_work, gives_a_failure_in_its_item_s_place) {
    for (unsigned threads : {0U, 3U}) {
        OrderedWork work(100, {.threads = threads, .batch_items = 4, .window_bytes = 10}, [] {
            return [](std::size_t item) {
                if (item == 37) throw std::runtime_error("37");
                return Rendered{std::string(5, 'x') + std::to_string(item), {}};
            };
        });
        for (std::size_t item = 0; item < 37; ++item) {
            EXPECT_EQ(work.next().out, "xxxxx" + std::to_string(item));
        }
        EXPECT_THROW(work.next(), std::runtime_error);
    }
}

}  // namespace
}  // namespace codetext::search
