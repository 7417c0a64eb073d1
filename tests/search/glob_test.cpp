#include "search/glob.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "search/file_selection.hpp"

namespace codetext::search {
namespace {

TEST(glob, matches_paths_as_gitignore_does) {
    struct Case {
        std::string glob, path;
        bool matches;
    };
    const std::vector<Case> cases = {
        {"*.c", "a.c", true},
        {"*.c", "x/y/a.c", true},
        {"*.c", "a.cc", false},
        {"*.c", "a.c/b", false},
        {"/*.c", "a.c", true},
        {"/*.c", "x/a.c", false},
        {"src/*.c", "src/a.c", true},
        {"src/*.c", "src/x/a.c", false},
        {"src/*.c", "x/src/a.c", false},
        {"src/**", "src/x/a.c", true},
        {"src/**", "src2/a.c", false},
        {"**/t/*.c", "t/a.c", true},
        {"**/t/*.c", "x/y/t/a.c", true},
        {"a/**/b", "a/b", true},
        {"a/**/b", "a/x/y/b", true},
        {"a**b", "a/b", false},
        {"a**b", "axyb", true},
        {"???.c", "abc.c", true},
        {"?.c", "\u00e9.c", true},
        {"a?b", "a/b", false},
        {"[a-c].h", "b.h", true},
        {"[!a-c].h", "b.h", false},
        {"[!a].h", "x/\u00e9.h", true},
        {"[]a].h", "].h", true},
        {"[a-].h", "-.h", true},
        {"[.]c", "x.c", false},
        {"*.{c,h}", "x/a.h", true},
        {"{src,lib/*}/a", "lib/x/a", true},
        {"*.{c,h{,h}}", "a.hh", true},
        {"a,b", "a,b", true},
        {"\\*", "*", true},
        {"\\*", "a", false},
        {"a.c", "abc", false},
        {"a+(b)", "a+(b)", true},
        {"*", "a\nb", true},
        {"src/", "src/x/a.c", true},
        {"src/", "src", false},
        {"src", "src/a.c", false},
        {"!src", "x/src/a.c", true},
        {"!/src", "x/src/a.c", false},
        {"!*.c", "a.c", true},
    };
    for (const Case& one : cases) {
        EXPECT_EQ(Glob(one.glob).matches(one.path), one.matches) << one.glob << " on " << one.path;
    }
    for (const char* glob : {"[a", "[", "{a", "a{b,{c}", "[z-a]", "\xff"}) {
        EXPECT_THROW(Glob{glob}, std::invalid_argument) << glob;
    }
}

TEST(glob, the_last_one_that_matches_decides) {
    struct Case {
        std::vector<std::string> globs;
        std::string path;
        bool passes;
    };
    const std::vector<Case> cases = {
        {{}, "a.c", true},
        {{"*.h"}, "a.c", false},
        {{"!*.c"}, "a.c", false},
        {{"!*.c"}, "a.h", true},
        {{"!*.c", "a.c"}, "a.c", true},
        {{"!*.c", "a.c"}, "b.h", false},
        {{"a.c", "!*.c"}, "a.c", false},
    };
    for (const Case& one : cases) {
        FileFilter filter;
        for (const std::string& glob : one.globs) filter.globs.emplace_back(glob);
        EXPECT_EQ(passes(filter, one.path, "c"), one.passes)
            << testing::PrintToString(one.globs) << " on " << one.path;
    }
}

}  // namespace
}  // namespace codetext::search
