#pragma once

// The text source that reads files from disk when the search asks for them.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "storage/code_text/segment.hpp"

namespace codetext::code_text {

/// Reads each file whole, as one segment, and holds the lines of the last one. A file that cannot
/// be read, or whose text does not hold a plain search's needle, has no segment and no line; that
/// answer is held too. Serves one search at a time; a copy serves another thread of it.
class DiskText {
  public:
    /// `needle` is none for a regular-expression search, and lower-cased by the caller when the
    /// search ignores case. Reads nothing.
    DiskText(std::filesystem::path repo_root, std::optional<std::string> needle,
             bool case_sensitive);

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
    std::optional<std::pair<std::int64_t, std::optional<Lines>>> _read;
};

}  // namespace codetext::code_text
