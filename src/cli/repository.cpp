#include "cli/repository.hpp"

#include <optional>
#include <system_error>

#include "storage/schema.hpp"

namespace codetext::cli {

namespace fs = std::filesystem;

namespace {

std::optional<fs::path> nearest_with(fs::path directory, std::string_view entry) {
    while (true) {
        std::error_code ignored;
        if (fs::exists(directory / entry, ignored)) return directory;
        if (!directory.has_relative_path()) return std::nullopt;
        directory = directory.parent_path();
    }
}

}  // namespace

fs::path existing_directory(const fs::path& path) {
    std::error_code failure;
    fs::path directory = fs::canonical(path, failure);
    if (failure) throw std::system_error(failure, path.string());
    if (!fs::is_directory(directory)) {
        throw std::system_error(std::make_error_code(std::errc::not_a_directory), path.string());
    }
    return directory;
}

std::optional<std::string> path_from_root(const fs::path& root, const fs::path& path) {
    const std::string& inside = path.native();
    const std::string& outside = root.native();
    if (inside == outside) return "";
    if (outside == "/") return inside.substr(1);
    if (!inside.starts_with(outside) || inside[outside.size()] != '/') return std::nullopt;
    return inside.substr(outside.size() + 1);
}

fs::path find_root(const fs::path& path) {
    fs::path directory = existing_directory(path);
    // An index above decides before a nearer .git: a repository inside of an indexed tree belongs
    // to it.
    if (auto root = nearest_with(directory, schema::INDEX_DIRECTORY)) return *root;
    if (auto root = nearest_with(directory, ".git")) return *root;
    return directory;
}

}  // namespace codetext::cli
