#pragma once

// Reading files of a work tree while others may change it. No symbolic link is followed, and
// nothing is read that could block or never end (a FIFO, a device, a socket).
//
//   std::string bytes = fsio::read_bytes_no_follow(path);

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "utils/descriptor.hpp"
#include "utils/file_stamp.hpp"

namespace codetext::fsio {

/// The most bytes that are read; a longer file fails with EFBIG. Files without an end and sparse
/// files of terabytes fail here, before memory is short. Later steps (lower case, storing) count
/// bytes in 32 bits.
inline constexpr std::size_t MAX_FILE_BYTES = std::size_t{1} << 31;

/// A regular file's content, with what its open descriptor said before the read.
struct FileContent {
    std::string bytes;
    FileStamp stamp;
};

/// The whole content of the regular file at `path`.
///
/// Only the last component of the path must not be a symbolic link (O_NOFOLLOW). Never blocks on a
/// file that is not regular.
/// Throws std::system_error (std::system_category, "cannot read PATH: ...") with errno's code for
/// every failure to open or read: ELOOP for a symbolic link, EISDIR for a directory, EINVAL for any
/// other kind of file that opens (a socket does not: ENXIO), EFBIG for a file of more than 2 GiB;
/// std::invalid_argument for a path with an embedded NUL.
std::string read_bytes_no_follow(const std::filesystem::path& path);

/// As read_bytes_no_follow, with what the indexer remembers about the file.
FileContent read_file_no_follow(const std::filesystem::path& path);

/// As read_file_no_follow, for `path` below the open directory `root`: no component may be a
/// symbolic link, or lead out of the directory (EINVAL).
/// EFBIG for a file of more than `most_bytes`, of which nothing is read where it tells its size.
FileContent read_file_below(const Descriptor& root, std::string_view path,
                            std::size_t most_bytes = MAX_FILE_BYTES);

}  // namespace codetext::fsio
