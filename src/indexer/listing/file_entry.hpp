#pragma once

// A regular file as a directory listing knows it.

#include <cstdint>
#include <string>

namespace codetext::indexer {

struct FileEntry {
    std::string path;       ///< relative to the repository's root, with "/"
    std::int64_t size = 0;  ///< bytes
    std::int64_t mtime_ns = 0;
    friend bool operator==(const FileEntry&, const FileEntry&) = default;
};

}  // namespace codetext::indexer
