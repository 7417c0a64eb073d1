#include "indexer/plan/language.hpp"

#include <gtest/gtest.h>

#include "utils/reference.hpp"

namespace codetext::indexer {
namespace {

TEST(language, is_told_from_the_name) {
    for (const std::string& one : reference::words(
             "c:a/b/main.c include/x.h;cpp:x.hpp x.C;markdown:README.MD;json5:tsconfig.jsonc;"
             "json:data.json map.geojson app.webmanifest composer.lock;kconfig:Kconfig.debug;"
             "make:drivers/Makefile Makefile.am;cmake:CMakeLists.txt;text:notes.txt;"
             ":a.tar.gz json .json dir.c/file trailing.",
             ';')) {
        const std::vector<std::string> parts = reference::words(one, ':');
        for (const std::string& path : reference::words(parts[1])) {
            EXPECT_EQ(language_of(path), parts[0]) << path;
        }
        EXPECT_EQ(known_language(parts[0]), parts[0] != "") << parts[0];
    }
    EXPECT_FALSE(known_language("C") || known_language("h") || known_language("Makefile"));
}

}  // namespace
}  // namespace codetext::indexer
