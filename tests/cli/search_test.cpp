#include <gmock/gmock.h>
#include <re2/re2.h>

#include "cli/program.hpp"
#include "storage/temp_index.hpp"

namespace codetext::test {
namespace {

using test_support::TempFolder;
using testing::HasSubstr;

Outcome search(const TempFolder& repository, const Arguments& arguments,
               const std::string& below = "") {
    Arguments all = {"search", "code"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return run(all, repository.path() / below);
}

class SearchCode : public testing::Test {
  protected:
    SearchCode() {
        repository.write("a.c", "int main() {\n\treturn fooled(foo);\n}\n");
        repository.write("lib/b.h", "\u00e9 = foo; // Foo\nfoo\n");
        repository.write("lib/deep/c.py", "import foo\n");
        repository.write("long.txt", test_support::numbered_lines(200));
        repository.write("z.json", "{\"foo\": \"" + std::string(40000, 'x') + "\"}\n");
    }
    void index(const std::string& layout = "") {
        Arguments arguments = {"index"};
        if (!layout.empty()) arguments.push_back("--layout=" + layout);
        const Outcome outcome = run(arguments, repository.path());
        ASSERT_EQ(outcome.status, 0) << outcome.errors;
    }
    std::string out(const Arguments& arguments, const std::string& below = "") {
        const Outcome outcome = search(repository, arguments, below);
        EXPECT_EQ(outcome.errors, "");
        return outcome.output;
    }
    TempFolder repository;
};

struct Case {
    Arguments arguments;
    std::string expected;
};

const std::vector<Case> CASES = {
    {{"fooled"}, "a.c:2:\treturn fooled(foo);\n"},
    {{"-c", "foo"}, "a.c:1\nlib/b.h:2\nlib/deep/c.py:1\nz.json:1\n"},
    {{"-l", "foo"}, "a.c\nlib/b.h\nlib/deep/c.py\nz.json\n"},
    {{"--files-without-match", "foo"}, "long.txt\n"},
    {{"--files-without-match", "--limit", "1", "import"}, "a.c\n"},
    {{"-l", "--limit", "2", "foo"}, "a.c\nlib/b.h\n"},
    {{"-c", "--limit", "2", "foo"}, "a.c:1\nlib/b.h:2\n"},
    {{"-c", "--limit", "1", "line"}, "long.txt:200\n"},
    {{"-cm150", "--limit", "1", "line"}, "long.txt:150\n"},
    {{"-c", "--limit", "0", "foo"}, ""},
    {{"-q", "foo"}, ""},
    {{"-m1", "-g", "*.h", "foo"}, "lib/b.h:1:\u00e9 = foo; // Foo\n"},
    {{"-m", "0", "foo"}, ""},
    {{"-m9223372036854775807", "-A9223372036854775807", "-B010", "main"},
     "a.c:1:int main() {\na.c-2-\treturn fooled(foo);\na.c-3-}\n"},
    {{"--limit=2", "-i", "FOO"}, "a.c:2:\treturn fooled(foo);\nlib/b.h:1:\u00e9 = foo; // Foo\n"},
    {{"-t", "python", "foo"}, "lib/deep/c.py:1:import foo\n"},
    {{"-tpy", "foo"}, "lib/deep/c.py:1:import foo\n"},
    {{"-t", "c++", "-xt", "js", "foo"}, "lib/b.h:2:foo\n"},
    {{"-lth", "foo"}, "lib/b.h\n"},
    {{"-ltc", "foo"}, "a.c\nlib/b.h\n"},
    {{"-lTcpp", "foo"}, "a.c\nlib/deep/c.py\nz.json\n"},
    {{"-ltc", "-T", "h", "-Tpython", "foo"}, "a.c\n"},
    {{"-e", "fooled", "-e", "import"}, "a.c:2:\treturn fooled(foo);\nlib/deep/c.py:1:import foo\n"},
    {{"-e", "-foo", "-e", "}"},
     "a.c:3:}\nz.json:1:{\"foo\": \"" + std::string(40000, 'x') + "\"}\n"},
    {{"-x", "foo"}, "lib/b.h:2:foo\n"},
    {{"-w", "foo", "a.c", "lib/deep"}, "a.c:2:\treturn fooled(foo);\nlib/deep/c.py:1:import foo\n"},
    {{"--column", "foo", "lib/b.h"}, "lib/b.h:1:6:\u00e9 = foo; // Foo\nlib/b.h:2:1:foo\n"},
    {{"--vimgrep", "-i", "foo", "lib/b.h"},
     "lib/b.h:1:6:\u00e9 = foo; // Foo\nlib/b.h:1:14:\u00e9 = foo; // Foo\nlib/b.h:2:1:foo\n"},
    {{"--heading", "-w", "foo", "lib"},
     "lib/b.h\n1:\u00e9 = foo; // Foo\n2:foo\n\nlib/deep/c.py\n1:import foo\n"},
    {{"--color=always", "-x", "foo"},
     "\x1b[35mlib/b.h\x1b[0m:\x1b[32m2\x1b[0m:\x1b[1;31mfoo\x1b[0m\n"},
    {{"-C1", "line 64$"}, "long.txt-63-line 63\nlong.txt:64:line 64\nlong.txt-65-line 65\n"},
    {{"-B1", "-A", "1", "line 1(28|30|50)"},
     "long.txt-127-line 127\nlong.txt:128:line 128\nlong.txt-129-line 129\nlong.txt:130:line 130\n"
     "long.txt-131-line 131\n--\nlong.txt-149-line 149\nlong.txt:150:line 150\n"
     "long.txt-151-line 151\n"},
    {{"-C2", "-B0", "line 199"}, "long.txt:199:line 199\nlong.txt-200-line 200\n"},
    {{"-A1", "-g!z.json", "main|import"},
     "a.c:1:int main() {\na.c-2-\treturn fooled(foo);\n--\nlib/deep/c.py:1:import foo\n"},
    {{"--", "-none-"}, ""},
};

TEST_F(SearchCode, answers_alike_from_every_source_and_layout) {
    for (const char* layout : {"", "code_chunks"}) {
        std::filesystem::remove_all(repository.path() / ".codetext");
        ASSERT_NO_FATAL_FAILURE(index(layout));
        for (const Case& one : CASES) {
            for (const char* source : {"index", "disk"}) {
                Arguments arguments = {"--source", source};
                arguments.insert(arguments.end(), one.arguments.begin(), one.arguments.end());
                EXPECT_EQ(out(arguments), one.expected)
                    << testing::PrintToString(arguments) << ' ' << layout;
            }
        }
    }
}

TEST_F(SearchCode, takes_and_shows_paths_relative_to_the_current_directory) {
    index();
    EXPECT_EQ(out({"-l", "foo"}, "lib"), "b.h\ndeep/c.py\n");
    EXPECT_EQ(out({"-l", "foo", ".."}, "lib/deep"), "../b.h\nc.py\n");
    EXPECT_EQ(out({"-l", "foo", "../../a.c", "."}, "lib/deep"), "../../a.c\nc.py\n");
    EXPECT_EQ(out({"-l", "fooled", repository.path() / "a.c"}), "a.c\n");
    const std::string name = repository.path().filename();
    EXPECT_EQ(out({"-l", "fooled", name}, ".."), name + "/a.c\n");
}

TEST_F(SearchCode, takes_globs_relative_to_the_current_directory) {
    repository.write("lib/[a]{b},!/c.py", "foo\n");
    repository.write("lib/a/c.py", "foo\n");
    repository.write("lib/x.h.txt", "foo\n");
    index();
    const std::string name = repository.path().filename(), odd = "lib/[a]{b},!";
    const struct {
        std::string below, glob, expected;
        Arguments paths = {};
    } GLOBS[] = {
        {"lib", "deep/*", "deep/c.py\n"},
        {"lib", "/b.h", "b.h\n"},
        {"lib", "./*.h", "b.h\n"},
        {"lib", "!*/c.py", "b.h\nx.h.txt\n"},
        {"lib", "c.py", "[a]{b},!/c.py\na/c.py\ndeep/c.py\n"},
        {"lib", "deep/", "deep/c.py\n"},
        {"lib", "lib/**", ""},
        {"lib/deep", "../b.h", "../b.h\n", {".."}},
        {"lib/deep", "../../*.c", "../../a.c\n", {"../.."}},
        {"lib/deep", "./", "c.py\n", {".."}},
        {"lib/deep", "**/a/c.py", "../a/c.py\n", {".."}},
        {"lib/deep", "*.h", "../b.h\n", {".."}},
        {odd, "/c.py", "c.py\n"},
        {odd, "/c.py", "c.py\n", {".."}},
        {"..", name + "/lib/*.h", name + "/lib/b.h\n", {name}},
        {"..", "lib/*.h", name + "/lib/b.h\n", {name}},
        {"", "./*.c", "a.c\n"},
        {"", "lib/*/c.py", "lib/[a]{b},!/c.py\nlib/a/c.py\nlib/deep/c.py\n"},
    };
    for (const auto& [below, glob, expected, paths] : GLOBS) {
        Arguments arguments = {"-l", "-g", glob, "foo"};
        arguments.insert(arguments.end(), paths.begin(), paths.end());
        EXPECT_EQ(out(arguments, below), expected) << below << ' ' << glob;
    }
    EXPECT_EQ(out({"-lth", "foo"}), "lib/b.h\n") << "an ending of a path, not a part";
}

TEST_F(SearchCode, exits_with_0_for_a_match_1_for_none_2_for_an_error) {
    index();
    EXPECT_EQ(search(repository, {"-q", "foo"}).status, 0);
    EXPECT_EQ(search(repository, {"nowhere"}).status, 1);
    EXPECT_EQ(search(repository, {"--files-without-match", ""}).status, 1);
    const TempFolder other;
    other.write("x.c", "foo\n");
    const std::vector<std::pair<Arguments, std::string>> errors = {
        {{"("}, "missing )"},
        {{"-C", "-1", "foo"}, "--context: \"-1\""},
        {{"-g", "", "foo"}, "--glob: \"\""},
        {{"-g", "!", "foo"}, "--glob: \"!\""},
        {{"-g", "../*.c", "foo"}, "--glob: ../\\*.c leads out of the repository"},
        {{"-t", "", "foo"}, "unknown type \"\""},
        {{"-T", "pyhton", "foo"}, "unknown type pyhton; did you mean python.; --type-list"},
        {{"-t", "klingon", "foo"}, "unknown type klingon; .*--type-list"},
        {{"foo", "missing"}, "missing: No such file"},
        {{"foo", ".", other.path()}, "outside of the repository"},
        {{"foo", other.path()}, "no index at .*: run `codetext index` first"},
        {{"-g", "lib/[", "foo"}, "the glob lib/\\[ is missing a ]"},
        {{}, "pattern"},
        {{"a\nb"}, "line break"},
    };
    for (const auto& [arguments, message] : errors) {
        const Outcome outcome = search(repository, arguments);
        EXPECT_EQ(outcome.status, 2) << message;
        EXPECT_EQ(outcome.output, "") << message;
        EXPECT_THAT(outcome.errors, testing::ContainsRegex("^codetext: (.|\n)*" + message));
    }
    repository.write(".codetext/index/code.db", "no database, but long enough to be looked at\n");
    const Outcome outcome = search(repository, {"foo"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.errors, HasSubstr("code.db"));
}

TEST_F(SearchCode, writes_json_in_ripgreps_shape) {
    index();
    std::string out = this->out({"--json", "-iC1", "Foo", "lib/b.h"});
    const RE2 varying(R"(\{"secs":0,"nanos":\d+,"human":"[\d.]+s"\}|)"
                      R"("path":\{"text":"lib/b\.h"\}|"bytes_printed":\d+)");
    const std::string stats =
        R"("stats":{"elapsed":*,"searches":1,"searches_with_match":1,"bytes_searched":20,*,)"
        R"("matched_lines":2,"matches":3,"segments":1,"segments_without_match":0})";
    RE2::GlobalReplace(&out, varying, "*");
    EXPECT_EQ(out,
              R"({"type":"begin","data":{*}}
{"type":"match","data":{*,"lines":{"text":")"
              "\u00e9"
              R"( = foo; // Foo\n"},"line_number":1,"column":4,)"
              R"("submatches":[{"match":{"text":"foo"},"start":5,"end":8},)"
              R"({"match":{"text":"Foo"},"start":13,"end":16}]}}
{"type":"match","data":{*,"lines":{"text":"foo\n"},"line_number":2,"column":0,)"
              R"("submatches":[{"match":{"text":"foo"},"start":0,"end":3}]}}
{"type":"end","data":{*,"binary_offset":null,)" +
                  stats + R"(}}
{"type":"summary","data":{"elapsed_total":*,)" +
                  stats + R"(,"source":"index","reason":null}}
)");
    EXPECT_THAT(this->out({"--json", "-m1", "-A1", "line 7"}),
                HasSubstr("{\"type\":\"context\",\"data\":{\"path\":{\"text\":\"long.txt\"},"
                          "\"lines\":{\"text\":\"line 8\\n\"},\"line_number\":8,"
                          "\"submatches\":[]}}"));
}

TEST_F(SearchCode, counts_bytes_of_the_text_that_it_shows) {
    repository.write("bytes.txt", "\xE9 = \xE2\x82 \u00e9 zap\xFF\xFEzap\n");
    const std::string line = "\uFFFD = \uFFFD \u00e9 zap\uFFFD\uFFFDzap";
    const struct {
        Arguments arguments;
        std::string expected;
    } OUTPUTS[] = {
        {{"--column", "zap"}, "bytes.txt:1:14:" + line + '\n'},
        {{"--column", "-i", "Z[A]P"}, "bytes.txt:1:14:" + line + '\n'},
        {{"--vimgrep", "zap"}, "bytes.txt:1:14:" + line + "\nbytes.txt:1:23:" + line + '\n'},
        {{"--column", "\uFFFD+zap"}, "bytes.txt:1:17:" + line + '\n'},
        {{"--json", "zap"},
         "\"lines\":{\"text\":\"" + line +
             R"(\n"},"line_number":1,"column":8,"submatches":[)"
             R"({"match":{"text":"zap"},"start":13,"end":16},)"
             R"({"match":{"text":"zap"},"start":22,"end":25}])"},
        {{"--json", "\uFFFD+z"},
         "[{\"match\":{\"text\":\"\uFFFD\uFFFDz\"},\"start\":16,\"end\":23}]"},
    };
    index();
    for (const auto& [given, expected] : OUTPUTS) {
        for (const char* source : {"index", "disk"}) {
            Arguments arguments = {"--source", source};
            arguments.insert(arguments.end(), given.begin(), given.end());
            EXPECT_THAT(out(arguments), HasSubstr(expected)) << testing::PrintToString(arguments);
        }
    }
}

TEST_F(SearchCode, shows_a_path_that_is_not_utf8_as_text_in_json) {
    const TempFolder folder;
    folder.write("caf\xE9/a.c", "foo\n");
    folder.write("here/x", "");
    ASSERT_EQ(run({"index", "caf\xE9"}, folder.path()).status, 0);
    const Outcome outcome =
        run({"search", "code", "--json", "foo", "../caf\xE9"}, folder.path() / "here");
    EXPECT_THAT(outcome.output, HasSubstr("{\"text\":\"../caf\uFFFD/a.c\"}"));
}

TEST_F(SearchCode, says_why_it_read_the_disk) {
    index();
    EXPECT_THAT(search(repository, {"--stats", "import"}).errors, HasSubstr("read from the index"));
    repository.write("new.c", "import\n");
    Database(schema::index_path(repository.path()), Access::READ_WRITE)
        .execute(
            "INSERT INTO files(path, language, size, mtime_ns, content_hash) "
            "VALUES ('new.c', 'c', 7, 0, 0)");
    const std::string reason =
        "read from the files on disk: 1 indexed file(s) have no chunks yet (the next index pass "
        "parses them)";
    Outcome outcome = search(repository, {"import"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "lib/deep/c.py:1:import foo\nnew.c:1:import\n");
    EXPECT_EQ(outcome.errors, "codetext: " + reason + "\n");
    EXPECT_THAT(search(repository, {"--json", "import"}).output,
                HasSubstr("\"source\":\"disk\",\"reason\":\"" + reason + "\"}}\n"));
    outcome = search(repository, {"--source", "index", "import"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.errors, HasSubstr(reason));
    EXPECT_EQ(search(repository, {"--source", "disk", "import"}).errors, "");
}

TEST_F(SearchCode, ends_quietly_when_nobody_reads) {
    std::string many;
    for (int i = 0; i < 100000; ++i) many += "a line that matches\n";
    repository.write("many.txt", many);
    index();
    const std::string program = CODETEXT_PROGRAM;
    const Outcome outcome = run_command(
        {"sh", "-c", "{ '" + program + "' search code matches; echo $? >&2; } | head -n 1"},
        repository.path());
    EXPECT_EQ(outcome.output, "many.txt:1:a line that matches\n");
    EXPECT_EQ(outcome.errors, "0\n");
    EXPECT_THAT(run_command({"sh", "-c", "'" + program + "' search code matches >/dev/full"},
                            repository.path())
                    .errors,
                HasSubstr("No space left"));
}

TEST_F(SearchCode, says_which_paths_the_index_does_not_have) {
    index();
    repository.write("new.c", "foo\n");
    const Outcome outcome = search(repository, {"foo", "new.c", "long.txt"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "codetext: the index has no files at new.c\n");
}

TEST_F(SearchCode, takes_the_names_of_commands_for_patterns) {
    repository.write("names.txt", "search code index status upgrade verify\n");
    index();
    for (const char* name : {"search", "code", "index", "status", "upgrade", "verify"}) {
        EXPECT_EQ(out({"-l", name, "names.txt"}), "names.txt\n") << name;
    }
}

}  // namespace
}  // namespace codetext::test
