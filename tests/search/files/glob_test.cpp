#include <gmock/gmock.h>

#include "search/files/reference_glob.hpp"

namespace codetext::search {
namespace {

using reference::words;

std::vector<Glob> globs_of(const std::string& globs) {
    std::vector<Glob> all;
    for (const std::string& glob : words(globs)) {
        if (!glob.empty()) all.emplace_back(glob);
    }
    return all;
}

TEST(glob, selects_paths_as_gitignore_does_and_the_last_that_matches_decides) {
    // The globs, paths that they select, and paths that they do not.
    for (const std::string& one :
         words(": a.c :; *.c : a.c x/y/a.c : a.cc a.c/b; /*.c : a.c : x/a.c;"
               "src/** : src/x/a.c src/a : src2/a.c src; ???.c ?.h : abc.c \u00e9.h : ab.c;"
               "[!a-c].h : x/\u00e9.h : b.h; [^a-c].h : d.h : b.h; [a-c-e] : a b - e : d;"
               "[\u00e0-\u00ff] : \u00e9 : e \u0100; a[+-9]c : a0c a.c a+c : a/c axc;"
               "x/a[/]c : : x/a/c; []a].h [a-].h []-a].i : ].h -.h _.i : a.i/x;"
               "[.]c a.c : .c a.c : x.c abc; [\\]a].h [a\\-c].i : ].h a.h -.i : \\.h b.i;"
               "[{,}] : { , } : x; a,b : a,b : a; a} : a} : a;"
               "\\* \\{a,b\\} \\a : * {a,b} a : x ab; \\!a : !a : a; a+(b) : a+(b) : aab;"
               "* : a\nb :; src/ : src/x/a.c x/src/a : src; src : x/src : src/a.c;"
               "!src : src2/a.c : x/src/a.c src; !src/ : src x/src : x/src/a.c;"
               "!/src : x/src/a.c : src/a.c; !*.c : a.h : a.c; !*.c a.c : a.c : b.c b.h;"
               "a.c !*.c : : a.c;"
               "!vendor *.c : a.c x/b.c vendor2/a.c : vendor/a.c x/vendor/y/a.c vendor a.h;"
               "!vendor vendor *.c : vendor/a.c :; !a a/b/*.c : : a/b/x.c a/b;"
               "!src/ src *.c : src/a.c : src/a.h; src/ !x : src/a : src/x/a src/y/x;"
               "!x src/ : src/x/a src/x : x/src/a y",
               ';')) {
        const std::vector<std::string> parts = words(one, ':');
        const std::vector<Glob> globs = globs_of(parts[0]);
        for (const std::string& path : words(parts[1])) {
            EXPECT_TRUE(path.empty() || selects(globs, path)) << path << " by " << one;
        }
        for (const std::string& path : words(parts[2])) {
            EXPECT_FALSE(!path.empty() && selects(globs, path)) << path << " by " << one;
        }
    }
}

TEST(glob, says_what_is_wrong_with_it) {
    std::string many;
    for (int i = 0; i < 40; ++i) many += "{a,b}";
    const std::pair<std::string, std::string> CASES[] = {
        {"[a [ [a\\] [a-", "is missing a ]"},
        {"{a a{b,{c}", "is missing a }"},
        {"x/[z-a]", "has a range that ends before it begins"},
        {"a\\", "ends in a backslash that escapes nothing"},
        {"\xff", "is not valid UTF-8"},
        {" !/", "names nothing"},
        {many, "stands for too many alternatives"},
        {std::string(100000, '{'), "has too many braces inside of one another"}};
    for (const auto& [globs, reason] : CASES) {
        for (const std::string& glob : words(globs)) {
            const std::string message = "the glob " + glob + " " + reason;
            EXPECT_THAT([&] { Glob{glob}; },
                        testing::ThrowsMessage<std::invalid_argument>(message));
        }
    }
}

TEST(glob, agrees_with_trying_every_choice) {
    reference::RandomTexts random(reference::glob_units()), names(reference::path_units());
    SCOPED_TRACE(random.SEED);
    std::vector<std::string> paths;
    while (paths.size() < 300) {
        std::string path = names.text(6);
        if (reference::is_plain_path(path)) paths.push_back(std::move(path));
    }
    for (int round = 0; round < 4000; ++round) {
        const std::string text = random.text(5);
        if (!reference::is_plain_glob(text)) continue;
        const Glob glob(text);
        for (int i = 0; i < 30; ++i) {
            const std::string& path = paths[random.below(paths.size())];
            ASSERT_EQ(glob.matches(path), reference::path_matches(text, path))
                << text << " on " << path;
        }
    }
}

}  // namespace
}  // namespace codetext::search
