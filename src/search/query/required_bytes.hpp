#pragma once

// For patterns without a text to look for: bytes of a set that every match holds in a row, such as
// the seven digits of `[0-9]{7,}` or the eight bytes, digits or hyphens, of `[0-9]{4}-[0-9]{3}`. A
// search for them skips over most of a text, where a regular expression must look at each byte.
// Private to search.

#include <bitset>
#include <cstddef>
#include <optional>
#include <string_view>

namespace codetext::search {

struct RequiredBytes {
    std::bitset<256> bytes;  ///< the set: ASCII, no LF
    std::size_t length;      ///< how many bytes in a row are of the set, or more
};

/// The rarest bytes that every match of `pattern` (RE2's syntax) is seen to hold. None when the
/// pattern has a group, an alternative, or anything else that is not understood here; when no bytes
/// are rare enough to be of use; and when it begins with a literal, which RE2 finds faster.
std::optional<RequiredBytes> required_bytes(std::string_view pattern, bool case_sensitive);

/// Offset of the first place at or after `from` where such bytes begin, or npos.
std::size_t find_required_bytes(std::string_view text, const RequiredBytes& required,
                                std::size_t from);

}  // namespace codetext::search
