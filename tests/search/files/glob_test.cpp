#include "search/files/glob.hpp"

#include <gmock/gmock.h>

#include "utils/reference.hpp"

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

// The slow, obvious way: braces written out, then component by component, every choice tried.
std::vector<std::string> written_out(const std::string& glob) {
    const std::size_t end = glob.find('}');
    if (end == std::string::npos) return {glob};
    const std::size_t begin = glob.rfind('{', end);
    std::vector<std::string> all;
    std::string inside = glob.substr(begin + 1, end - begin - 1) + ",";
    for (std::size_t comma = inside.find(','); comma != std::string::npos;
         comma = inside.find(',')) {
        for (auto& one :
             written_out(glob.substr(0, begin) + inside.substr(0, comma) + glob.substr(end + 1))) {
            all.push_back(std::move(one));
        }
        inside.erase(0, comma + 1);
    }
    return all;
}

bool name_matches(std::string_view glob, std::string_view name) {
    if (glob.empty()) return name.empty();
    if (glob[0] == '*') {
        return name_matches(glob.substr(1), name) ||
               (!name.empty() && name_matches(glob, name.substr(1)));
    }
    if (name.empty()) return false;
    if (glob[0] == '[') {
        const std::size_t end = glob.find(']', 2);
        const bool negated = glob[1] == '!';
        const std::string_view members = glob.substr(negated ? 2 : 1, end - (negated ? 2 : 1));
        const bool is_range = members.size() == 3 && members[1] == '-';
        const bool holds = is_range ? members[0] <= name[0] && name[0] <= members[2]
                                    : members.find(name[0]) != members.npos;
        return holds != negated && name_matches(glob.substr(end + 1), name.substr(1));
    }
    if (glob[0] == '\\')
        glob.remove_prefix(1);
    else if (glob[0] == '?')
        return name_matches(glob.substr(1), name.substr(1));
    return glob[0] == name[0] && name_matches(glob.substr(1), name.substr(1));
}

using Names = std::vector<std::string>;

bool names_match(const Names& globs, std::size_t glob, const Names& names, std::size_t name) {
    if (glob == globs.size()) return name == names.size();
    if (globs[glob] == "**") {
        if (glob + 1 == globs.size()) return name < names.size();
        return names_match(globs, glob + 1, names, name) ||
               (name < names.size() && names_match(globs, glob, names, name + 1));
    }
    return name < names.size() && name_matches(globs[glob], names[name]) &&
           names_match(globs, glob + 1, names, name + 1);
}

bool path_matches(const std::string& glob, const std::string& path) {
    const bool at_any_depth = glob.find('/') == std::string::npos;
    for (const std::string& one : written_out(glob)) {
        Names globs = words(one, '/');
        if (one.empty()) globs = {""};
        if (at_any_depth) globs.insert(globs.begin(), "**");
        if (names_match(globs, 0, words(path, '/'), 0)) return true;
    }
    return false;
}

TEST(glob, agrees_with_trying_every_choice) {
    reference::RandomTexts random(words(
        "a b c ab * ** ? / / /**/ **/ [ab] [!a] [!-a] [-a] [a-] [a-b] [+-9] [!+-9] [.-0] {a,b} "
        "{a/b,*} {**,b/*} {a,**} {/a,} {,a{b,c}} \\a \\* - ! . 0"));
    SCOPED_TRACE(random.SEED);
    std::vector<std::string> paths;
    reference::RandomTexts names(words("a b c ab / / - . 0"));
    while (paths.size() < 300) {
        std::string path = names.text(6);
        const bool is_path = !path.empty() && path.front() != '/' && path.back() != '/' &&
                             path.find("//") == std::string::npos && path.size() < 12;
        if (is_path) paths.push_back(std::move(path));
    }
    for (int round = 0; round < 4000; ++round) {
        const std::string text = random.text(5);
        if (text.empty() || text.size() > 24 || text.front() == '/' || text.back() == '/' ||
            text.front() == '!') {
            continue;
        }
        const Glob glob(text);
        for (int i = 0; i < 30; ++i) {
            const std::string& path = paths[random.below(paths.size())];
            ASSERT_EQ(glob.matches(path), path_matches(text, path)) << text << " on " << path;
        }
    }
}

}  // namespace
}  // namespace codetext::search
