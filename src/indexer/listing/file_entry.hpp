#pragma once

// A regular file as a directory listing knows it.

#include <sys/stat.h>

#include <cstdint>
#include <string>

namespace codetext::indexer {

struct FileEntry {
    std::string path;       ///< relative to the repository's root, with "/"
    std::int64_t size = 0;  ///< bytes
    std::int64_t mtime_ns = 0;
    friend bool operator==(const FileEntry&, const FileEntry&) = default;
};

/// A time as nanoseconds since the epoch. It wraps around for what 64 bits cannot tell, as
/// fsio::FileContent's does: it is compared for equality.
inline std::int64_t nanoseconds(const struct timespec& time) {
    constexpr std::uint64_t NANOSECONDS = 1'000'000'000;
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(time.tv_sec) * NANOSECONDS +
                                     static_cast<std::uint64_t>(time.tv_nsec));
}

}  // namespace codetext::indexer
