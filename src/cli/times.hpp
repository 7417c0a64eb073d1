#pragma once

// Times for people.

#include <cstdint>
#include <string>

namespace codetext::cli {

/// A time in seconds since the epoch, where the user lives: "2026-11-23 18:01:02".
std::string local_time(std::int64_t time_s);

/// The same for programs, in UTC: "2026-11-23T18:01:02Z".
std::string utc_time(std::int64_t time_s);

/// How long ago, in the largest unit that counts to two or more (at least seconds): "3 min ago" for
/// 200 s. A time to come is "0 s ago".
std::string age(std::int64_t age_s);

}  // namespace codetext::cli
