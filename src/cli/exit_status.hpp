#pragma once

// The exit statuses of the program, as those of grep.

namespace codetext::cli {

inline constexpr int SUCCESS = 0;  ///< done; of a search: something was found
inline constexpr int NOTHING =
    1;  ///< a search found nothing; `verify` found damage, `status --check` a change
/// Nothing was done, or a search could not read all that it should.
inline constexpr int FAILURE = 2;

}  // namespace codetext::cli
