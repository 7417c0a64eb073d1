#pragma once

// The paths of a search: from those that its user gives, relative to the current directory, to
// those of the index, relative to the repository's root, and back.
//
//   cli::SearchPaths paths({"../drivers"});
//   Database db = schema::open_index(schema::index_path(paths.root()), Access::READ_ONLY);
//   std::string shown = paths.shown("drivers/net/tun.c");   // "../drivers/net/tun.c"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace codetext::cli {

class SearchPaths {
  public:
    /// `given` as the user gave them; none stands for the current directory. The first one says
    /// which repository it is.
    /// Throws std::system_error for a path that does not exist, std::invalid_argument for one that
    /// lies outside of the repository.
    explicit SearchPaths(const std::vector<std::string>& given);

    const std::filesystem::path& root() const { return _root; }
    /// What was given, relative to the root; "" is the root itself.
    const std::vector<std::string>& searched() const { return _searched; }
    /// A path of the index as it leads there from the current directory.
    std::string shown(std::string_view path) const;

  private:
    std::filesystem::path _root;
    std::vector<std::string> _searched;
    std::string
        _from_root;        ///< the current directory relative to the root, with a final "/", or ""
    std::string _to_root;  ///< the root relative to a current directory outside of it, likewise
};

}  // namespace codetext::cli
