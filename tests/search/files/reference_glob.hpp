#pragma once

// Globs the slow, obvious way: braces written out, then component by component, every choice tried.
// Reads globs and paths made of the units below.

#include "search/files/glob.hpp"
#include "utils/reference.hpp"

namespace codetext::reference {

inline std::vector<std::string> glob_units() {
    return words(
        "a b c ab * ** ? / / /**/ **/ [ab] [!a] [!-a] [-a] [a-] [a-b] [+-9] [!+-9] [.-0] {a,b} "
        "{a/b,*} {**,b/*} {a,**} {/a,} {,a{b,c}} \\a \\* - ! . 0");
}
inline std::vector<std::string> path_units() { return words("a b c ab / / - . 0"); }

inline bool is_plain_glob(const std::string& text) {
    return !text.empty() && text.size() <= 24 && text.front() != '/' && text.back() != '/' &&
           text.front() != '!';
}
inline bool is_plain_path(const std::string& path) {
    return !path.empty() && path.front() != '/' && path.back() != '/' &&
           path.find("//") == std::string::npos && path.size() < 12;
}

inline std::vector<std::string> written_out(const std::string& glob) {
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

inline bool name_matches(std::string_view glob, std::string_view name) {
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

inline bool names_match(const Names& globs, std::size_t glob, const Names& names,
                        std::size_t name) {
    if (glob == globs.size()) return name == names.size();
    if (globs[glob] == "**") {
        if (glob + 1 == globs.size()) return name < names.size();
        return names_match(globs, glob + 1, names, name) ||
               (name < names.size() && names_match(globs, glob, names, name + 1));
    }
    return name < names.size() && name_matches(globs[glob], names[name]) &&
           names_match(globs, glob + 1, names, name + 1);
}

inline bool path_matches(const std::string& glob, const std::string& path) {
    const bool at_any_depth = glob.find('/') == std::string::npos;
    for (const std::string& one : written_out(glob)) {
        Names globs = words(one, '/');
        if (one.empty()) globs = {""};
        if (at_any_depth) globs.insert(globs.begin(), "**");
        if (names_match(globs, 0, words(path, '/'), 0)) return true;
    }
    return false;
}

}  // namespace codetext::reference
