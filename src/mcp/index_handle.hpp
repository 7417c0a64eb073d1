#pragma once

// The index, kept open from call to call.

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <utility>

#include "storage/database.hpp"

namespace codetext::mcp {

/// The repository has no index yet.
class NoIndex : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Whether the repository at `root` has an index, which may be unusable all the same.
bool has_index(const std::filesystem::path& root);

/// For one thread at a time.
class IndexHandle {
  public:
    /// `open` opens the repository's index for reading, and throws where it cannot be used.
    IndexHandle(std::filesystem::path root, std::function<Database()> open)
        : _root(std::move(root)), _open(std::move(open)) {}

    /// The index; valid until the next call of any function here. Opens it anew when its file has
    /// been replaced by another. Throws NoIndex, and what `open` throws.
    Database& open();
    /// To be called after each use: an index of an older version is not kept open, because it
    /// cannot be upgraded meanwhile.
    void release();
    void close() { _index.reset(); }

  private:
    std::filesystem::path _root;
    std::function<Database()> _open;
    std::optional<Database> _index;
    std::pair<dev_t, ino_t> _file;  ///< that `_index` has open
};

}  // namespace codetext::mcp
