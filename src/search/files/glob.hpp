#pragma once

// File name patterns, as .gitignore and ripgrep's -g have them.
//
//   std::vector<search::Glob> globs;
//   globs.emplace_back("*.js");
//   globs.emplace_back("!vendor");
//   if (search::selects(globs, "web/app.js")) search_in("web/app.js");

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace codetext::search {

/// One glob. `*` stands for any characters but "/", `?` for one such character, `[a-z]` and
/// `[!a-z]` for one of a set or outside of it (never "/"), `{a,b}` for alternatives, as if each
/// were written out, and a backslash takes the next character as it is. `**` stands for any
/// directories before a "/" and for any path after one; anywhere else it is a `*`.
///
/// A glob without "/" (except one at its end) is compared with the name alone, in any directory;
/// any other with the path from the repository's root. A "/" at the end: directories only. A "!" at
/// the beginning excludes.
class Glob {
  public:
    enum class Case { SENSITIVE, IGNORED };

    /// Throws std::invalid_argument, with the glob and the reason, for a set or braces that are not
    /// closed, a range out of order, a backslash at the end, what is not UTF-8, or no name at all.
    explicit Glob(std::string_view glob, Case letter_case = Case::SENSITIVE);
    ~Glob();
    Glob(Glob&&) noexcept;
    Glob& operator=(Glob&&) noexcept;

    bool excludes() const { return _excludes; }
    bool is_for_directories() const { return _is_for_directories; }
    /// Whether it matches the path (relative, with "/") of a file or directory.
    bool matches(std::string_view path) const;
    /// Whether it matches the path of a directory that `path` lies in.
    bool matches_above(std::string_view path) const;

  private:
    class Compiled;
    bool _excludes = false;
    bool _is_for_directories = false;
    std::unique_ptr<const Compiled> _compiled;
};

/// Whether the globs let the file at `path` pass. The last glob that matches the file decides, one
/// for directories matching all files below; when none does, the file passes if all globs exclude.
/// Nothing passes from a directory that is excluded by the last glob that matches it. The search
/// begins in the directory whose path has `top_bytes` bytes (0: the root); this one and those above
/// exclude nothing.
bool selects(std::span<const Glob> globs, std::string_view path, std::size_t top_bytes = 0);

}  // namespace codetext::search
