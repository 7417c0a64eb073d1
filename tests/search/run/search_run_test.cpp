#include "search/run/search_run.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <atomic>
#include <random>

#include "indexer/run/index_run.hpp"
#include "search/run/chunks_worth_searching.hpp"
#include "search/run/line_renderer.hpp"
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
        for (const bool second : {false, true}) {  // ids that are not in the order of the paths
            bool is_even = false;
            for (const auto& [name, bytes] : files) {
                is_even = !is_even;
                if (is_even == second) write(name, bytes);
            }
            indexer::index_repository(path(), {.layout = layout, .progress = {}});
        }
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
        "f\0oo \uFEFFfoo caf\xE9 "
        "x\vbar \u2028 loc\u212a \u0130d"sv);
    const std::size_t words = WORDS.size() - (layout == chunk_store::COMPRESSED ? 0 : 2);
    Files files;
    for (std::size_t i = 0; i < count; ++i) {
        // A NUL early in a file would make it binary.
        const bool holds_nul = i % 10 == 1;
        std::string text = i % 3 == 0 ? "\uFEFF" : "";
        if (holds_nul) text += std::string(8000, '-');
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
        for (std::string line : reference::reference_lines(unicode::decode(bytes))) {
            // A byte order mark is one column, in which nothing is found.
            const int mark = ++number == 1 && line.starts_with("\uFEFF") ? 1 : 0;
            if (mark == 1) line.erase(0, 3);
            const std::string compared = query.case_sensitive ? line : unicode::lower(line);
            const std::size_t at = query.pattern ? compared.npos : compared.find(*query.needle);
            std::int64_t column = query.pattern ? query.pattern->search(line).value_or(-1) : -1;
            if (at != compared.npos) column = unicode::code_points(compared.substr(0, at));
            if (column >= 0) out += fmt::format("{}:{}:{}:{}\n", path, number, column + mark, line);
        }
    }
    return out;
}

// Each line as path:number:column:text; column -1 is a context line.
std::pair<std::string, SearchResult> output_of(Database& db, const SearchOptions& options) {
    std::string text;
    const auto shown = [&](const code_text::FileRow& file, const ResultLine& line) {
        EXPECT_TRUE(!line.is_match() || !match_spans(options.query, line.text).empty())
            << line.text;
        return fmt::format("{}:{}:{}:{}\n", file.path, line.number, line.column, line.text);
    };
    SearchResult result =
        run_search(db, options, test_support::renderer(shown), [&](std::string_view part, bool) {
            text += part;
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
             "\\x00o,^foo,^$,^.{3}$,\uFEFFf,\u017fpin.?,foo bar,xxx,no such text,,ar"sv,
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
            SearchOptions options{.query = make_query(query), .filter = {}, .wants = {}};
            const std::string expected = scanned(files, options.query);
            for (const SourceWanted source : SOURCES) {
                options.source = source;
                for (unsigned threads : {1U, 3U}) {
                    options.threads = threads;
                    EXPECT_TRUE(output_of(db, options).first == expected)
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
    // So many atoms that a chunk is not asked for each.
    std::string many = "flags";
    for (char a = 'g'; a < 'q'; ++a) {
        for (char b = 'a'; b < 'k'; ++b) many += std::string("|") + a + b + b + a + b;
    }
    const std::pair<std::string, std::optional<std::size_t>> CASES[] = {
        {"spin_lock", 1},      {"spin.*flags", 2},   {"_loc.*flags|spin loc.", 2},
        {"nowhere.*flags", 0}, {"sp", std::nullopt}, {"flags|x*", std::nullopt},
        {many, std::nullopt}};
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
                db.execute(
                    "INSERT INTO files(id, path, language, size, mtime_ns, content_hash, "
                    "text_on_disk) VALUES (9999, '9/new.c', 'c', 4, 0, 0, 0)");
            }
            SearchOptions options{.query = make_query({.patterns = {"foo"}}),
                                  .filter = {},
                                  .source = source,
                                  .wants = {}};
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

// What the scan does not tell of: lines of context.
TEST(search_run, begins_at_any_line_of_any_file_and_stops_when_it_is_told) {
    for (const chunk_store::Layout layout : test_support::layouts()) {
        const Files files = random_files(300, layout);
        const IndexedFiles index(files, layout);
        Database db = index.open();
        for (const SourceWanted source : SOURCES) {
            SearchOptions options{.query = make_query({.patterns = {"foo"}}),
                                  .filter = {},
                                  .source = source,
                                  .wants = {},
                                  .threads = 3};
            const std::string all = output_of(db, options).first;
            const std::vector<std::string> lines = reference::words(all, '\n');
            for (std::size_t i = 0; i + 1 < lines.size(); i += 7) {
                const std::vector<std::string> parts = reference::words(lines[i], ':');
                options.filter.from = parts[0];
                options.from_line = std::stoll(parts[1]);
                options.limit = i % 2 == 0 ? NO_LIMIT : static_cast<std::int64_t>(lines.size());
                EXPECT_EQ(output_of(db, options).first, all.substr(all.find(lines[i]))) << lines[i];
                options.filter.from += '\x01';  // a path between this one and the next
                options.from_line = 1 << 20;
                const std::size_t last = ("\n" + all).rfind("\n" + parts[0] + ":");
                EXPECT_EQ(output_of(db, options).first, all.substr(all.find('\n', last) + 1));
            }
            options.filter.from = "";
            for (const int most : {0, 1, 5}) {
                std::atomic<bool> stop = most == 0;
                int begun = 0;
                options.stop = &stop;
                const auto shown = [](const code_text::FileRow&, const ResultLine&) { return "x"; };
                const SearchResult result = run_search(db, options, test_support::renderer(shown),
                                                       [&](std::string_view, bool) {
                                                           stop = ++begun == most;
                                                           return true;
                                                       });
                EXPECT_TRUE(result.stopped);
                EXPECT_EQ(begun, most);
            }
        }
        // Within a file, too: chunks that may match lie apart.
        std::string text;
        for (int line = 0; line < 2000; ++line) text += line % 200 == 0 ? "foo\n" : "bar\n";
        const IndexedFiles long_file({{"a.c", text}}, layout);
        Database its_db = long_file.open();
        std::atomic<bool> stop = false;
        const SearchOptions options{.query = make_query({.patterns = {"foo"}}),
                                    .filter = {},
                                    .source = SourceWanted::INDEX,
                                    .wants = {},
                                    .stop = &stop};
        const auto told = [&](const code_text::FileRow&, const ResultLine&) {
            stop = true;
            return "x";
        };
        EXPECT_TRUE(run_search(its_db, options, test_support::renderer(told), [](auto, bool) {
                        ADD_FAILURE() << "it was searched to its end";
                        return true;
                    }).stopped);
    }
}

TEST(search_run, shows_no_byte_order_mark_in_context) {
    const std::string many = test_support::numbered_lines(64);
    const struct {
        std::string text, pattern;
        FileWants wants;
        std::string lines;
    } CASES[] = {{"\uFEFFone\nxyz\n", "xyz", {.before = 1}, "a:1:-1:one\na:2:0:xyz\n"},
                 {"\uFEFFone\nxyz\n", "one", {.after = 1}, "a:1:1:one\na:2:-1:xyz\n"},
                 {"\uFEFFone\n" + many + "xyz\n\uFEFFend\n",
                  "xyz",
                  {.before = 65, .max_matches = 1},
                  "a:1:-1:one\na:2:-1:line 1\n"},
                 {many + "\uFEFFend\n", "^.end", {}, "a:65:0:\uFEFFend\n"}};
    for (const chunk_store::Layout layout : test_support::layouts()) {
        test_support::TempIndex index(layout);
        for (const auto& [text, pattern, wants, lines] : CASES) {
            index.put(1, "a", text);
            for (const SourceWanted source : SOURCES) {
                const SearchOptions options{.query = make_query({.patterns = {pattern}}),
                                            .filter = {},
                                            .source = source,
                                            .wants = wants};
                EXPECT_EQ(output_of(index.db, options).first.substr(0, lines.size()), lines);
            }
        }
    }
}

// One file has much text, one much output; what is shown of a line is long.
TEST(search_run, a_large_file_comes_in_parts_and_gives_the_same) {
    const std::string padding(900, '.');
    Files files{{"a.c", "needle 1\n"}, {"z.c", "x\nneedle 2\n"}};
    for (int i = 0; i < 20000; ++i) files["output.c"] += i % 2 == 0 ? "needle\n" : "\n";
    for (int i = 0; i < 20000; ++i) files["text.c"] += padding + (i % 999 == 0 ? "needle\n" : "\n");
    const auto shown = [&](const code_text::FileRow& file, const ResultLine& line) {
        return fmt::format("{}:{}{}\n", file.path, line.number, padding);
    };
    for (const chunk_store::Layout layout : test_support::layouts()) {
        const IndexedFiles index(files, layout);
        Database db = index.open();
        for (const SourceWanted source : SOURCES) {
            SearchOptions options{.query = make_query({.patterns = {"needle"}}),
                                  .filter = {},
                                  .source = source,
                                  .wants = {}};
            for (const std::int64_t limit : {NO_LIMIT, std::int64_t{9500}, std::int64_t{2}}) {
                std::string expected, text;
                options.limit = limit;
                std::int64_t left = limit, begun = 0;
                for (const auto& [path, bytes] : files) {
                    std::int64_t number = 0;
                    for (const std::string& line : reference::words(bytes, '\n')) {
                        ++number;
                        if (line.find("needle") == line.npos || left-- <= 0) continue;
                        expected += shown({0, path, "", std::nullopt}, {number, 0, line});
                    }
                }
                std::size_t largest = 0;
                const auto emit = [&](std::string_view part, bool begins_file) {
                    text += part;
                    begun += begins_file ? 1 : 0;
                    largest = std::max(largest, part.size());
                    return true;
                };
                run_search(db, options, test_support::renderer(shown), emit);
                EXPECT_TRUE(text == expected) << limit << " " << text.size();
                EXPECT_EQ(begun, limit == NO_LIMIT ? 4 : 2);
                EXPECT_LT(largest, std::size_t{70000}) << "a part of a large output";
            }
            options.limit = NO_LIMIT;
            int parts = 0;
            const auto until_third = [&](std::string_view, bool) { return ++parts < 3; };
            const auto result = run_search(db, options, test_support::renderer(shown), until_third);
            EXPECT_TRUE(result.stopped && parts == 3) << parts;
        }
    }
}

}  // namespace
}  // namespace codetext::search
