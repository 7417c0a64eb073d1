#pragma once

// Posting lists: ascending numbers, Rice-coded gap by gap. Each list has the parameter that makes
// it smallest; 0 makes it a bitmap, which suits dense lists.
//
// A gap g (numbers left out since the one before) is written as g >> parameter zeros, a one, and
// the low `parameter` bits of g. Bits fill each byte from the lowest.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace codetext::chunk_store {

/// Most bytes of a coded list: the best parameter for n numbers below 2^16 takes at most n + 2^16
/// bits for each of two parts.
inline constexpr std::size_t MAX_POSTINGS_BYTES = std::size_t{1} << 15;

/// A coded list. Numbers are below 2^16: those of chunks in one shard.
struct PostingList {
    std::uint32_t count = 0;     ///< how many numbers
    std::uint8_t parameter = 0;  ///< of the Rice code
    std::string_view bytes;
};

/// Appends the coded numbers (ascending, distinct) to `bytes`; returns the parameter it chose.
std::uint8_t append_postings(std::span<const std::uint16_t> numbers, std::string& bytes);

/// The numbers of the list, ascending. False when the bytes end too early or give a number of 2^16
/// or more: damage.
bool read_postings(const PostingList& list, std::vector<std::uint16_t>& numbers);

}  // namespace codetext::chunk_store
