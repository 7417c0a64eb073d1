// The man pages and completions: that all options are in them, what roff and the shells must not
// read as their own, and what bash offers.

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "cli/commands.hpp"
#include "cli/program.hpp"
#include "pages/completions.hpp"
#include "pages/man_page.hpp"

namespace codetext::pages {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::string page(const std::string& name) {
    std::ostringstream text;
    text << std::ifstream(CODETEXT_PAGES "/" + name).rdbuf();
    return text.str();
}

TEST(pages, have_every_option) {
    cli::AllArguments arguments;
    const std::string bash = page("bash/codetext"), zsh = page("zsh/_codetext"),
                      fish = page("fish/codetext.fish"), program = page("man1/codetext.1");
    for (const cli::Command& command : cli::all_commands(arguments)) {
        EXPECT_THAT(program, HasSubstr(fmt::format("\\fBcodetext {}\\fR", command.name)));
        const std::string man = page(fmt::format("man1/{}.1", page_name(command)));
        for (const cli::Option& option : command.options) {
            const std::string name(option.long_name);
            if (option.group.empty()) {  // the help text leaves it out too
                EXPECT_THAT(fish, Not(HasSubstr(" -l " + name + " "))) << command.name;
                continue;
            }
            std::string roff_name;
            for (const char byte : name) roff_name += byte == '-' ? "\\-" : std::string(1, byte);
            EXPECT_THAT(man, HasSubstr("\\fB\\-\\-" + roff_name + "\\fR")) << command.name;
            EXPECT_THAT(bash, HasSubstr("--" + name)) << command.name;
            EXPECT_THAT(zsh, HasSubstr("--" + name)) << command.name;
            EXPECT_THAT(fish, HasSubstr(fmt::format("'__codetext_begins {}'", command.name)));
            EXPECT_THAT(fish, HasSubstr(" -l " + name + " ")) << command.name;
        }
    }
}

// A command whose texts have all that means something to roff or to a shell.
TEST(pages, escape_what_is_not_theirs) {
    bool on = false;
    std::string word;
    std::vector<std::string> list;
    const cli::Command command = {
        .name = "do it",
        .summary = "It's a [test]: \\n",
        .positionals = {{"TEXT", ".x ^~ `-a` 'b'"}},
        .usage = "TEXT",
        .rest = &list,
        .options = {{'e', "ex", "TEXT", "A", "It's [\\1]; more", cli::List{&list}},
                    {0, "which", "WORD", "B", "One", cli::Choice{&word, {"c#", "d+"}}},
                    {'f', "from", "FILE", "B", "A file", cli::List{&list}},
                    {'h', "help", "", "B", "Help", cli::Flag{&on}}},
        .notes = "First.\n.second 'line'\n\nExit status: 7.\n\nExamples:\n  do '\\w' -- `x`",
        .dash_tip = ""};
    const cli::Command program = {.name = "",
                                  .summary = "",
                                  .positionals = {},
                                  .usage = "",
                                  .rest = &list,
                                  .options = {},
                                  .notes = "",
                                  .dash_tip = ""};
    const auto expect = [](const std::string& text, const std::vector<std::string>& lines) {
        for (const std::string& line : lines) EXPECT_THAT(text, HasSubstr(line + '\n'));
    };
    expect(man_page(command, "1.2"),
           {".TH CODETEXT-DO-IT 1 \"\" \"codetext 1.2\" \"User Commands\"",
            "codetext\\-do\\-it \\- It\\(aqs a [test]: \\en",
            "\\&.x \\(ha\\(ti \\fB\\-a\\fR \\(aqb\\(aq",
            ".SS A\n.TP\n\\fB\\-e\\fR, \\fB\\-\\-ex\\fR \\fITEXT\\fR\nIt\\(aqs [\\e1]; more\n.SS B",
            ".SH NOTES\nFirst.\n\\&.second \\(aqline\\(aq\n.SH EXIT STATUS\n7.\n.SH EXAMPLES\n"
            ".nf\n  do \\(aq\\ew\\(aq \\-\\- \\(gax\\(ga\n.fi"});
    expect(zsh_completion(program, {command}),
           {"        '(1)*'{-e+,--ex=}'[It'\\''s \\[\\\\1\\]]:TEXT:' \\",
            "        '(--which)'--which='[One]:WORD:(c\\# d\\+)' \\",
            "        '*'{-f+,--from=}'[A file]:FILE:_files' \\",
            "        '(- *)'{-h,--help}'[Help]' \\", "        'do:It'\\''s a \\[test\\]'"});
    expect(fish_completion(program, {command}),
           {"complete -c codetext -n '__codetext_begins do it' -s e -l ex -x -d 'It\\'s [\\\\1]'",
            "complete -c codetext -n '__codetext_begins do it' -l which -x -a 'c# d+' -d 'One'",
            "complete -c codetext -n '__codetext_begins do it' -s f -l from -r -F -d 'A file'"});
    expect(bash_completion(program, {command}),
           {"        'do it -f' | 'do it --from') _codetext_offer_files; return ;;",
            "        'do it -e' | 'do it --ex') return ;;"});
}

// What bash offers for the last of the words; FILES for the names of files.
TEST(pages, complete_in_bash) {
    const std::string SCRIPT =
        "source \"$1\"; shift; compopt() { COMPREPLY+=(FILES); }; COMP_WORDS=(\"$@\"); "
        "COMP_CWORD=$(($# - 1)); _codetext; echo \"${COMPREPLY[*]}\"";
    const std::vector<std::pair<test::Arguments, std::string>> CASES = {
        {{"sea"}, "search"},
        {{"--v"}, "--version"},
        {{"search", ""}, "code"},
        {{"search", "code", "--source"}, "--source"},
        {{"search", "code", "--source", ""}, "auto index disk"},
        {{"search", "code", "--source", "="}, "auto index disk"},
        {{"search", "code", "--source", "=", "d"}, "disk"},
        {{"search", "code", "x", "-t", "py"}, "python py"},
        {{"search", "code", "--type-not", "c#"}, "c#"},
        {{"search", "code", "-e", "-"}, ""},
        {{"search", "code", "x", "dir"}, "FILES"},
        {{"search", "code", "--", "--source"}, "FILES"},
        {{"index", "--layout", ""}, "compressed code_chunks"},
        {{"index", "-j", ""}, ""},
        {{"clean", "--an"}, "--any-owner"},
        {{"search", "cod", "--sou"}, ""},
    };
    for (const auto& [given, offered] : CASES) {
        test::Arguments command = {"bash",    "-c", SCRIPT, "bash", CODETEXT_PAGES "/bash/codetext",
                                   "codetext"};
        command.insert(command.end(), given.begin(), given.end());
        const test::Outcome outcome = test::run_command(command, "/");
        EXPECT_EQ(outcome.output, offered + "\n") << fmt::format("{}", fmt::join(given, " "));
        EXPECT_EQ(outcome.errors, "");
    }
}

}  // namespace
}  // namespace codetext::pages
