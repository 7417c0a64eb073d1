#include "cli/existing_index.hpp"

#include <stdexcept>

#include "cli/repository.hpp"
#include "storage/schema.hpp"

namespace codetext::cli {

std::filesystem::path root_with_index(const std::filesystem::path& path) {
    std::filesystem::path root = find_root(path);
    if (!std::filesystem::exists(schema::index_path(root))) {
        throw std::runtime_error("no index at " + schema::index_path(root).string() +
                                 ": run `codetext index` first");
    }
    return root;
}

}  // namespace codetext::cli
