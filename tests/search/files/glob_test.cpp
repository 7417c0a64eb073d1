#include "search/files/glob.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

#include "search/files/file_selection.hpp"
#include "utils/reference.hpp"

namespace codetext::search {
namespace {

TEST(glob, selects_paths_as_gitignore_does_and_the_last_that_matches_decides) {
    const struct {
        std::string globs, passing, others;
    } CASES[] = {
        {"", "a.c", ""},
        {"*.c", "a.c x/y/a.c", "a.cc a.c/b"},
        {"/*.c", "a.c", "x/a.c"},
        {"src/*.c", "src/a.c", "src/x/a.c x/src/a.c"},
        {"src/**", "src/x/a.c", "src2/a.c"},
        {"**/t/*.c", "t/a.c x/y/t/a.c", ""},
        {"a/**/b", "a/b a/x/y/b", ""},
        {"a**b", "axyb", "a/b"},
        {"???.c ?.h", "abc.c \u00e9.h", "ab.c"},
        {"a?b", "axb", "a/b"},
        {"[a-c].h", "b.h", "d.h"},
        {"[!a-c].h", "x/\u00e9.h", "b.h"},
        {"a[!b]c", "axc", "a/c abc"},
        {"[]a].h [a-].h", "].h -.h", ""},
        {"[.]c a.c", ".c a.c", "x.c abc"},
        {"*.{c,h{,h}}", "x/a.h a.hh", "a.hhh"},
        {"{src,lib/*}/a", "lib/x/a", "lib/a"},
        {"a,b", "a,b", "a"},
        {"\\*", "*", "a"},
        {"a+(b)", "a+(b)", "aab"},
        {"*", "a\nb", ""},
        {"src/", "src/x/a.c", "src"},
        {"src", "x/src", "src/a.c"},
        {"!src", "src2/a.c", "x/src/a.c"},
        {"!/src", "x/src/a.c", "src/a.c"},
        {"!*.c", "a.h", "a.c"},
        {"!*.c a.c", "a.c", "b.c b.h"},
        {"a.c !*.c", "", "a.c"},
    };
    for (const auto& [globs, passing, others] : CASES) {
        FileFilter filter;
        for (const std::string& glob : reference::words(globs)) filter.globs.emplace_back(glob);
        for (const std::string& path : reference::words(passing)) {
            EXPECT_TRUE(passes(filter, path, "c")) << globs << " on " << path;
        }
        for (const std::string& path : reference::words(others)) {
            EXPECT_FALSE(passes(filter, path, "c")) << globs << " on " << path;
        }
    }
    for (const char* glob : {"[a", "[", "{a", "a{b,{c}", "[z-a]", "\xff"}) {
        EXPECT_THROW(Glob{glob}, std::invalid_argument) << glob;
    }
}

}  // namespace
}  // namespace codetext::search
