#pragma once

// A regular file as a directory listing knows it.

#include <string>

#include "utils/file_stamp.hpp"

namespace codetext::indexer {

struct FileEntry {
    std::string path;  ///< relative to the repository's root, with "/"
    FileStamp stamp;
    friend bool operator==(const FileEntry&, const FileEntry&) = default;
};

}  // namespace codetext::indexer
