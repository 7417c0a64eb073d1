#pragma once

// For patterns without a text to look for: bytes in a row that every match holds, as the seven
// digits of `[0-9]{7,}` or the eight bytes, digits or hyphens, of `[0-9]{4}-[0-9]{3}`. Looking for
// such a run skips over most of a text, where a regular expression must look at each byte. Private
// to search.
//
//   if (auto run = search::required_bytes("[0-9]{7,}", true)) at =
//   search::find_required_bytes(text, *run, 0);

#include <bitset>
#include <cstddef>
#include <optional>
#include <string_view>

namespace codetext::search {

struct RequiredBytes {
    std::bitset<256> bytes;  ///< what the run is made of: ASCII, no LF
    std::size_t length;      ///< at least so many bytes
};

/// The rarest run that `pattern` (RE2's syntax) is seen to need; none when it has a group, an
/// alternative, or anything else that is not understood here, no run rare enough to be of use, or a
/// literal at its beginning, which is found faster.
std::optional<RequiredBytes> required_bytes(std::string_view pattern, bool case_sensitive);

/// Offset in bytes of the first such run that begins at or after `from`, or npos.
std::size_t find_required_bytes(std::string_view text, const RequiredBytes& run, std::size_t from);

}  // namespace codetext::search
