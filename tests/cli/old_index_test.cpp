// Indexes as every schema version stored them, committed in tests/data/old_index beside the files
// that they index. tests/data/README.md says how they were made.

#include <gmock/gmock.h>

#include "cli/program.hpp"
#include "storage/schema.hpp"

namespace codetext::test {
namespace {

namespace fs = std::filesystem;

const std::pair<std::string, std::string> ANSWERS[] = {
    {"-i scale",
     "notes.txt:4:The scale is in src/scale.c.\n"
     "src/scale.c:1:/* Prints the Kelvin scale: 273.15 \u212a is 0 "
     "\u00b0C. */\n"
     "src/scale.c:2:void print_scale(void)\n"
     "src/scale.c:72:\tputs(\"end of the scale\");\n"
     "table.json:68:], \"scale\": 1}\n"},
    {"row\\(3[34]0,.*67|line,.after",
     "notes.txt:2:second line, after CR LF\n"
     "notes.txt:3:third line, after U+2028\n"
     "src/scale.c:71:\trow(340, 67);\n"},
    {"\"kelvin\"", "table.json:1:{\"kelvin\": [\n"},
    {"no.such.text", ""}};

const std::string LARGE_DATA = "3.0.0 to 3.1.0: 1 large data file(s) are now read from disk\n",
                  COMPRESSES = chunk_store::default_layout() == chunk_store::COMPRESSED
                                   ? "3.1.0 to 3.2.0: the chunks of 3 file(s) are now compressed\n"
                                   : "3.1.0 to 3.2.0: the chunks stay as they are: compressing "
                                     "them takes SQLite 3.43\n",
                  SUMS = "3.2.0 to 3.3.0: every page has a checksum now\n",
                  NOTHING = "up to date: schema 3.3.0\n";

const struct {
    std::string name, version;
    bool can_be_read;
    std::string upgrade;
} CASES[] = {{"3.0.0", "3.0.0", false, LARGE_DATA + COMPRESSES + SUMS},
             {"3.1.0", "3.1.0", true, COMPRESSES + SUMS},
             {"3.2.0-code_chunks", "3.2.0", true, SUMS},
             {"3.2.0-compressed", "3.2.0", true, SUMS},
             {"3.3.0-code_chunks", "3.3.0", true, NOTHING},
             {"3.3.0-compressed", "3.3.0", true, NOTHING}};

TEST(old_index, is_refused_or_answers_and_answers_after_the_upgrade) {
    for (const auto& [name, version, can_be_read, upgrade] : CASES) {
        SCOPED_TRACE(name);
        const TempFolder folder;
        const fs::path data = fs::path(CODETEXT_TEST_DATA) / "old_index",
                       index = schema::index_path(folder.path());
        fs::copy(data / "files", folder.path(), fs::copy_options::recursive);
        fs::create_directories(index.parent_path());
        fs::copy_file(data / (name + ".db"), index);
        const auto out = [&](const std::string& command) {
            const Outcome outcome = run(words(command), folder.path());
            return outcome.output + outcome.errors;
        };
        const std::string refusal =
            index.string() + " has schema " + version + "; run `codetext upgrade` first";
        for (const auto& [arguments, answer] : ANSWERS) {
            EXPECT_EQ(out("search code --source=index " + arguments),
                      can_be_read ? answer : "codetext: " + refusal + "\n");
        }
        EXPECT_EQ(out("upgrade"), upgrade);
        EXPECT_EQ(out("upgrade"), NOTHING);
        EXPECT_EQ(out("verify"), "the index is whole\n");
        for (const auto& [arguments, answer] : ANSWERS) {
            EXPECT_EQ(out("search code --source=index " + arguments), answer);
        }
        EXPECT_THAT(out("index"), testing::StartsWith("indexed 4 files (0 new, 0 changed, 0 gone, "
                                                      "1 kept on disk, 0 binary"));
        // A run upgrades by itself.
        fs::copy_file(data / (name + ".db"), index, fs::copy_options::overwrite_existing);
        EXPECT_THAT(out("index"),
                    testing::StartsWith(upgrade == NOTHING
                                            ? "indexed 4 files"
                                            : "upgraded " + upgrade.substr(0, upgrade.find('\n'))));
    }
}

}  // namespace
}  // namespace codetext::test
