// The program takes any bytes as a pattern or a path, wherever they stand on the command line.

#include <gmock/gmock.h>

#include "cli/escaped.hpp"
#include "cli/program.hpp"

namespace codetext::test {
namespace {

/// Different texts of bytes that mean something to a shell or to us, each fit for a file's name.
Arguments nasty_texts(std::size_t count) {
    Arguments texts = {"[0-9]", "[x]", "[foo,bar]", "[]", "-a", "--", "-", "{a,b}"};
    reference::RandomTexts random(words("[ ] , { } % = - \" ' ( ) + $ * 0 9 a : \\"));
    while (texts.size() < count) {
        const std::string text = random.text(5);
        const bool is_new = std::find(texts.begin(), texts.end(), text) == texts.end();
        if (!text.empty() && text.size() < 100 && is_new) texts.push_back(text);
    }
    return texts;
}

bool is_option(const std::string& text) { return text.starts_with('-') && text != "-"; }

std::string shown(const Outcome& outcome) {
    return std::to_string(outcome.status) + '\n' + outcome.output + outcome.errors;
}

TEST(arguments, give_one_answer_for_a_pattern_wherever_it_stands) {
    const TempFolder repository;
    std::string lines = "x\nfoo\n7\n";
    const Arguments patterns = nasty_texts(60) + words("search code index status upgrade verify");
    for (const std::string& pattern : patterns) lines += pattern + '\n';
    repository.write("lines.txt", lines);
    ASSERT_EQ(run({"index"}, repository.path()).status, 0);
    SCOPED_TRACE(reference::RandomTexts::SEED);
    const auto answer = [&](const Arguments& all) { return shown(search(all, repository.path())); };
    for (const std::string& pattern : patterns) {
        for (const std::string how : {"-F", "-n"}) {
            const std::string given = answer({how, "-e", pattern});
            EXPECT_EQ(answer({how, "--", pattern}), given) << pattern;
            if (how == "-F") {
                EXPECT_THAT(given, testing::HasSubstr(':' + pattern + '\n'));
            }
            if (is_option(pattern)) continue;
            EXPECT_EQ(answer({pattern, how}), given) << pattern;
        }
    }
}

TEST(arguments, name_a_path_or_a_repository_of_any_name) {
    const TempFolder folder, other;
    const Arguments names = nasty_texts(40);
    for (const std::string& name : names) folder.write("files/" + name, "text\n");
    for (const std::string& name : names) folder.write("directories/" + name + "/x", "text\n");
    ASSERT_EQ(run({"index"}, folder.path()).status, 0);
    SCOPED_TRACE(reference::RandomTexts::SEED);
    const auto answer = [&](const char* below, const Arguments& arguments) {
        return shown(search(arguments, folder.path() / below));
    };
    for (const std::string& name : names) {
        const std::string file = "0\n" + cli::quoted_path(name) + ":1:text\n";
        const std::string below = "0\n" + cli::quoted_path(name + "/x") + ":1:text\n";
        EXPECT_EQ(answer("files", {"text", "--", name}), file);
        EXPECT_EQ(answer("directories", {"--", "text", name}), below);
        if (is_option(name)) continue;
        EXPECT_EQ(answer("files", {"text", name}), file);
        EXPECT_EQ(answer("directories", {"-e", "text", name}), below);
    }
    for (const std::string& name : nasty_texts(14)) {
        other.write(name + "/a", "text\n");
        for (const char* command : {"index", "status", "upgrade", "verify"}) {
            const Arguments arguments = is_option(name) ? Arguments{"--", name} : Arguments{name};
            EXPECT_EQ(run(Arguments{command} + arguments, other.path()).status, 0) << name;
        }
        EXPECT_TRUE(std::filesystem::exists(other.path() / name / ".codetext")) << name;
    }
}

}  // namespace
}  // namespace codetext::test
