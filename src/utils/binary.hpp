#pragma once

// Which files hold no text.

#include <string_view>

namespace codetext {

/// A file with a NUL among its first bytes, this many, is binary.
inline constexpr std::size_t BINARY_TEST_BYTES = 8000;

/// Whether a file with this content, or this beginning of it, is binary.
inline bool is_binary(std::string_view bytes) {
    return bytes.substr(0, BINARY_TEST_BYTES).find('\0') != std::string_view::npos;
}

}  // namespace codetext
