// The program takes any bytes as a pattern or a path, wherever they stand on the command line.

#include <gmock/gmock.h>

#include "cli/program.hpp"
#include "utils/reference.hpp"

namespace codetext::test {
namespace {

using test_support::TempFolder;

const std::vector<std::string> ALPHABET = {"[", "]", ",", "{", "}", "%", "=", "-", "\"", "'",
                                           "(", ")", "+", "$", "*", "0", "9", "a", ":",  "\\"};

/// Different texts of the alphabet, in a fixed order, each fit for the name of a file.
std::vector<std::string> nasty_texts(std::size_t count) {
    std::vector<std::string> texts = {"[0-9]", "[x]", "[foo,bar]", "[]", "-a", "--", "-", "{a,b}"};
    reference::RandomTexts random(ALPHABET);
    while (texts.size() < count) {
        const std::string text = random.text(5);
        const bool is_new = std::find(texts.begin(), texts.end(), text) == texts.end();
        if (!text.empty() && text.size() < 100 && is_new) texts.push_back(text);
    }
    return texts;
}

Outcome search(const TempFolder& repository, const Arguments& arguments) {
    Arguments all = {"search", "code"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return run(all, repository.path());
}

std::string shown(const Outcome& outcome) {
    return std::to_string(outcome.status) + '\n' + outcome.output + outcome.errors;
}

TEST(arguments, give_one_answer_for_a_pattern_wherever_it_stands) {
    const TempFolder repository;
    std::string lines = "x\nfoo\n7\n";
    const std::vector<std::string> patterns = nasty_texts(60);
    for (const std::string& pattern : patterns) lines += pattern + '\n';
    repository.write("lines.txt", lines);
    ASSERT_EQ(run({"index"}, repository.path()).status, 0);
    SCOPED_TRACE(reference::RandomTexts::SEED);
    for (const std::string& pattern : patterns) {
        for (const char* how : {"-F", "-n"}) {
            const std::string given = shown(search(repository, {how, "-e", pattern}));
            EXPECT_EQ(shown(search(repository, {how, "--", pattern})), given) << pattern;
            if (std::string(how) == "-F") {
                EXPECT_THAT(given, testing::HasSubstr(':' + pattern + '\n'));
            }
            if (pattern.starts_with('-') && pattern != "-") continue;
            EXPECT_EQ(shown(search(repository, {pattern, how})), given) << pattern;
        }
    }
}

TEST(arguments, find_a_path_of_any_name_wherever_it_stands) {
    const TempFolder repository;
    const std::vector<std::string> names = nasty_texts(40);
    for (const std::string& name : names) repository.write("files/" + name, "text\n");
    for (const std::string& name : names) repository.write("directories/" + name + "/x", "text\n");
    ASSERT_EQ(run({"index"}, repository.path()).status, 0);
    SCOPED_TRACE(reference::RandomTexts::SEED);
    const auto search_in = [&](const char* below, const Arguments& arguments) {
        Arguments all = {"search", "code"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return shown(run(all, repository.path() / below));
    };
    for (const std::string& name : names) {
        const std::string file = "0\n" + name + ":1:text\n", below = "0\n" + name + "/x:1:text\n";
        EXPECT_EQ(search_in("files", {"text", "--", name}), file);
        EXPECT_EQ(search_in("directories", {"--", "text", name}), below);
        if (name.starts_with('-') && name != "-") continue;
        EXPECT_EQ(search_in("files", {"text", name}), file);
        EXPECT_EQ(search_in("directories", {"-e", "text", name}), below);
    }
}

TEST(arguments, name_a_repository_of_any_name) {
    const TempFolder folder;
    for (const std::string& name : nasty_texts(14)) {
        folder.write(name + "/a", "text\n");
        for (const char* command : {"index", "status", "upgrade", "verify"}) {
            EXPECT_EQ(run({command, "--", name}, folder.path()).status, 0) << command << name;
            if (name.starts_with('-') && name != "-") continue;
            EXPECT_EQ(run({command, name}, folder.path()).status, 0) << command << name;
        }
        EXPECT_TRUE(std::filesystem::exists(folder.path() / name / ".codetext")) << name;
    }
}

}  // namespace
}  // namespace codetext::test
