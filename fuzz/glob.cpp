// Globs: any bytes are a glob or are refused; globs of units that the slow reference reads match
// what it matches.

#include "fuzz.hpp"
#include "search/files/reference_glob.hpp"

namespace codetext::fuzz {

/// A unit for each byte.
std::string from_units(const std::string& bytes, const std::vector<std::string>& units) {
    std::string text;
    for (const char byte : bytes) text += units[static_cast<unsigned char>(byte) % units.size()];
    return text;
}

void target(Input input) {
    const std::string glob = input.line(), path = input.rest();
    try {
        std::vector<search::Glob> globs;
        globs.emplace_back(glob);
        if (search::selects(globs, path)) {
            require(globs[0].excludes() || globs[0].matches(path) || globs[0].matches_above(path),
                    "what a glob selects, it matches");
        }
    } catch (const std::invalid_argument&) {
    }
    const std::string text = from_units(glob, reference::glob_units());
    const std::string name = from_units(path, reference::path_units());
    if (!reference::is_plain_glob(text) || !reference::is_plain_path(name)) return;
    require(search::Glob(text).matches(name) == reference::path_matches(text, name),
            (text + " on " + name).c_str());
}

}  // namespace codetext::fuzz
