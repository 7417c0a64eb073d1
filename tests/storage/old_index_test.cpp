// Indexes as every schema version stored them, committed in tests/data/old_index beside the files
// that they index. make.py there makes them.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "indexer/run/index_run.hpp"
#include "search/run/search_run.hpp"
#include "storage/temp_index.hpp"
#include "storage/verify.hpp"

namespace codetext::schema {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

/// A committed index in its place, beside the files that it indexes.
class OldRepository : public test_support::TempFolder {
  public:
    explicit OldRepository(const std::string& name) : index(index_path(path())) {
        const fs::path data = fs::path(CODETEXT_TEST_DATA) / "old_index";
        fs::copy(data / "files", path(), fs::copy_options::recursive);
        fs::create_directories(index.parent_path());
        fs::copy_file(data / (name + ".db"), index);
    }
    const fs::path index;
};

/// Why the index cannot be opened; empty when it can.
std::string refusal(const fs::path& index, Access access) {
    try {
        open_index(index, access);
        return "";
    } catch (const UnusableIndex& error) {
        return error.what();
    }
}

std::string found(Database& db, const std::string& pattern, bool ignore_case = false) {
    search::SearchOptions options;
    options.query = search::make_query({.patterns = {pattern}, .ignore_case = ignore_case});
    std::string all;
    const auto render = [](const search::FileResult& result, std::string& out) {
        for (const search::ResultLine& line : result.lines) {
            out += fmt::format("{}:{}:{}\n", result.file->path, line.number, line.text);
        }
        return 0;
    };
    const auto result = search::run_search(db, options, render, [&](std::string_view out) {
        all += out;
        return true;
    });
    return result.from_index ? all : "not from the index: " + result.reason.value_or("");
}

void expect_right_answers(Database& db) {
    EXPECT_EQ(found(db, "scale", true),
              "notes.txt:4:The scale is in src/scale.c.\n"
              "src/scale.c:1:/* Prints the Kelvin scale: 273.15 \u212a is 0 \u00b0C. */\n"
              "src/scale.c:2:void print_scale(void)\n"
              "src/scale.c:72:\tputs(\"end of the scale\");\n"
              "table.json:68:], \"scale\": 1}\n");
    EXPECT_EQ(found(db, "row\\(3[34]0, .*67|line, after"),
              "notes.txt:2:second line, after CR LF\n"
              "notes.txt:3:third line, after U+2028\n"
              "src/scale.c:71:\trow(340, 67);\n");
    EXPECT_EQ(found(db, "\"kelvin\""), "table.json:1:{\"kelvin\": [\n");
    EXPECT_EQ(found(db, "no such text"), "");
}

const Lines FROM_3_1_0 = {chunk_store::default_layout() == chunk_store::COMPRESSED
                              ? "3.2.0: the chunks of 3 file(s) are now compressed"
                              : "3.2.0: the chunks stay as they are: compressing them takes "
                                "SQLite 3.43"};
const Lines FROM_3_0_0 = {"3.1.0: 1 large data file(s) are now read from disk", FROM_3_1_0[0]};

struct Case {
    std::string name, version;
    bool can_be_read, can_be_written;
    Lines steps;
};

const std::vector<Case> CASES = {
    {"3.0.0", "3.0.0", false, false, FROM_3_0_0},
    {"3.1.0", "3.1.0", true, false, FROM_3_1_0},
    {"3.2.0-code_chunks", "3.2.0", true, true, {}},
    {"3.2.0-compressed", "3.2.0", true, true, {}},
};

TEST(old_index, is_refused_or_answers) {
    for (const Case& test : CASES) {
        SCOPED_TRACE(test.name);
        const OldRepository old(test.name);
        const std::string needs_upgrade = fmt::format(
            "{} has schema {}; run `codetext upgrade` first", old.index.string(), test.version);
        EXPECT_EQ(refusal(old.index, Access::READ_ONLY), test.can_be_read ? "" : needs_upgrade);
        EXPECT_EQ(refusal(old.index, Access::READ_WRITE), test.can_be_written ? "" : needs_upgrade);
        EXPECT_EQ(version(open_any_version(old.index, Access::READ_ONLY)), test.version);
        if (!test.can_be_read) continue;
        Database db = open_index(old.index, Access::READ_ONLY);
        expect_right_answers(db);
    }
}

TEST(old_index, answers_after_the_upgrade) {
    for (const Case& test : CASES) {
        SCOPED_TRACE(test.name);
        const OldRepository old(test.name);
        Lines steps;
        for (const UpgradeStep& step : indexer::upgrade_index(old.path())) {
            steps.push_back(step.to + ": " + step.what);
        }
        EXPECT_EQ(steps, test.steps);
        {
            Database db = open_index(old.index, Access::READ_WRITE);
            EXPECT_EQ(version(db), SCHEMA_VERSION);
            EXPECT_EQ(verify(db), Lines{});
            expect_right_answers(db);
            const auto on_disk = db.fetchall("SELECT path FROM files WHERE text_on_disk = 1");
            ASSERT_EQ(on_disk.size(), 1u);
            EXPECT_EQ(on_disk[0].text(0), "table.json");
        }
        const indexer::IndexReport report = indexer::index_repository(old.path());
        EXPECT_EQ(report.files, 4);
        EXPECT_EQ(report.new_files + report.changed_files + report.gone_files, 0);
    }
}

}  // namespace
}  // namespace codetext::schema
