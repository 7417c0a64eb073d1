// A page's checksum is the XXH3-64 of all bytes before it, with the page's number as its seed,
// stored with the lowest byte first. The offsets in the header are those of SQLite's file format
// (https://www.sqlite.org/fileformat2.html, section 1.3).

#include "storage/database/page_checksum.hpp"

#include <bit>

#include "utils/hash.hpp"

namespace codetext::page_checksum {

namespace {

constexpr std::string_view MAGIC("SQLite format 3\0", 16);
/// Databases with this user version or a later one have checksums.
constexpr std::uint32_t CHECKSUMS_SINCE_USER_VERSION = 4;
/// The first byte that SQLite locks.
constexpr std::int64_t LOCKED_BYTE = 0x40000000;

std::uint32_t number(std::string_view bytes, std::size_t offset, std::size_t size) {
    std::uint32_t value = 0;
    for (const char byte : bytes.substr(offset, size)) {
        value = value << 8 | static_cast<unsigned char>(byte);
    }
    return value;
}

std::uint64_t checksum(std::string_view bytes, std::int64_t page_number) {
    return xxh3(bytes, static_cast<std::uint64_t>(page_number));
}

}  // namespace

Header read_header(std::string_view bytes) {
    Header header;
    if (!bytes.starts_with(MAGIC)) return header;
    const std::uint32_t coded = number(bytes, 16, 2);
    // Two bytes cannot hold 65,536; 1 stands for it.
    const std::uint32_t page_bytes = coded == 1 ? 65536 : coded;
    if (page_bytes < MIN_PAGE_BYTES || !std::has_single_bit(page_bytes)) return header;
    header.page_bytes = page_bytes;
    // Old versions of SQLite change a database without setting the number of pages; the change
    // counters tell.
    const bool counted = number(bytes, 24, 4) == number(bytes, 92, 4);
    header.pages = counted ? number(bytes, 28, 4) : 0;
    header.has_checksums =
        number(bytes, 20, 1) == BYTES || number(bytes, 60, 4) >= CHECKSUMS_SINCE_USER_VERSION;
    return header;
}

bool is_used(std::int64_t page_number, std::uint32_t page_bytes) {
    return page_number != LOCKED_BYTE / page_bytes + 1;
}

bool matches(std::string_view page, std::int64_t page_number) {
    const std::uint64_t wanted = checksum(page.substr(0, page.size() - BYTES), page_number);
    std::uint64_t stored = 0;
    for (std::size_t i = 0; i < BYTES; ++i) {
        stored |= std::uint64_t{static_cast<unsigned char>(page[page.size() - BYTES + i])} << 8 * i;
    }
    return stored == wanted;
}

void put(std::span<char> page, std::int64_t page_number) {
    const std::size_t end = page.size() - BYTES;
    const std::uint64_t sum = checksum({page.data(), end}, page_number);
    for (std::size_t i = 0; i < BYTES; ++i) page[end + i] = static_cast<char>(sum >> 8 * i);
}

}  // namespace codetext::page_checksum
