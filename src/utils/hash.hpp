#pragma once

// The hash of files, frames and pages.
//
//   const std::uint64_t hash = xxh3(text, 7);

#include <cstdint>
#include <string_view>

namespace codetext {

/// XXH3-64 of the bytes. It tells of accidents, not of a forger.
std::uint64_t xxh3(std::string_view bytes, std::uint64_t seed = 0);

}  // namespace codetext
