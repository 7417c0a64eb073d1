// A glob is two regular expressions: one for the paths that it matches, one for what lies below
// them. The last glob that matches decides, as in a .gitignore, and nothing passes from a directory
// that is excluded: so the directories above a file are judged before the file, from the top.

#include "search/files/glob.hpp"

#include <re2/re2.h>

#include <algorithm>
#include <stdexcept>

#include "search/files/glob_regex.hpp"

namespace codetext::search {

namespace {

enum class PathKind { DIRECTORY, FILE };

[[noreturn]] void fail(std::string_view glob, const std::string& what) {
    throw std::invalid_argument("the glob " + std::string(glob) + " " + what);
}

// Whether `path` is the glob's own, or lies in a directory that the glob takes in whole.
bool concerns(const Glob& glob, std::string_view path, PathKind kind) {
    if (!glob.is_for_directories()) return glob.matches(path);
    if (kind == PathKind::DIRECTORY && glob.matches(path)) return true;
    return !glob.excludes() && glob.matches_above(path);
}

const Glob* deciding(std::span<const Glob> globs, std::string_view path, PathKind kind) {
    const auto last = std::find_if(globs.rbegin(), globs.rend(),
                                   [&](const Glob& glob) { return concerns(glob, path, kind); });
    return last == globs.rend() ? nullptr : &*last;
}

bool lies_in_excluded(std::span<const Glob> globs, std::string_view path, std::size_t top_bytes) {
    // Most files lie in no directory that a glob excludes. One test for each glob finds that out.
    const bool may_lie = std::any_of(globs.begin(), globs.end(), [&](const Glob& glob) {
        return glob.excludes() && glob.matches_above(path);
    });
    if (!may_lie) return false;
    const std::size_t below_top = top_bytes == 0 ? 0 : top_bytes + 1;
    for (std::size_t slash = path.find('/', below_top); slash != path.npos;
         slash = path.find('/', slash + 1)) {
        const Glob* glob = deciding(globs, path.substr(0, slash), PathKind::DIRECTORY);
        if (glob && glob->excludes()) return true;
    }
    return false;
}

}  // namespace

class Glob::Compiled {
  public:
    Compiled(const std::string& regex, Case letter_case)
        : path(regex, _options(letter_case)), below(regex + "/.+", _options(letter_case)) {}
    RE2 path, below;

  private:
    static RE2::Options _options(Case letter_case) {
        RE2::Options options;
        options.set_case_sensitive(letter_case == Case::SENSITIVE);
        options.set_log_errors(false);
        options.set_dot_nl(true);
        return options;
    }
};

Glob::Glob(std::string_view glob, Case letter_case)
    : _excludes(glob.starts_with('!')), _is_for_directories(glob.ends_with('/')) {
    std::string_view name = glob.substr(_excludes ? 1 : 0);
    if (_is_for_directories) name.remove_suffix(1);
    const bool from_root = name.find('/') != name.npos;
    if (name.starts_with('/')) name.remove_prefix(1);
    if (name.empty()) fail(glob, "names nothing");
    try {
        const std::string regex = glob_regex(name);
        _compiled =
            std::make_unique<const Compiled>((from_root ? "" : "(?:.*/)?") + regex, letter_case);
    } catch (const std::invalid_argument& failure) {
        fail(glob, failure.what());
    }
    for (const RE2* re : {&_compiled->path, &_compiled->below}) {
        if (!re->ok()) fail(glob, "does not compile: " + re->error());
    }
}

Glob::~Glob() = default;
Glob::Glob(Glob&&) noexcept = default;
Glob& Glob::operator=(Glob&&) noexcept = default;

bool Glob::matches(std::string_view path) const { return RE2::FullMatch(path, _compiled->path); }

bool Glob::matches_above(std::string_view path) const {
    return RE2::FullMatch(path, _compiled->below);
}

bool selects(std::span<const Glob> globs, std::string_view path, std::size_t top_bytes) {
    if (lies_in_excluded(globs, path, top_bytes)) return false;
    // Where none matches: a file passes unless some glob asks for others.
    if (const Glob* glob = deciding(globs, path, PathKind::FILE)) return !glob->excludes();
    return std::all_of(globs.begin(), globs.end(),
                       [](const Glob& glob) { return glob.excludes(); });
}

}  // namespace codetext::search
