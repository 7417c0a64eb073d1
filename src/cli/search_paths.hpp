#pragma once

// The paths of a search. Users give and read paths relative to the current directory; the index
// has paths relative to the repository's root. This class translates both ways: in the
// directory `lib`, the file drivers/tun.c is ../drivers/tun.c.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace codetext::cli {

class SearchPaths {
  public:
    /// `given` as the user gave them; none stands for the current directory, or for `chosen_root`
    /// where that is elsewhere. Without a `chosen_root`, which is canonical, the first one that is
    /// there decides which repository is searched. Throws std::system_error when none is there,
    /// std::invalid_argument for one that lies outside of the repository.
    SearchPaths(const std::vector<std::string>& given,
                const std::optional<std::filesystem::path>& chosen_root);

    const std::filesystem::path& root() const { return _root; }
    /// The given paths relative to the root; "" is the root itself.
    const std::vector<std::string>& searched() const { return _searched; }
    /// Why others of the given paths are not searched: "PATH: REASON" for each.
    const std::vector<std::string>& missing() const { return _missing; }
    /// The path that leads from the current directory to a file of the index.
    std::string shown(std::string_view path) const;
    /// A glob of the user as search::Glob takes it. One with a "/" (not counting a "/" at its end)
    /// is relative to the current directory, and the result to the root; one that begins with "**/"
    /// holds at any depth, as one without a "/" does. Throws std::invalid_argument for an empty
    /// glob and for one that leads out of the repository.
    std::string glob_from_root(const std::string& glob) const;

  private:
    std::filesystem::path _root;
    std::vector<std::string> _searched, _missing;
    /// The current directory relative to the root, with a "/" at its end; empty for the root
    /// itself, and for a directory outside of the repository.
    std::string _from_root;
    /// The root relative to a current directory outside of the repository, likewise.
    std::string _to_root;
};

}  // namespace codetext::cli
