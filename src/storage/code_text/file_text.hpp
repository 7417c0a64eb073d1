#pragma once

// Reading an indexed file from disk. Private to the module.

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "storage/code_text/segment.hpp"
#include "utils/fsio.hpp"

namespace codetext::code_text {

/// Gives the whole content of a file. Failures as those of fsio::read_bytes_no_follow, and
/// chunk_store::TextTooLarge for a file of more than `most_bytes`.
using FileReader =
    std::function<std::string(const std::filesystem::path& path, std::size_t most_bytes)>;
/// Reads with fsio::read_bytes_no_follow.
std::string read_whole_file(const std::filesystem::path& path, std::size_t most_bytes);

using ReadFile = std::function<std::string(const std::filesystem::path&)>;

/// The file's text: its bytes decoded as UTF-8 with replacement. None when the file cannot be read
/// or is a symbolic link (std::system_error, std::invalid_argument). This is the one place that
/// absorbs such a failure: a file that has gone since it was indexed merely has no match. Any other
/// exception passes.
std::optional<std::string> _file_text(const std::filesystem::path& path,
                                      const ReadFile& read = fsio::read_bytes_no_follow);

/// The file's lines; none when it cannot be read, or when `needle` is given and the file's text
/// (its lower-case form unless `case_sensitive`) does not hold it. The needle is tested once
/// against the whole text, so a file without it is never split.
std::optional<Lines> _lines_holding(const std::filesystem::path& path,
                                    const std::optional<std::string>& needle, bool case_sensitive,
                                    const ReadFile& read = fsio::read_bytes_no_follow);

}  // namespace codetext::code_text
