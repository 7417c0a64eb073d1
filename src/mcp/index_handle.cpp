#include "mcp/index_handle.hpp"

#include <fmt/format.h>
#include <sys/stat.h>

#include "storage/schema.hpp"

namespace codetext::mcp {
namespace {

/// Pages that stay in memory between calls. A search for a rare text reads 3 MB.
constexpr int KEPT_KB = 32 << 10;

std::optional<std::pair<dev_t, ino_t>> file_of_index(const std::filesystem::path& root) {
    struct stat status {};
    if (::lstat(schema::index_path(root).c_str(), &status) == -1) return std::nullopt;
    return std::pair(status.st_dev, status.st_ino);
}

}  // namespace

bool has_index(const std::filesystem::path& root) { return file_of_index(root).has_value(); }

Database& IndexHandle::open() {
    const auto file = file_of_index(_root);
    if (!file) {
        close();
        throw NoIndex(
            fmt::format("{} has no index yet: run `codetext index` there", _root.string()));
    }
    if (!_index || *file != _file) {
        close();
        // One that replaces it right now is noticed by the next call.
        _file = *file;
        _index.emplace(_open());
        _index->fetchone(fmt::format("PRAGMA cache_size = -{}", KEPT_KB));
    }
    return *_index;
}

void IndexHandle::release() {
    if (_index && schema::version(*_index) != schema::SCHEMA_VERSION) close();
}

}  // namespace codetext::mcp
