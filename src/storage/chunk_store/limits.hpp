#pragma once

// What no index of ours goes beyond. An index may come from a stranger: whatever is read of it is
// held against these numbers before it is added, multiplied, or given memory. Not for users of the
// library.

#include <cstddef>
#include <cstdint>

#include "storage/database/database.hpp"

namespace codetext::chunk_store {

/// Most bytes of text that the chunks of one file hold. A file with more stays on disk.
inline constexpr std::size_t MAX_FILE_TEXT_BYTES = std::size_t{256} << 20;
/// Most bytes that MAX_FILE_TEXT_BYTES take in frames.
inline constexpr std::size_t MAX_FILE_FRAME_BYTES = std::size_t{258} << 20;
/// Most bytes of a path: more than any system opens.
inline constexpr std::size_t MAX_PATH_BYTES = std::size_t{1} << 16;
/// No line has a greater number. It leaves room for sums of a few.
inline constexpr std::int64_t MAX_LINE_NUMBER = std::int64_t{1} << 40;

/// Adds up sizes of one file's chunks.
class SizeLimit {
  public:
    SizeLimit(std::int64_t file_id, std::size_t limit_bytes)
        : _file_id(file_id), _left_bytes(limit_bytes) {}
    /// Throws DamagedChunk when the file has more than the limit.
    void take(std::size_t bytes) {
        if (bytes > _left_bytes) _refuse();
        _left_bytes -= bytes;
    }

  private:
    [[noreturn]] void _refuse() const;
    std::int64_t _file_id;
    std::size_t _left_bytes;
};

/// Throws DamagedChunk unless both numbers of a chunk row are line numbers.
void check_lines(std::int64_t rowid, std::int64_t start_line, std::int64_t end_line);

/// Tells of damage at a row.
[[noreturn]] void throw_damage(const char* what, std::int64_t id, const char* detail);

/// Adds up sizes of values that lie in the database as they are, each once. Pages that stand in
/// several places of a tree, or of several rows, can give more than the file has bytes.
class DatabaseLimit {
  public:
    explicit DatabaseLimit(const Database& db) : _db(&db) {}
    /// Throws DatabaseError (DAMAGED) when all that was taken is more than the database holds.
    void take(std::size_t bytes) {
        _bytes += bytes;
        if (_bytes > _limit_bytes) _look();
    }

  private:
    void _look();
    const Database* _db;
    std::size_t _bytes = 0;
    std::size_t _limit_bytes = 1 << 20;  ///< the size is asked for when this is passed
};

/// Row ids that come in order. In a damaged tree they come again, and so on for ever.
class Ascending {
  public:
    explicit Ascending(const char* what) : _what(what) {}
    /// Throws DamagedChunk unless `id` is greater than the one before.
    void take(std::int64_t id) {
        if (_has_last && id <= _last) throw_damage(_what, id, "its rows are not in order");
        _last = id;
        _has_last = true;
    }

  private:
    const char* _what;
    std::int64_t _last = 0;
    bool _has_last = false;
};

}  // namespace codetext::chunk_store
