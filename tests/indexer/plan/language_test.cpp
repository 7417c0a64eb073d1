#include "indexer/plan/language.hpp"

#include <gtest/gtest.h>

#include "utils/reference.hpp"

namespace codetext::indexer {
namespace {

TEST(language, is_told_from_the_name) {
    const std::pair<std::string, std::string> CASES[] = {
        {"c", "a/b/main.c include/x.h"},
        {"cpp", "x.hpp x.C"},
        {"markdown", "README.MD"},
        {"json", "data.json map.geojson app.webmanifest composer.lock"},
        {"json5", "tsconfig.jsonc"},
        {"make", "drivers/Makefile Makefile.am"},
        {"kconfig", "Kconfig.debug"},
        {"cmake", "CMakeLists.txt"},
        {"text", "notes.txt"},
        {"", "a.tar.gz json .json dir.c/file trailing."}};
    for (const auto& [language, paths] : CASES) {
        for (const std::string& path : reference::words(paths)) {
            EXPECT_EQ(language_of(path), language) << path;
        }
        EXPECT_EQ(known_language(language), language != "") << language;
    }
    EXPECT_FALSE(known_language("C") || known_language("h") || known_language("Makefile"));
}

}  // namespace
}  // namespace codetext::indexer
