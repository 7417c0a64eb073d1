#pragma once

// Checks the pages that are read from a write-ahead log. Private to this folder.
//
// Each frame of the log (a page with a head of 24 bytes) ends a chain of checksums that SQLite
// writes, and checks only when it recovers a log. We check the link of each frame that is read, so
// that a checkpoint never gives a damaged page a checksum in the database.

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>

namespace codetext {

/// What one handle knows of its log. A writer may read frames of its own open transaction: SQLite
/// writes their checksums at the commit, and they are not checked until then.
class LogCheck {
  public:
    /// Reads bytes of the log; false when they are not there.
    using Read = std::function<bool(std::span<char> bytes, std::int64_t offset)>;

    /// Whether what was read at `offset` is no page, or a page that its checksum fits.
    bool page_fits(std::string_view bytes, std::int64_t offset, const Read& read);
    /// To be told of each write, before or after it.
    void note_write(std::string_view bytes, std::int64_t offset, const Read& read);

  private:
    static constexpr std::int64_t NO_FRAME = INT64_MAX;
    bool _take_header(std::string_view header);
    bool _knows_header(const Read& read);
    std::int64_t _frame_of(std::int64_t offset) const;
    std::int64_t _offset_in_frame(std::int64_t offset) const;

    std::int64_t _page_bytes = 0;  ///< 0: no header was seen yet
    bool _swapped = false;         ///< the checksums have another byte order than this machine
    std::int64_t _head_written = NO_FRAME;    ///< the frame whose head the last write was
    std::int64_t _unchecked_from = NO_FRAME;  ///< frames from here on have no checksum yet
};

}  // namespace codetext
