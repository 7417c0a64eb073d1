#pragma once

// The checksum at the end of each page of a database, and what the first page says of the file.
// Private to this folder.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace codetext::page_checksum {

/// Bytes that SQLite leaves to us at the end of each page.
inline constexpr int BYTES = 8;
/// Bytes of the database header, with which page 1 begins.
inline constexpr std::size_t HEADER_BYTES = 100;
/// The smallest page that SQLite takes.
inline constexpr std::size_t MIN_PAGE_BYTES = 512;

/// What the header says. Nobody but a rebuild changes these, the number of pages apart, so they may
/// be read without a lock.
struct Header {
    std::uint32_t page_bytes = 0;  ///< 0: it is no header of a database
    std::uint32_t pages = 0;       ///< 0: unknown
    bool has_checksums = false;
};

/// REQUIRES: HEADER_BYTES bytes.
///
/// Two places tell that the pages have checksums, so that no flipped bit takes a database for one
/// without: the number of reserved bytes, and PRAGMA user_version.
Header read_header(std::string_view bytes);

/// Whether SQLite uses the page: it never writes the one that holds the bytes that it locks.
bool is_used(std::int64_t page_number, std::uint32_t page_bytes);

/// Whether the page ends with its checksum. The page's number, from 1, is part of the checksum: a
/// page at the wrong place does not match.
bool matches(std::string_view page, std::int64_t page_number);
/// Puts the checksum into the last bytes of the page.
void put(std::span<char> page, std::int64_t page_number);

}  // namespace codetext::page_checksum
