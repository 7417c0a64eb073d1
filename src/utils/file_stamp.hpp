#pragma once

// What the file system says of a file, by which a changed file is told from an unchanged one.

#include <sys/stat.h>

#include <cstdint>

#include "utils/platform.hpp"

namespace codetext {

/// Equal stamps mean that nobody has changed the file in between, as far as the file system can
/// tell: a program can set a modification time, but no change time (`cp -p`, `tar x`, `rsync -a`),
/// and two files that change places keep their times on some file systems, but not their numbers.
struct FileStamp {
    std::int64_t size = 0;                    ///< bytes
    std::int64_t mtime_ns = 0, ctime_ns = 0;  ///< nanoseconds since the epoch
    std::int64_t inode = 0;
    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

inline FileStamp stamp_of(const struct stat& status) {
    return {.size = status.st_size,
            .mtime_ns = platform::modification_time_ns(status),
            .ctime_ns = platform::change_time_ns(status),
            .inode = static_cast<std::int64_t>(status.st_ino)};
}

}  // namespace codetext
