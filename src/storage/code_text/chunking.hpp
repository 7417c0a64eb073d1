#pragma once

// How a file's text is cut into chunks, measured, and read back.
//
//   for (const Chunk& chunk : code_text::code_chunks("one\r\ntwo\n"))
//       store(chunk.start_line, chunk.end_line, chunk.text);   // 1, 2, "one\ntwo"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "storage/chunk.hpp"
#include "storage/code_text/segment.hpp"

namespace codetext::code_text {

using codetext::Chunk;

/// Most lines that one chunk holds.
inline constexpr std::int64_t CODE_CHUNK_LINES = 64;

/// The chunks of a text, in line order: every one but the last holds CODE_CHUNK_LINES lines, and a
/// text without a line has the one chunk (1, 0, ""). Never empty.
std::vector<Chunk> code_chunks(std::string text);

/// UTF-8 bytes of the text as its chunks hold it: its lines with one LF between each two. A lone
/// surrogate counts as one byte. Not the size on disk: CR LF counts one, a final boundary nothing.
std::int64_t stored_text_bytes(std::string text);

/// The lines of one stored chunk: none when `end_line` is less than `start_line` (the text is not
/// looked at), otherwise the text split at every LF. The numbers are not compared further.
Lines _chunk_lines(std::int64_t start_line, std::int64_t end_line, chunk_store::StoredText text);

}  // namespace codetext::code_text
