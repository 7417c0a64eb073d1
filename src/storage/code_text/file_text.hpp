#pragma once

// Reading an indexed file from disk. Private to the module.

#include <filesystem>
#include <optional>
#include <string>

#include "storage/code_text/segment.hpp"

namespace codetext::code_text {

/// The file's text: its bytes decoded as UTF-8 with replacement. None when it cannot be read or is
/// a symbolic link: the one place where such failures are absorbed, so that a file that is gone
/// since it was indexed merely has no match.
std::optional<std::string> _file_text(const std::filesystem::path& path);

/// The file's lines; none when it cannot be read, or when `needle` is given and the file's text
/// (its lower-case form unless `case_sensitive`) does not hold it. The needle is tested once
/// against the whole text, so a file without it is never split.
std::optional<Lines> _lines_holding(const std::filesystem::path& path,
                                    const std::optional<std::string>& needle, bool case_sensitive);

}  // namespace codetext::code_text
