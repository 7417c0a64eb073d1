#include <gmock/gmock.h>
#include <re2/re2.h>

#include "cli/program.hpp"
#include "storage/temp_index.hpp"

namespace codetext::test {
namespace {

using testing::HasSubstr;
using Cases = std::vector<std::pair<std::string, std::string>>;

class SearchCode : public testing::Test {
  protected:
    SearchCode() {
        repository.write("a.c", "int main() {\n\treturn fooled(foo);\n}\n");
        repository.write("lib/b.h", "\u00e9 = foo; // Foo\nfoo\n");
        repository.write("lib/deep/c.py", "import foo\n");
        repository.write("long.txt", test_support::numbered_lines(200));
        repository.write("z.json", "{\"foo\": \"" + std::string(40000, 'x') + "\"}\n");
    }
    void index(const Arguments& options = {}) {
        const Outcome outcome = run(Arguments{"index"} + options, root);
        ASSERT_EQ(outcome.status, 0) << outcome.errors;
    }
    std::string out(const Arguments& arguments, const std::string& below = "") {
        const Outcome outcome = search(arguments, root / below);
        EXPECT_EQ(outcome.errors, "");
        return outcome.output;
    }
    TempFolder repository;
    const std::filesystem::path root = repository.path();
};

const std::string FOOLED = "a.c:2:\treturn fooled(foo);\n",
                  B_H = "lib/b.h:1:\u00e9 = foo; // Foo\n", C_PY = "lib/deep/c.py:1:import foo\n",
                  MAIN = "a.c:1:int main() {\na.c-2-\treturn fooled(foo);\n",
                  Z_JSON = "z.json:1:{\"foo\": \"" + std::string(40000, 'x') + "\"}\n";

const Cases SHORT = {{"--limit=2 -i FOO", FOOLED + B_H},         {"-q foo", ""},
                     {"-ltc -T h -Tpython foo", "a.c\n"},        {"-m 0 foo", ""},
                     {"-l --limit 2 foo", "a.c\nlib/b.h\n"},     {"-- -none-", ""},
                     {"-e fooled -e import", FOOLED + C_PY},     {"fooled", FOOLED},
                     {"-e -foo -e }", "a.c:3:}\n" + Z_JSON},     {"-tpy foo", C_PY},
                     {"-w foo a.c lib/deep", FOOLED + C_PY},     {"-m1 -g *.h foo", B_H},
                     {"-c --limit 1 line", "long.txt:200\n"},    {"-c --limit 0 foo", ""},
                     {"-t c++ -xt js foo", "lib/b.h:2:foo\n"},   {"-lth foo", "lib/b.h\n"},
                     {"-c --limit 2 foo", "a.c:1\nlib/b.h:2\n"}, {"-ltc foo", "a.c\nlib/b.h\n"},
                     {"--files-without-match foo", "long.txt\n"}};

const Cases LONG = {
    {"-cm150 --limit 1 line", "long.txt:150\n"},
    {"-lTcpp foo", "a.c\nlib/deep/c.py\nz.json\n"},
    {"-l foo", "a.c\nlib/b.h\nlib/deep/c.py\nz.json\n"},
    {"--files-without-match --limit 1 import", "a.c\n"},
    {"-A1 -g!z.json main|import", MAIN + "--\n" + C_PY},
    {"-c foo", "a.c:1\nlib/b.h:2\nlib/deep/c.py:1\nz.json:1\n"},
    {"-C2 -B0 line.199", "long.txt:199:line 199\nlong.txt-200-line 200\n"},
    {"-m9223372036854775807 -A9223372036854775807 -B010 main", MAIN + "a.c-3-}\n"},
    {"--column foo lib/b.h", "lib/b.h:1:6:\u00e9 = foo; // Foo\nlib/b.h:2:1:foo\n"},
    {"-C1 line.64$", "long.txt-63-line 63\nlong.txt:64:line 64\nlong.txt-65-line 65\n"},
    {"--color=always -x foo", "\x1b[35mlib/b.h\x1b[0m:\x1b[32m2\x1b[0m:\x1b[1;31mfoo\x1b[0m\n"},
    {"--heading -w foo lib",
     "lib/b.h\n1:\u00e9 = foo; // Foo\n2:foo\n\nlib/deep/c.py\n1:import foo\n"},
    {"--vimgrep -i foo lib/b.h",
     "lib/b.h:1:6:\u00e9 = foo; // Foo\nlib/b.h:1:14:\u00e9 = foo; // Foo\nlib/b.h:2:1:foo\n"},
    {"-B1 -A 1 line.1(28|30|50)",
     "long.txt-127-line 127\nlong.txt:128:line 128\nlong.txt-129-line 129\nlong.txt:130:line 130\n"
     "long.txt-131-line 131\n--\nlong.txt-149-line 149\nlong.txt:150:line 150\n"
     "long.txt-151-line 151\n"}};

TEST_F(SearchCode, answers_alike_from_every_source_and_layout) {
    for (const Arguments& layout : {Arguments{}, Arguments{"--layout=code_chunks"}}) {
        std::filesystem::remove_all(root / ".codetext");
        ASSERT_NO_FATAL_FAILURE(index(layout));
        for (const Cases& cases : {SHORT, LONG}) {
            for (const auto& [arguments, expected] : cases) {
                for (const char* source : {"--source=index", "--source=disk"}) {
                    EXPECT_EQ(out(Arguments{source} + words(arguments)), expected) << arguments;
                }
            }
        }
    }
}

TEST_F(SearchCode, takes_and_shows_paths_relative_to_the_current_directory) {
    for (const char* path : {"lib/[a]{b},!/c.py", "lib/a/c.py", "lib/x.h.txt", "nasty/--/-",
                             "nasty/{a,b}", "n-/x", "n/x/y", "n/x/z", "n0/x", "n.txt"}) {
        repository.write(path, "foo\n");
    }
    index();
    // The current directory and the arguments, and what is found. NAME is that of the repository.
    std::string cases =
        ". -th:lib/b.h;nasty -- -- {a,b}:--/- {a,b};nasty/-- -- -:-;. n:n/x/y n/x/z;"
        ". n0 n.txt:n.txt n0/x;. n/x n n/x/y:n/x/y n/x/z;. --limit 1 n0 n/x/z:n/x/z;"
        ". -g n*/** -g !n0 -g !nasty:n-/x n/x/y n/x/z;lib -g lib/**:;. -g ./*.c:a.c;"
        "lib -g /b.h:b.h;lib -g ./*.h:b.h;lib -g deep/:deep/c.py;lib -g !lib -g *.h:b.h;"
        ". -g !lib -g *.h lib:lib/b.h;. -g !deep -g *.py lib/deep/c.py:lib/deep/c.py;"
        "lib/deep -g ./ ..:c.py;lib -g deep/*:deep/c.py;lib -g !*/c.py:b.h x.h.txt;"
        "lib/[a]{b},! -g /c.py:c.py;lib/deep -g ../b.h ..:../b.h;lib/deep -g *.[ch] ..:../b.h;"
        "lib/[a]{b},! -g /c.py ..:c.py;lib/deep -g **/a/c.py ..:../a/c.py;"
        "lib/deep ../../a.c .:../../a.c c.py;lib/deep -g ../../*.c ../..:../../a.c;"
        "lib -g c.py:[a]{b},!/c.py a/c.py deep/c.py;"
        "lib:[a]{b},!/c.py a/c.py b.h deep/c.py x.h.txt;"
        ". -g lib/*/c.py:lib/[a]{b},!/c.py lib/a/c.py lib/deep/c.py;"
        ".. NAME/a.c:NAME/a.c;.. -g NAME/lib/*.h NAME:NAME/lib/b.h;"
        ".. -g ./NAME/lib/*.h NAME:NAME/lib/b.h;.. -g lib/*.h NAME:NAME/lib/b.h;"
        ". " +
        (root / "a.c").string() + ":a.c";
    RE2::GlobalReplace(&cases, "NAME", root.filename().string());
    for (const std::string& one : words(cases, ';')) {
        Arguments arguments = words(words(one, ':')[0]);
        const std::string below = std::exchange(arguments[0], "-lefoo");
        std::string paths;
        for (const std::string& path : words(words(one, ':')[1])) paths += path + '\n';
        EXPECT_EQ(out(arguments, below), paths) << one;
    }
}

TEST_F(SearchCode, exits_with_0_for_a_match_1_for_none_2_for_an_error) {
    index();
    EXPECT_EQ(search({"-q", "foo"}, root).status, 0);
    EXPECT_EQ(search({"nowhere"}, root).status, 1);
    EXPECT_EQ(search({"--files-without-match", ""}, root).status, 1);
    const TempFolder other;
    other.write("x.c", "foo\n");
    const Cases CASES = {
        {"(", "missing )"},
        {"-C -1 foo", "--context: \"-1\""},
        {"--glob= foo", "--glob: \"\""},
        {"-g ! foo", "--glob: \"!\""},
        {"-g ../*.c foo", "--glob: ../\\*.c leads out of the repository"},
        {"--type= foo", "unknown type \"\""},
        {"-T pyhton foo", "unknown type pyhton; did you mean python.; --type-list"},
        {"-t klingon foo", "unknown type klingon; .*--type-list"},
        {"foo missing", "missing: No such file"},
        {"foo . " + other.path().string(), "outside of the repository"},
        {"foo " + other.path().string(), "no index at .*: run `codetext index` first"},
        {"-g lib/[ foo", "the glob lib/\\[ is missing a ]"},
        {"", "pattern"},
        {"a\nb", "line break"}};
    for (const auto& [arguments, message] : CASES) {
        const Outcome outcome = search(words(arguments), root);
        EXPECT_EQ(outcome.status, 2) << message;
        EXPECT_EQ(outcome.output, "") << message;
        EXPECT_THAT(outcome.errors, testing::ContainsRegex("^codetext: (.|\n)*" + message));
    }
    repository.write("new.c", "foo\n");
    const Outcome outcome = search({"foo", "new.c", "long.txt"}, root);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "codetext: the index has no files at new.c\n");
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
                  stats + R"(,"source":"index","reason":null,"unreadable":0}}
)");
    EXPECT_THAT(this->out({"--json", "-m1", "-A1", "line 7"}),
                HasSubstr("{\"type\":\"context\",\"data\":{\"path\":{\"text\":\"long.txt\"},"
                          "\"lines\":{\"text\":\"line 8\\n\"},\"line_number\":8,"
                          "\"submatches\":[]}}"));
}

TEST_F(SearchCode, counts_bytes_of_the_text_that_it_shows) {
    repository.write("bytes.txt", "\xE9 = \xE2\x82 \u00e9 zap\xFF\xFEzap\n");
    const std::string line = "\uFFFD = \uFFFD \u00e9 zap\uFFFD\uFFFDzap\n";
    const Cases CASES = {
        {"--column zap", "bytes.txt:1:14:" + line},
        {"--column -i Z[A]P", "bytes.txt:1:14:" + line},
        {"--vimgrep zap", "bytes.txt:1:14:" + line + "bytes.txt:1:23:" + line},
        {"--column \uFFFD+zap", "bytes.txt:1:17:" + line},
        {"--json \uFFFD+z",
         R"("column":11,"submatches":[{"match":{"text":"��z"},"start":16,"end":23}])"}};
    index();
    for (const auto& [arguments, expected] : CASES) {
        for (const char* source : {"--source=index", "--source=disk"}) {
            EXPECT_THAT(out(Arguments{source} + words(arguments)), HasSubstr(expected));
        }
    }
}

TEST_F(SearchCode, shows_a_path_that_is_not_utf8_as_text_in_json) {
    const TempFolder folder;
    folder.write("caf\xE9/a.c", "foo\n");
    folder.write("here/x", "");
    ASSERT_EQ(run({"index", "caf\xE9"}, folder.path()).status, 0);
    EXPECT_THAT(search({"--json", "foo", "../caf\xE9"}, folder.path() / "here").output,
                HasSubstr("{\"text\":\"../caf\uFFFD/a.c\"}"));
}

TEST_F(SearchCode, says_why_it_read_the_disk) {
    index();
    // Searched are the files whose text is looked at: those kept on disk, and those of candidates.
    for (const auto& [arguments, stats] :
         Cases{{"import", "in 1 files\n2 files searched"},
               {"no+where", "in 0 files\n1 files searched"},
               {"--source=disk import", "in 1 files\n5 files searched"},
               {"--source=disk no+where", "in 0 files\n5 files searched"}}) {
        EXPECT_THAT(search(Arguments{"--stats"} + words(arguments), root).errors, HasSubstr(stats));
    }
    repository.write("new.c", "import\n");
    Database(schema::index_path(root), Access::READ_WRITE)
        .execute(
            "INSERT INTO files(path, language, size, mtime_ns, content_hash) "
            "VALUES ('new.c', 'c', 7, 0, 0)");
    const std::string reason =
        "read from the files on disk: 1 indexed file(s) have no chunks yet (the next index pass "
        "parses them)";
    Outcome outcome = search({"import"}, root);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, C_PY + "new.c:1:import\n");
    EXPECT_EQ(outcome.errors, "codetext: " + reason + "\n");
    EXPECT_THAT(
        search({"--json", "import"}, root).output,
        HasSubstr("\"source\":\"disk\",\"reason\":\"" + reason + "\",\"unreadable\":0}}\n"));
    // The next run finds out that it is binary, and it has no match until then.
    repository.write("new.c", std::string("import\n\0", 8));
    EXPECT_EQ(search({"import"}, root).output, C_PY);
    outcome = search({"--source", "index", "import"}, root);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.errors, HasSubstr(reason));
    EXPECT_EQ(search({"--source", "disk", "import"}, root).errors, "");
}

TEST_F(SearchCode, ends_quietly_when_nobody_reads) {
    std::string many;
    for (int i = 0; i < 100000; ++i) many += "a line that matches\n";
    repository.write("many.txt", many);
    index();
    const auto shell = [&](const std::string& behind) {
        const std::string command = "{ '" CODETEXT_PROGRAM "' search code matches; echo $? >&2; } ";
        return run_command({"sh", "-c", command + behind}, root);
    };
    const Outcome outcome = shell("| head -n 1");
    EXPECT_EQ(outcome.output, "many.txt:1:a line that matches\n");
    EXPECT_EQ(outcome.errors, "0\n");
    EXPECT_THAT(shell(">/dev/full").errors, HasSubstr("No space left"));
}

}  // namespace
}  // namespace codetext::test
