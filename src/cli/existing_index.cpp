#include "cli/existing_index.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "storage/schema.hpp"

namespace codetext::cli {

void check_index(const std::filesystem::path& root, schema::Owners owners) {
    const std::string path = schema::index_path(root);
    static_cast<void>(schema::open_index_directory(root, owners));
    if (::access(path.c_str(), R_OK) == 0) return;
    if (errno == ENOENT || errno == ENOTDIR) {
        throw std::runtime_error(fmt::format("no index at {}: run `codetext index` first", path));
    }
    throw std::runtime_error(fmt::format("cannot read the index {}: {}; run as a user who can",
                                         path, std::generic_category().message(errno)));
}

Database open_existing_index(const std::filesystem::path& root, schema::Owners owners) {
    check_index(root, owners);
    Database db = schema::open_index(schema::index_path(root), Access::READ_ONLY);
    schema::check_filled(db);
    return db;
}

}  // namespace codetext::cli
