#pragma once

// File name patterns, as .gitignore and ripgrep's -g have them.
//
//   search::Glob glob("!*.{min,gen}.js");
//   if (glob.matches("web/app.min.js")) exclude();

#include <memory>
#include <string>
#include <string_view>

namespace codetext::search {

/// One glob. `*` stands for any run of characters but "/", `?` for one such character, `[a-z]` and
/// `[!a-z]` for one of a set, `{a,b}` for alternatives, `**` between slashes for any directories, a
/// backslash takes the next character as it is. A glob without "/", one at its end apart, is
/// compared with the name alone, at any depth; any other with the path from the repository's root.
/// A "!" in front excludes.
class Glob {
  public:
    /// Throws std::invalid_argument for a set or alternatives that are not closed.
    explicit Glob(std::string_view glob);
    ~Glob();
    Glob(Glob&&) noexcept;
    Glob& operator=(Glob&&) noexcept;

    bool excludes() const { return _excludes; }
    /// Whether it is of the file at `path` (relative, with "/"): for one that excludes, or ends in
    /// "/", also when it is of a directory that the file lies in.
    bool matches(std::string_view path) const;

  private:
    class Compiled;
    bool _excludes = false;
    std::unique_ptr<const Compiled> _compiled;
};

}  // namespace codetext::search
