#pragma once

// What the file system says of a file, by which a changed file is told from an unchanged one.

#include <sys/stat.h>

#include <cstdint>
#include <limits>

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

/// The index remembers this time, which no file has, for a file that may have changed since it was
/// read without a trace in its stamp: it is never unchanged.
inline constexpr std::int64_t UNSETTLED_MTIME_NS = std::numeric_limits<std::int64_t>::min();

/// Whether a file with the stamp `now` holds what it held when `remembered` was its stamp. The one
/// rule of a refresh, of a search that checks what it shows, and of a repair.
inline bool is_unchanged(const FileStamp& remembered, const FileStamp& now) {
    return remembered == now;
}

inline FileStamp stamp_of(const struct stat& status) {
    return {.size = status.st_size,
            .mtime_ns = platform::modification_time_ns(status),
            .ctime_ns = platform::change_time_ns(status),
            .inode = static_cast<std::int64_t>(status.st_ino)};
}

}  // namespace codetext
