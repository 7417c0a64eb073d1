#include "cli/which_index.hpp"

#include <fmt/format.h>

#include <set>
#include <stdexcept>
#include <system_error>

#include "cli/repository.hpp"

namespace codetext::cli {

namespace fs = std::filesystem;

namespace {

bool is_there(const fs::path& path) {
    std::error_code ignored;
    return fs::exists(path, ignored);
}

bool has_index(const fs::path& root) { return is_there(schema::index_path(root)); }

/// The nearest directory, from `path` up to before `root`, that has an index. `seen` are those that
/// have none.
std::optional<fs::path> index_between(const fs::path& root, fs::path path,
                                      std::set<fs::path>& seen) {
    for (; path != root && path.has_relative_path(); path = path.parent_path()) {
        if (!seen.insert(path).second) return std::nullopt;
        if (has_index(path)) return path;
    }
    return std::nullopt;
}

/// The root of the git work tree around `root`, where that has an index and `root` is another one.
std::optional<fs::path> indexed_work_tree(const fs::path& root) {
    fs::path above = root;
    while (!is_there(above / ".git")) {
        if (!above.has_relative_path()) return std::nullopt;
        above = above.parent_path();
    }
    return above != root && has_index(above) ? std::optional(above) : std::nullopt;
}

}  // namespace

schema::Owners WhichIndex::owners() const {
    return any_owner ? schema::Owners::ANY : schema::Owners::TRUSTED;
}

std::optional<fs::path> WhichIndex::root() const {
    if (roots.empty()) return std::nullopt;
    return existing_directory(roots.back());
}

fs::path WhichIndex::root_for(const RepositoryArguments& arguments) const {
    const std::optional<fs::path> chosen = root();
    if (!chosen) return find_root(arguments.path());
    for (const std::string& path : arguments.paths) {
        if (path_from_root(*chosen, existing_directory(path))) continue;
        throw std::invalid_argument(path + " lies outside of " + chosen->string());
    }
    return *chosen;
}

std::vector<fs::path> roots_above(const fs::path& root) {
    std::vector<fs::path> roots;
    for (fs::path above = root; above.has_relative_path();) {
        above = above.parent_path();
        if (has_index(above)) roots.push_back(above);
    }
    return roots;
}

std::optional<std::string> who_answers(const fs::path& root,
                                       const std::vector<std::string>& searched) {
    // The first path has decided for its nearest index.
    std::set<fs::path> seen;
    for (std::size_t i = 1; i < searched.size(); ++i) {
        if (searched[i].empty()) continue;
        if (const auto nearer = index_between(root, root / searched[i], seen)) {
            return fmt::format("the index of {} answers, not that of {}: --root chooses",
                               root.string(), nearer->string());
        }
    }
    if (const auto work_tree = indexed_work_tree(root)) {
        return fmt::format("the index of {} answers, not that of {}: --root chooses", root.string(),
                           work_tree->string());
    }
    return std::nullopt;
}

}  // namespace codetext::cli
