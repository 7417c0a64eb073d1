// The chain of checksums of a write-ahead log, as SQLite's file format describes it: two sums of 32
// bits run over the header's first 24 bytes, and then over the first 8 bytes and the page of each
// frame in turn; the sums so far stand in the header and in the head of each frame. One frame is
// checked with the sums that stand before it, so a check costs two short reads and one pass over
// the page. (https://www.sqlite.org/fileformat2.html, section 4.2.)
//
// Whether a frame belongs to the log at all, or is left over from an older one, is for SQLite to
// know: it reads no frame that its index of the log does not name.

#include "storage/database/log_check.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

namespace codetext {

namespace {

constexpr std::int64_t HEADER_BYTES = 32;
constexpr std::int64_t HEAD_BYTES = 24;
/// Of a frame's head, these come before its salts and sums.
constexpr std::size_t SUMMED_HEAD_BYTES = 8;
constexpr std::size_t SUMS_BYTES = 8;
/// The header's first number; the lowest bit says whether sums read the highest byte first.
constexpr std::uint32_t MAGIC = 0x377f0682;

std::uint32_t swapped_bytes(std::uint32_t value) {
    return value << 24 | (value & 0xFF00) << 8 | (value >> 8 & 0xFF00) | value >> 24;
}

std::uint32_t big_endian(std::string_view bytes, std::size_t offset) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof(value));
    return std::endian::native == std::endian::big ? value : swapped_bytes(value);
}

struct Sums {
    std::uint32_t first, second;
    friend bool operator==(const Sums&, const Sums&) = default;
};

Sums read_sums(std::string_view bytes) { return {big_endian(bytes, 0), big_endian(bytes, 4)}; }

template <bool SWAPPED>
Sums extended(Sums sums, std::string_view bytes) {
    for (std::size_t i = 0; i + SUMS_BYTES <= bytes.size(); i += SUMS_BYTES) {
        std::uint32_t one = 0, two = 0;
        std::memcpy(&one, bytes.data() + i, sizeof(one));
        std::memcpy(&two, bytes.data() + i + sizeof(one), sizeof(two));
        sums.first += (SWAPPED ? swapped_bytes(one) : one) + sums.second;
        sums.second += (SWAPPED ? swapped_bytes(two) : two) + sums.first;
    }
    return sums;
}

}  // namespace

bool LogCheck::_take_header(std::string_view header) {
    const std::uint32_t magic = big_endian(header, 0);
    if ((magic & ~1U) != MAGIC) return false;
    _page_bytes = big_endian(header, 8);
    _swapped = ((magic & 1U) != 0) != (std::endian::native == std::endian::big);
    return _page_bytes > 0;
}

bool LogCheck::_knows_header(const Read& read) {
    if (_page_bytes > 0) return true;
    std::array<char, HEADER_BYTES> header{};
    return read(header, 0) && _take_header({header.data(), header.size()});
}

std::int64_t LogCheck::_frame_of(std::int64_t offset) const {
    return (offset - HEADER_BYTES) / (_page_bytes + HEAD_BYTES);
}

std::int64_t LogCheck::_offset_in_frame(std::int64_t offset) const {
    return (offset - HEADER_BYTES) % (_page_bytes + HEAD_BYTES);
}

bool LogCheck::page_fits(std::string_view bytes, std::int64_t offset, const Read& read) {
    // No page is as small as what SQLite reads elsewhere, or as large as a frame with its head.
    if (bytes.size() < 512 || !std::has_single_bit(bytes.size())) return true;
    if (!_knows_header(read)) return false;
    if (std::ssize(bytes) != _page_bytes || _offset_in_frame(offset) != HEAD_BYTES) return true;
    const std::int64_t frame = _frame_of(offset);
    if (frame >= _unchecked_from) return true;
    // The sums before this frame: the last bytes of the header, or of the head of the frame before,
    // which is a page and a head away.
    std::array<char, SUMS_BYTES> before{};
    std::array<char, HEAD_BYTES> head{};
    const std::int64_t before_offset = frame == 0
                                           ? HEADER_BYTES - std::ssize(before)
                                           : offset - _page_bytes - HEAD_BYTES - std::ssize(before);
    if (!read(before, before_offset) || !read(head, offset - HEAD_BYTES)) return false;
    const std::string_view all_head(head.data(), head.size());
    const auto extend = _swapped ? extended<true> : extended<false>;
    const Sums sums = extend(
        extend(read_sums({before.data(), before.size()}), all_head.substr(0, SUMMED_HEAD_BYTES)),
        bytes);
    return sums == read_sums(all_head.substr(all_head.size() - SUMS_BYTES));
}

// A transaction that writes a page again writes over its first frame, without a new head. From then
// on the heads hold zeros where the sums go; at the commit they are all written, in order
// (walRewriteChecksums in SQLite). So the first frame without sums is remembered, and forgotten
// when a head with sums is written there or before: by that commit, or, after a rollback, by
// the next transaction of this handle, which begins at or before that frame.
void LogCheck::note_write(std::string_view bytes, std::int64_t offset, const Read& read) {
    if (offset == 0) {
        if (std::ssize(bytes) == HEADER_BYTES) _take_header(bytes);
        _head_written = _unchecked_from = NO_FRAME;
        return;
    }
    if (!_knows_header(read) || offset < HEADER_BYTES) return;
    const std::int64_t frame = _frame_of(offset);
    const bool is_head = std::ssize(bytes) == HEAD_BYTES && _offset_in_frame(offset) == 0;
    if (!is_head) {
        if (frame != _head_written) _unchecked_from = std::min(_unchecked_from, frame);
        _head_written = NO_FRAME;
        return;
    }
    _head_written = frame;
    const std::string_view sums = bytes.substr(SUMMED_HEAD_BYTES);
    const bool has_sums = sums.find_first_not_of('\0') != std::string_view::npos;
    if (!has_sums) {
        _unchecked_from = std::min(_unchecked_from, frame);
    } else if (frame <= _unchecked_from) {
        _unchecked_from = NO_FRAME;
    }
}

}  // namespace codetext
