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
    arguments.settle_pattern();
    return arguments;
}

// What differs from the defaults, in a short form.
std::string shown(const SearchArguments& given) {
    std::string text;
    const auto list = [&](std::string_view name, const Texts& values) {
        for (const std::string& value : values) text.append(name).append(value) += ' ';
    };
    const auto flag = [&](std::string_view name, bool is_set) {
        if (is_set) text.append(name) += ' ';
    };
    list("e:", given.patterns);
    list("path:", given.paths);
    list("g:", given.globs);
    flag("F", given.fixed_strings);
    flag("i", given.ignore_case);
    flag("s", given.case_sensitive);
    flag("S", given.smart_case);
    flag("heading", given.heading);
    flag("no-heading", given.no_heading);
    if (given.max_count >= 0) text += "m:" + std::to_string(given.max_count) + ' ';
    text += std::to_string(given.lines_before()) + ',' + std::to_string(given.lines_after());
    return text + (given.color == "auto" ? "" : " color:" + given.color);
}

TEST(options, are_taken_before_between_and_after_positionals) {
    const struct {
        std::string arguments, expected;
    } CASES[] = {
        {"x", "e:x 0,0"},
        {"x p -i q", "e:x path:p path:q i 0,0"},
        {"x -- -i", "e:x path:-i 0,0"},
        {"-- -x -- p", "e:-x path:-- path:p 0,0"},
        {"-F -- -i", "e:-i F 0,0"},
        {"x - --", "e:x path:- 0,0"},
        {"-e x p", "e:x path:p 0,0"},
        {"-e -- -ex --regexp=-y= p", "e:-- e:x e:-y= path:p 0,0"},
        {"-Fie x -e-F", "e:x e:-F F i 0,0"},
        {"x -m1 -m 007 --max-count=2", "e:x m:2 0,0"},
        {"x -i -s", "e:x s 0,0"},
        {"x -s -i", "e:x i 0,0"},
        {"x -iS", "e:x S 0,0"},
        {"x -Ss", "e:x s 0,0"},
        {"x -Si", "e:x i 0,0"},
        {"x --heading --no-heading", "e:x no-heading 0,0"},
        {"x --no-heading --heading", "e:x heading 0,0"},
        {"x -A1 -C2", "e:x 2,1"},
        {"x -C2 -B0", "e:x 0,2"},
        {"x -C2 -C3 --color=always --color never", "e:x 3,3 color:never"},
        {"x -g [a,b] -g={c}", "e:x g:[a,b] g:={c} 0,0"},
        {"-e=x", "e:=x 0,0"},
    };
    for (const auto& [arguments, expected] : CASES) {
        EXPECT_EQ(shown(parsed(words(arguments))), expected) << arguments;
    }
    EXPECT_EQ(parsed({"--regexp="}).patterns, Texts{""});
    EXPECT_EQ(parsed({""}).patterns, Texts{""});
    EXPECT_EQ(parsed({"--glob=", "x"}).globs, Texts{""});
    ASSERT_EQ(::setenv("POSIXLY_CORRECT", "1", 1), 0);
    EXPECT_EQ(shown(parsed(words("x p -i q"))), "e:x path:p path:q i 0,0");
    ::unsetenv("POSIXLY_CORRECT");
}

TEST(options, are_refused_with_advice) {
    const std::string number = " is not a number from 0 to 9223372036854775807";
    const std::string tip = "; use -e or -- for a pattern that begins with -";
    const std::vector<std::pair<Texts, std::string>> CASES = {
        {{"--colour", "x"}, "unknown option --colour; did you mean --color?"},
        {{"--col=always"}, "unknown option --col; did you mean --column or --color?"},
        {{"--j", "x"}, "unknown option --j; did you mean --json?"},
        {{"-color"}, "unknown option -o in -color; did you mean --color?"},
        {{"--limti", "3"}, "unknown option --limti; did you mean --limit?"},
        {{"--foo"}, "unknown option --foo" + tip},
        {{"-i", "-k"}, "unknown option -k" + tip},
        {{"->field"}, "unknown option -> in ->field" + tip},
        {{"-i:"}, "unknown option -: in -i:" + tip},
        {{"-i\u00e9"}, "unknown option -i\u00e9" + tip},
        {{"-1"}, "unknown option -1" + tip},
        {{"---"}, "unknown option ---" + tip},
        {{"--=x"}, "unknown option --" + tip},
        {{"--count=3"}, "--count takes no value"},
        {{"--count="}, "--count takes no value"},
        {{"x", "-m"}, "-m needs a value: N"},
        {{"x", "-im"}, "-m needs a value: N"},
        {{"x", "--color"}, "--color needs a value: WHEN"},
        {{"x", "-m", "-1"}, "--max-count: \"-1\"" + number},
        {{"x", "-A", "x"}, "--after-context: \"x\"" + number},
        {{"x", "-B", "1.5"}, "--before-context: \"1.5\"" + number},
        {{"x", "-C", "0x1"}, "--context: \"0x1\"" + number},
        {{"x", "-C", " 1"}, "--context: \" 1\"" + number},
        {{"x", "--limit="}, "--limit: \"\"" + number},
        {{"x", "-m9223372036854775808"}, "--max-count: \"9223372036854775808\"" + number},
        {{"x", "--source", "tape"}, "--source: \"tape\" is not one of auto, index, disk"},
        {{"x", "--json", "-c"}, "--json cannot be combined with --count"},
        {{"x", "-l", "--json"}, "--json cannot be combined with --files-with-matches"},
        {{"-i"}, "search code: a pattern is missing"},
    };
    for (const auto& [arguments, message] : CASES) {
        try {
            parsed(arguments);
            ADD_FAILURE() << "accepted: " << testing::PrintToString(arguments);
        } catch (const UsageError& error) {
            EXPECT_EQ(error.what(), message);
        }
    }
}

TEST(options, leave_patterns_and_paths_as_they_are) {
    const Texts alphabet = {"[", "]",  ",", "{", "}",  "%", "=", "-", "\"", "'", "\\",
                            " ", "\t", "$", "*", "\n", "0", "9", "a", "+",  ":", "\xFF"};
    reference::for_texts(alphabet, 2, [](const std::string& text) {
        SCOPED_TRACE(testing::PrintToString(text));
        const Texts whole = {text};
        EXPECT_EQ(parsed({"-e", text}).patterns, whole);
        EXPECT_EQ(parsed({"--regexp=" + text}).patterns, whole);
        EXPECT_EQ(parsed({"--", text}).patterns, whole);
        EXPECT_EQ(parsed({"-g" + text + 'x', "--type", text, "a"}).types, whole);
        ASSERT_EQ(parsed({"a", "--", text}).paths, whole);
        if (text.starts_with('-') && text != "-") return;
        EXPECT_EQ(parsed({text}).patterns, whole);
        ASSERT_EQ(parsed({"a", text, "-i"}).paths, whole);
    });
}

TEST(help_text, names_every_option_on_lines_of_80_columns) {
    AllArguments arguments;
    const std::vector<Command> commands = all_commands(arguments);
    Texts texts = {program_help(program_command(arguments), commands)};
    for (const Command& command : commands) {
        EXPECT_THAT(texts[0], testing::HasSubstr(fmt::format("\n  {} ", command.name)));
        texts.push_back(help_text(command));
        for (const Option& option : command.options) {
            std::string term =
                option.short_name == 0 ? "    " : fmt::format("-{}, ", option.short_name);
            term += fmt::format("--{} {}", option.long_name, option.value_name);
            EXPECT_THAT(texts.back(), testing::HasSubstr("\n  " + term)) << command.name;
        }
        EXPECT_THAT(texts.back(),
                    testing::HasSubstr("\nOther:\n  -h, --help                  Print"));
    }
    for (const std::string& text : texts) {
        for (const std::string& line : words(text, '\n')) EXPECT_LE(line.size(), 80U) << line;
    }
}

TEST(file_types, are_languages_and_the_names_that_people_use) {
    EXPECT_EQ(members_of_types({"py", "c++", "c", "h"}),
              words("python cpp .h c .h .hh .hpp .hxx .h++ .H"));
    EXPECT_EQ(members_of_types(words("js ts md rs sh txt rb cs kt yml cc golang bash proto tf mk")),
              words("javascript typescript markdown rust sh text ruby csharp kotlin yaml cpp .h go "
                    "sh protobuf hcl make"));
    EXPECT_THAT(type_list(), testing::HasSubstr("\npython, py: *.py, *.pyi, *.pyw\n"));
    EXPECT_THAT(type_list(), testing::HasSubstr("\nh: *.h, *.hh, "));
    EXPECT_THAT(type_list(), testing::HasSubstr(", Makefile.in, makefile\n"));
}

TEST(nearest_names, are_few_edits_away) {
    const std::vector<std::string_view> known = {"python", "perl", "php", "c", "cpp", "css"};
    const struct {
        std::string given, expected;
    } CASES[] = {{"pyhton", "python"},     {"pythn", "python"}, {"Python", "python"},
                 {"p", "python perl php"}, {"cp", "cpp"},       {"ccp", "cpp"},
                 {"csp", "cpp css"},       {"x", ""},           {"", ""},
                 {"klingon", ""}};
    for (const auto& [given, expected] : CASES) {
        const auto names = nearest_names(given, known);
        EXPECT_EQ(Texts(names.begin(), names.end()), words(expected)) << given;
    }
    EXPECT_EQ(did_you_mean({"a", "b", "c"}, "--"), "; did you mean --a, --b or --c?");
}

}  // namespace
}  // namespace codetext::cli
