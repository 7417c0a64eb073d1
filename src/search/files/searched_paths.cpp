#include "search/files/searched_paths.hpp"

#include <algorithm>
#include <utility>

namespace codetext::search {

// A directory is shorter than what lies in it, so it is in the lookup when its content comes.
SearchedPaths::SearchedPaths(std::vector<std::string> paths) {
    std::ranges::sort(paths, {}, &std::string::size);
    for (std::string& path : paths) {
        if (_above(path)) continue;
        _lookup.insert(path);
        _outermost.push_back(std::move(path));
    }
    std::ranges::sort(_outermost);
}

std::optional<std::string_view> SearchedPaths::_above(std::string_view path) const {
    if (_lookup.contains(std::string_view())) return "";
    // From the outermost directory inwards: one look into a hash table for each component.
    for (std::size_t end = 0; end < path.size();) {
        end = std::min(path.find('/', end + 1), path.size());
        if (_lookup.contains(path.substr(0, end))) return path.substr(0, end);
    }
    return std::nullopt;
}

std::size_t SearchedPaths::top_bytes(std::string_view path) const {
    const std::string_view top = _above(path).value_or("");
    if (top != path) return top.size();
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? 0 : slash;
}

}  // namespace codetext::search
