#include "indexer/language.hpp"

#include <gtest/gtest.h>

#include <string>

namespace codetext::indexer {
namespace {

TEST(language, is_told_from_the_name) {
    const struct {
        std::string path, language;
    } CASES[] = {{"a/b/main.c", "c"},
                 {"include/x.h", "c"},
                 {"x.hpp", "cpp"},
                 {"x.C", "cpp"},
                 {"boot/head.S", "asm"},
                 {"README.MD", "markdown"},
                 {"data.json", "json"},
                 {"map.geojson", "json"},
                 {"app.webmanifest", "json"},
                 {"composer.lock", "json"},
                 {"rows.jsonl", "jsonl"},
                 {"tsconfig.jsonc", "json5"},
                 {"book.ipynb", "jupyter"},
                 {"board.dtsi", "dts"},
                 {"drivers/Makefile", "make"},
                 {"Makefile.am", "make"},
                 {"Kconfig.debug", "kconfig"},
                 {"CMakeLists.txt", "cmake"},
                 {"notes.txt", "text"},
                 {"a.tar.gz", ""},
                 {"json", ""},
                 {".json", ""},
                 {"dir.c/file", ""},
                 {"trailing.", ""},
                 {"", ""}};
    for (const auto& [path, language] : CASES) EXPECT_EQ(language_of(path), language) << path;
}

TEST(language, known_are_those_that_a_name_can_give) {
    for (const std::string_view name : {"c", "json", "docker", "text"}) {
        EXPECT_TRUE(known_language(name)) << name;
    }
    for (const std::string_view name : {"", "C", "h", "Makefile"}) {
        EXPECT_FALSE(known_language(name)) << name;
    }
}

}  // namespace
}  // namespace codetext::indexer
