#pragma once

// The Unicode rules that the text of a file goes through: decoding, lines, lower case, code points.
// Text is UTF-8 in std::string. What decode gives is well-formed; every other function takes
// well-formed text, or says what it makes of a lone surrogate in its three-byte form.
//
//   std::string text = unicode::decode(fsio::read_bytes_no_follow(path));
//   std::optional<std::string> lines = unicode::joined_lines(std::move(text));

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace codetext::unicode {

/// True when every byte is below 0x80.
bool is_ascii(std::string_view text);

/// The bytes decoded as UTF-8: well-formed bytes unchanged (a byte-order mark included), each
/// maximal subpart of an ill-formed subsequence as one U+FFFD (the Unicode Standard, section 3.9,
/// "U+FFFD Substitution of Maximal Subparts"). Well-formed input is moved through, not copied.
std::string decode(std::string bytes);

/// Size in bytes of the well-formed sequence that `text` begins with; 0 when it begins with none.
std::size_t sequence_bytes(std::string_view text);

/// The lines of `text`, joined by one LF each; none when the text has no line.
///
/// A line ends at U+000A, U+000D, the pair U+000D U+000A (one boundary), U+000B, U+000C, U+001C,
/// U+001D, U+001E, U+0085, U+2028 or U+2029; a boundary at the very end opens no further line. So
/// the result holds one line more than it holds LFs, and no other boundary. A text whose only
/// boundaries are LFs is moved through. A lone surrogate is carried through as it is.
std::optional<std::string> joined_lines(std::string text);

/// The full lower-case form (the Unicode default case conversion with its special casings, root
/// locale): U+0130 becomes U+0069 U+0307, a capital sigma under Final_Sigma U+03C2.
std::string lower(std::string_view text);

/// Number of code points of `text`.
std::int64_t code_points(std::string_view text);

/// Byte offset at which the code point with the given offset (from 0) begins; the size of the text
/// when it has no more than `code_point_offset` code points.
std::size_t byte_offset(std::string_view text, std::int64_t code_point_offset);

}  // namespace codetext::unicode
