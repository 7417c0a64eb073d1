// The reader of the command line, in-process: each argument arrives as it was given.

#include "cli/options.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "cli/commands.hpp"
#include "cli/file_types.hpp"
#include "cli/help.hpp"
#include "cli/nearest_name.hpp"
#include "cli/search_arguments.hpp"
#include "utils/reference.hpp"

namespace codetext::cli {
namespace {

using reference::words;
using Texts = std::vector<std::string>;

SearchArguments parsed(const Texts& given) {
    SearchArguments arguments;
    parse(search_command(arguments), given);
    arguments.settle_patterns();
    return arguments;
}

// What differs from the defaults, in a short form.
std::string shown(const SearchArguments& given) {
    std::string text;
    for (const std::string& pattern : given.patterns) text += " e:" + pattern;
    for (const std::string& path : given.paths) text += " p:" + path;
    for (const std::string& glob : given.globs) text += " g:" + glob;
    const std::pair<const char*, bool> FLAGS[] = {
        {" F", given.fixed_strings}, {" i", given.ignore_case}, {" s", given.case_sensitive},
        {" S", given.smart_case},    {" H", given.heading},     {" N", given.no_heading}};
    for (const auto& [name, is_set] : FLAGS) text += is_set ? name : "";
    const std::pair<const char*, std::int64_t> NUMBERS[] = {
        {" m", given.max_count + 1}, {" B", given.lines_before()}, {" A", given.lines_after()}};
    for (const auto& [name, n] : NUMBERS) text += n == 0 ? "" : name + fmt::to_string(n);
    return text.substr(1);
}

// Arguments, and what they stand for.
const std::string READINGS =
    "x/e:x;-e=x/e:=x;x -iS/e:x S;x -Ss/e:x s;x -Si/e:x i;x -i -s/e:x s;x -s -i/e:x i;"
    "x -A1 -C2/e:x B2 A1;x -C2 -B0/e:x A2;-e x p/e:x p:p;x - --/e:x p:-;-F -- -i/e:-i F;"
    "x -- -i/e:x p:-i;x p -i q/e:x p:p p:q i;--glob= --regexp=/e: g:;"
    "-Fie x -e-F/e:x e:-F F i;-- -x -- p/e:-x p:-- p:p;-e -- --regexp=-y=/e:-- e:-y=;"
    "x --no-heading --heading/e:x H;x --heading --no-heading/e:x N;x -m1 -m 007/e:x m8;"
    "x -g [a,b] -g={c}/e:x g:[a,b] g:={c}";

TEST(options, are_taken_before_between_and_after_positionals) {
    for (const bool posixly_correct : {false, true}) {
        for (const std::string& one : words(READINGS, ';')) {
            EXPECT_EQ(shown(parsed(words(words(one, '/')[0]))), words(one, '/')[1]) << one;
        }
        if (!posixly_correct) ::setenv("POSIXLY_CORRECT", "1", 1);
    }
    ::unsetenv("POSIXLY_CORRECT");
    EXPECT_EQ(parsed({"", "--color=always", "--color", "never"}).color, "never");
    EXPECT_FALSE(parsed({"", "-o", "--stats", "--no-only-matching"}).only_matching);
    EXPECT_TRUE(parsed({"", "--no-stats", "--stats"}).stats);
    EXPECT_TRUE(parsed({"", "-r", ""}).replaces);
    EXPECT_EQ(parsed({""}).patterns, Texts{""});
}

TEST(options, are_refused_with_advice) {
    const std::string tip = "; use -e or -- for a pattern that begins with -";
    std::vector<std::pair<Texts, std::string>> cases = {
        {{"--colour", "x"}, "unknown option --colour; did you mean --color?"},
        {{"--col=always"}, "unknown option --col; did you mean --column, --color or --colors?"},
        {{"-colkor"}, "unknown option -k in -colkor; did you mean --color?"},
        {{"--limti", "3"}, "unknown option --limti; did you mean --limit?"},
        {{"->field"}, "unknown option -> in ->field" + tip},
        {{"-i:"}, "unknown option -: in -i:" + tip},
        {{"--=x"}, "unknown option --=x" + tip},
        {{"-i-"}, "unknown option - in -i-" + tip},
        {{"--count=3"}, "--count takes no value"},
        {{"x", "-im"}, "-m needs a value: N"},
        {{"x", "--no-limit"}, "unknown option --no-limit" + tip},
        {{"x", "--no-column=3"}, "--no-column takes no value"},
        {{"x", "-U"}, "--multiline: lines are searched one by one; no match reaches past one"},
        {{"x", "--color"}, "--color needs a value: WHEN"},
        {{"x", "--source", "tape"}, "--source: \"tape\" is not one of auto, index, disk"},
        {{"x", "--json", "-c"}, "--json cannot be combined with --count"},
        {{"x", "-l", "--json"}, "--json cannot be combined with --files-with-matches"},
        {{"x", "-0", "--json"}, "--json cannot be combined with --null"},
        {{"--"}, "search code: a pattern is missing"},
        {{"-i"}, "search code: a pattern is missing"}};
    for (const std::string text : {"--foo", "-k", "-i\u00e9", "---", "-1"}) {
        cases.push_back({{"-i", text}, "unknown option " + text + tip});
    }
    for (const std::string text : {"-1", "x", "1.5", "0x1", " 1", "", "9223372036854775808"}) {
        const std::string refused = "\"" + text + "\" is not a number from 0 up";
        cases.push_back({{"x", "--limit", text}, "--limit: " + refused});
    }
    for (const auto& [arguments, message] : cases) {
        try {
            parsed(arguments);
            ADD_FAILURE() << "accepted: " << testing::PrintToString(arguments);
        } catch (const UsageError& error) {
            EXPECT_EQ(error.what(), message);
        }
    }
}

TEST(help_text, names_every_option_on_lines_of_80_columns) {
    AllArguments arguments;
    const std::vector<Command> commands = all_commands(arguments);
    std::string texts = program_help(program_command(arguments), commands);
    for (const Command& command : commands) {
        EXPECT_THAT(texts, testing::HasSubstr(fmt::format("\n  {} ", command.name)));
        const std::string text = help_text(command);
        for (const Option& one : command.options) {
            if (one.group.empty()) continue;
            const std::string letter =
                one.short_name == 0 ? "   " : fmt::format("-{},", one.short_name);
            const std::string term =
                fmt::format("\n  {} --{} {}", letter, one.long_name, one.value_name);
            EXPECT_THAT(text, testing::HasSubstr(term)) << command.name;
        }
        EXPECT_THAT(text, testing::HasSubstr("\n  -h, --help                  Print"));
        texts += text;
    }
    for (const std::string& line : words(texts, '\n')) EXPECT_LE(line.size(), 80U) << line;
}

TEST(file_types, are_languages_and_the_names_that_people_use) {
    EXPECT_EQ(members_of_types({"py", "c++", "c", "h"}),
              words("python cpp .h c .h .hh .hpp .hxx .h++ .H"));
    EXPECT_THAT(type_list(), testing::StartsWith("ada: *.ada, "));
    EXPECT_THAT(type_list(), testing::HasSubstr("\npython, py: *.py, *.pyi, *.pyw\n"));
    EXPECT_THAT(type_list(), testing::HasSubstr("\nh: *.h, *.hh, "));
    EXPECT_THAT(type_list(), testing::HasSubstr(", Makefile.in, makefile\n"));
}

TEST(nearest_names, are_few_edits_away) {
    const std::vector<std::string_view> known = {"python", "perl", "php", "c", "cpp", "css"};
    for (const std::string& one :
         words("pyhton:python;pythn:python;Python:python;p:python perl php;cp:cpp;ccp:cpp;"
               "csp:cpp css;x:;:;klingon:",
               ';')) {
        const auto names = nearest_names(words(one, ':')[0], known);
        EXPECT_EQ(Texts(names.begin(), names.end()), words(words(one, ':')[1])) << one;
    }
    EXPECT_EQ(did_you_mean({"a", "b", "c"}, "--"), "; did you mean --a, --b or --c?");
}

}  // namespace
}  // namespace codetext::cli
