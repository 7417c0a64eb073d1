#pragma once

// A chunk as a reader gets it, whichever layout keeps it.
//
//   for (const ChunkRow& row : chunk_store::file_rows(db, first, end))
//       use(row.start_line, row.text.view());

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace codetext::chunk_store {

/// A stored chunk, or a part of the trigram index, that cannot be read back; the message names its
/// row.
class DamagedChunk : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A file has more text than a reader wanted to take into memory.
class TextTooLarge : public std::runtime_error {
  public:
    TextTooLarge() : std::runtime_error("a file has more text than was asked for") {}
};

/// Bytes of one file's text that a reader takes, where it does not say.
inline constexpr std::size_t ALL_TEXT = std::numeric_limits<std::size_t>::max();

class PackedFrame;

/// The text of a chunk, unpacked when somebody first looks at it. Copies share one text; several
/// threads may look at once.
class StoredText {
  public:
    explicit StoredText(std::string text);
    StoredText(std::shared_ptr<PackedFrame> frame, std::size_t position);
    /// The text; valid as long as this handle or a copy of it lives. Throws DamagedChunk.
    std::string_view view() const;
    /// Bytes of the text, known before it is unpacked.
    std::size_t size_bytes() const;

  private:
    std::shared_ptr<const std::string> _text;
    std::shared_ptr<PackedFrame> _frame;
    std::size_t _position = 0;
};

struct ChunkRow {
    std::int64_t rowid;
    std::int64_t start_line;  ///< number of its first line, from 1
    std::int64_t end_line;    ///< number of its last line, inclusive; start_line - 1 without a line
    StoredText text;
    bool last;  ///< no chunk row has the row id one above
};

}  // namespace codetext::chunk_store
