#pragma once

// How fsio reads an open file. Only for fsio and its tests.

#include <cstddef>
#include <cstdint>
#include <string>

#include "utils/fsio.hpp"

namespace codetext::fsio {

/// Reads `descriptor` from its position to its end. `expected_bytes` is the size that fstat gave:
/// when it is right, one read is enough; when it is wrong, the result is still right (files of
/// /proc say 0 or a page, and a file may grow or shrink while it is read). Throws std::system_error
/// with errno's code, and with EFBIG past `limit_bytes`; its message is `doing`.
std::string _read_to_end(int descriptor, std::int64_t expected_bytes, const std::string& doing,
                         std::size_t limit_bytes = MAX_FILE_BYTES);

}  // namespace codetext::fsio
