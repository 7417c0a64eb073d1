#pragma once

// The text source that reads files from disk when the search asks for them.
//
//   code_text::DiskText source(root, "needle", true);
//   for (const Segment& segment : source.segments(file.file_id, file.path)) use(segment.lines);

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "storage/code_text/file_text.hpp"
#include "storage/code_text/segment.hpp"

namespace codetext::code_text {

/// Reads each file whole, as one segment, and holds the lines of the last one. A file that cannot
/// be read, or whose text does not hold a plain search's needle, has no segment and no line; it
/// holds that answer too. One source serves one thread; a copy serves another.
class DiskText {
  public:
    /// `needle` is none for a regular-expression search, and lower-cased by the caller when the
    /// search ignores case. `read` gives the content of a file. Reads nothing.
    DiskText(std::filesystem::path repo_root, std::optional<std::string> needle,
             bool case_sensitive, FileReader read = read_whole_file);

    /// From now on a file of more than `bytes` throws chunk_store::TextTooLarge.
    void limit_text(std::size_t bytes) { _most_bytes = bytes; }

    /// None or one segment. `path` is relative to the root (an absolute one replaces it) and is not
    /// looked at when `file_id` is the file read last.
    SegmentList segments(std::int64_t file_id, const std::string& path);
    /// Every line of the file, line 1 first: the very list of its segment, or a new empty list.
    Lines lines(std::int64_t file_id, const std::string& path);

  private:
    const std::optional<Lines>& _load(std::int64_t file_id, const std::string& path);

    std::filesystem::path _root;
    std::optional<std::string> _needle;
    bool _case_sensitive;
    FileReader _read_file;
    std::size_t _most_bytes = chunk_store::ALL_TEXT;  ///< of one file
    std::optional<std::pair<std::int64_t, std::optional<Lines>>> _read;
};

}  // namespace codetext::code_text
