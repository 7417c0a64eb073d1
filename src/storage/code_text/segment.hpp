#pragma once

// What a text source hands out: runs of consecutive lines of one file. Lists are cheap handles
// whose copies share one immutable list.
//
//   for (const Segment& segment : segments)
//       for (std::string_view line : segment.lines) use(segment.first, line);

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "storage/chunk_store/chunk_row.hpp"

namespace codetext::code_text {

/// Lines in a row, without their boundaries: one text in which LF alone separates them.
///
/// The text behind it may be unpacked when somebody first looks at it; views stay valid as long as
/// this handle or a copy of it lives. Elements are UTF-8. Several threads may read one list.
class Lines {
  public:
    class Iterator;

    /// An empty list, unlike any other list.
    Lines();
    /// Splits at every LF, and only there: k LFs give k + 1 lines, the empty text one empty line.
    explicit Lines(std::string joined);
    explicit Lines(chunk_store::StoredText joined);
    /// The lines of a text, or the empty list for none.
    static Lines from(std::optional<std::string> joined);

    bool empty() const;
    /// Number of lines. The first call looks through the whole text.
    std::size_t size() const;
    /// The line at `line_index`, from 0. Throws std::out_of_range. Looks through the text up to
    /// that line, once.
    std::string_view operator[](std::size_t line_index) const;
    /// The lines from `first_index` to `last_index` (both from 0, inclusive) that there are. Looks
    /// through the text up to the last of them, once.
    std::vector<std::string_view> slice(std::size_t first_index, std::size_t last_index) const;
    /// All lines in order; lines that the caller does not reach cost nothing.
    Iterator begin() const;
    std::default_sentinel_t end() const { return {}; }

    /// The lines joined by one LF each; empty both for no line and for one empty line.
    std::string_view text() const;

    /// Bytes of that text, known before it is unpacked.
    std::size_t size_bytes() const;

    /// True when both handles are of one list, not merely of equal ones.
    bool same_list(const Lines& other) const { return _list == other._list; }
    friend bool operator==(const Lines& one, const Lines& other);

  private:
    class List;
    std::shared_ptr<const List> _list;
};

class Lines::Iterator {
  public:
    using value_type = std::string_view;
    using difference_type = std::ptrdiff_t;
    std::string_view operator*() const { return _rest.substr(0, _length); }
    Iterator& operator++();
    void operator++(int) { ++*this; }
    friend bool operator==(const Iterator& it, std::default_sentinel_t) { return it._at_end; }

  private:
    friend class Lines;
    void _measure();
    std::string_view _rest;  ///< from the current line's first byte on
    std::size_t _length = 0;
    bool _at_end = true;
};

/// Lines of a file in a row, where a search looks for matches.
struct Segment {
    std::int64_t first;  ///< the file's number, from 1, of the first of `lines`
    Lines lines;         ///< element i (from 0) is line first + i of the file
    bool last;           ///< no line of the file follows
    friend bool operator==(const Segment&, const Segment&) = default;
};

/// A shared, immutable list of segments.
class SegmentList {
  public:
    /// An empty list, unlike any other list.
    SegmentList() : SegmentList(std::vector<Segment>{}) {}
    explicit SegmentList(std::vector<Segment> segments)
        : _segments(std::make_shared<const std::vector<Segment>>(std::move(segments))) {}
    std::size_t size() const { return _segments->size(); }
    bool empty() const { return _segments->empty(); }
    const Segment& operator[](std::size_t index) const { return _segments->at(index); }
    auto begin() const { return _segments->begin(); }
    auto end() const { return _segments->end(); }
    bool same_list(const SegmentList& other) const { return _segments == other._segments; }

  private:
    friend class ChunkText;
    explicit SegmentList(std::shared_ptr<const std::vector<Segment>> segments)
        : _segments(std::move(segments)) {}
    std::shared_ptr<const std::vector<Segment>> _segments;
};

}  // namespace codetext::code_text
