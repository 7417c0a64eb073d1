#pragma once

// The time of day, as files have it.

#include <chrono>
#include <cstdint>

namespace codetext {

inline constexpr std::int64_t NS_PER_S = 1'000'000'000;

/// Nanoseconds since the epoch.
inline std::int64_t now_ns() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

}  // namespace codetext
