#pragma once

// A chunk: the unit in which an index keeps the text of a file.

#include <cstdint>
#include <string>

namespace codetext {

/// A run of whole lines of one file, joined by one LF each, none after the last.
struct Chunk {
    std::int64_t start_line;  ///< number of the first line, from 1
    std::int64_t end_line;    ///< number of the last line, inclusive; 0 for a file without a line
    std::string text;
    friend bool operator==(const Chunk&, const Chunk&) = default;
};

}  // namespace codetext
