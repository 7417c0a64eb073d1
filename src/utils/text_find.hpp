#pragma once

// Finding a needle in text at memory speed. Offsets are in bytes from 0.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace codetext::text_find {

inline constexpr std::size_t NOT_FOUND = std::string_view::npos;

/// Offset of the first occurrence of `needle` in `text` at or after `from`, or NOT_FOUND. An empty
/// needle is found at `from` while `from` is at most the text's size.
std::size_t find(std::string_view text, std::string_view needle, std::size_t from = 0);

/// As find, taking the ASCII letters of the text for their lower-case form; `needle` must hold no
/// ASCII capital. Bytes from 0x80 on are compared as they are.
std::size_t find_ignoring_ascii_case(std::string_view text, std::string_view needle,
                                     std::size_t from = 0);

/// True when lower-casing `text` could give ASCII characters that folding its ASCII letters does
/// not: it holds U+212A (lower case k) or U+0130 (lower case i, U+0307).
bool lowers_into_ascii(std::string_view text);

/// Where the line begins that holds the byte at `offset`; `from` if that is before it. REQUIRES: a
/// line begins at `from`, which is at most `offset`.
std::size_t line_begin(std::string_view text, std::size_t from, std::size_t offset);

/// Number of LF bytes in `text`.
std::int64_t count_line_feeds(std::string_view text);

}  // namespace codetext::text_find
