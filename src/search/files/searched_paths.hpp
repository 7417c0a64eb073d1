#pragma once

// The files and directories that a search was told to look at. A path is found among thousands in
// as many steps as it has components.

#include <initializer_list>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace codetext::search {

class SearchedPaths {
  public:
    SearchedPaths() = default;
    /// Paths relative to the repository's root; the empty path is the root itself.
    SearchedPaths(std::vector<std::string> paths);
    SearchedPaths(std::initializer_list<std::string> paths)
        : SearchedPaths(std::vector<std::string>(paths)) {}

    /// The paths in order, without those that lie in another one of them.
    const std::vector<std::string>& outermost() const { return _outermost; }
    /// Whether `path` is one of them or lies in one. Everything lies in no paths at all.
    bool hold(std::string_view path) const { return _outermost.empty() || _above(path); }
    /// Bytes of the path of the directory in which the search for `path` begins: a searched
    /// directory, or the one that holds a searched file. 0 for a path that is not held.
    std::size_t top_bytes(std::string_view path) const;

  private:
    /// The one of them that `path` lies in.
    std::optional<std::string_view> _above(std::string_view path) const;

    std::vector<std::string> _outermost;
    std::set<std::string, std::less<>> _lookup;  ///< the same paths
};

}  // namespace codetext::search
