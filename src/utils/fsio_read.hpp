#pragma once

// What fsio does with a file that it has opened. For fsio and its tests.

#include <cstddef>
#include <cstdint>
#include <string>

namespace codetext::fsio {

/// The most bytes that a read takes; a longer file fails with EFBIG. Files that claim no end and
/// sparse ones of terabytes stop here, long before memory does, and what follows (lower-casing,
/// storing) counts a text's bytes in 32 bits.
inline constexpr std::size_t MAX_FILE_BYTES = std::size_t{1} << 31;

/// What `descriptor` gives from where it stands to its end. `expected_bytes` is what fstat said: it
/// makes one read enough when it is true, and nothing else depends on it (files that the kernel
/// makes up say 0 or a page, and a file may grow or shrink under its reader).
/// Throws std::system_error with errno's code, and with EFBIG past `limit_bytes`; its message is
/// `doing`.
std::string _read_to_end(int descriptor, std::int64_t expected_bytes, const std::string& doing,
                         std::size_t limit_bytes = MAX_FILE_BYTES);

}  // namespace codetext::fsio
