#include "cli/search_paths.hpp"

#include <algorithm>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "cli/repository.hpp"

namespace codetext::cli {

namespace fs = std::filesystem;

namespace {

struct GivenPath {
    std::string given;
    fs::path path;  ///< absolute, without links
};

/// Those of the given paths that are there. Adds the others to `missing`; throws when all are.
std::vector<GivenPath> existing(const std::vector<std::string>& given,
                                std::vector<std::string>& missing) {
    std::vector<GivenPath> paths;
    std::error_code last_failure;
    for (const std::string& path : given) {
        std::error_code failure;
        fs::path found = fs::canonical(path, failure);
        if (failure) {
            missing.push_back(path + ": " + failure.message());
            last_failure = failure;
        } else {
            paths.push_back({path, std::move(found)});
        }
    }
    if (paths.empty() && !given.empty()) throw std::system_error(last_failure, given.back());
    return paths;
}

fs::path directory_of(const fs::path& path) {
    return fs::is_directory(path) ? path : path.parent_path();
}

bool take_prefix(std::string_view& text, std::string_view prefix) {
    if (!text.starts_with(prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

/// A glob that matches this path alone.
std::string without_wildcards(std::string_view path) {
    std::string glob;
    for (const char c : path) {
        if (std::string_view("\\*?[]{}").find(c) != std::string_view::npos) glob += '\\';
        glob += c;
    }
    return glob;
}

}  // namespace

SearchPaths::SearchPaths(const std::vector<std::string>& given,
                         const std::optional<fs::path>& chosen_root) {
    const fs::path current = fs::canonical(fs::current_path());
    std::vector<GivenPath> paths = existing(given, _missing);
    if (paths.empty()) {
        const bool is_outside = chosen_root && !path_from_root(*chosen_root, current);
        paths.push_back({".", is_outside ? *chosen_root : current});
    }
    _root = chosen_root ? *chosen_root : find_root(directory_of(paths.front().path));
    for (const GivenPath& path : paths) {
        const std::optional<std::string> relative = path_from_root(_root, path.path);
        if (!relative) {
            throw std::invalid_argument(path.given + " lies outside of the repository " +
                                        _root.string());
        }
        _searched.push_back(*relative);
    }
    if (const auto relative = path_from_root(_root, current)) {
        _from_root = relative->empty() ? "" : *relative + '/';
    } else {
        _to_root = _root.lexically_relative(current).string() + '/';
    }
}

std::string SearchPaths::glob_from_root(const std::string& glob) const {
    std::string_view rest = glob;
    const bool excludes = take_prefix(rest, "!");
    if (rest.empty()) throw std::invalid_argument("--glob: \"" + glob + "\" is not a glob");
    // A "/" at the end alone says that a directory is meant, and not where it is.
    const bool is_name = rest.find('/') >= rest.size() - 1 && rest != "./" && rest != "../";
    if (is_name || rest.starts_with("**/")) return glob;
    std::string_view directory = _from_root;
    // Where the current directory is outside the repository, the way into it is left out.
    while (!_to_root.empty() && (take_prefix(rest, "./") || take_prefix(rest, "/"))) {
    }
    if (!_to_root.empty()) take_prefix(rest, _to_root);
    while (true) {
        if (take_prefix(rest, "../")) {
            if (directory.empty()) {
                throw std::invalid_argument("--glob: " + glob + " leads out of the repository");
            }
            directory.remove_suffix(1);
            directory = directory.substr(0, directory.rfind('/') + 1);
        } else if (!take_prefix(rest, "./") && !take_prefix(rest, "/")) {
            break;
        }
    }
    // What named a directory alone, such as "../", stands for all that is in it.
    return (excludes ? "!/" : "/") + without_wildcards(directory) +
           std::string(rest.empty() ? "**" : rest);
}

std::string SearchPaths::shown(std::string_view path) const {
    if (_from_root.empty()) return _to_root + std::string(path);
    if (path.starts_with(_from_root)) return std::string(path.substr(_from_root.size()));
    // The result leads up to the directory that both share, then down to the file.
    const auto [own, other] =
        std::mismatch(_from_root.begin(), _from_root.end(), path.begin(), path.end());
    const auto shared = static_cast<std::size_t>(own - _from_root.begin());
    const std::size_t slash = shared == 0 ? std::string::npos : path.rfind('/', shared - 1);
    const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
    std::string result;
    const auto ups =
        std::count(_from_root.begin() + static_cast<std::ptrdiff_t>(start), _from_root.end(), '/');
    for (std::ptrdiff_t i = 0; i < ups; ++i) result += "../";
    return result.append(path.substr(start));
}

}  // namespace codetext::cli
