#pragma once

// Checks the checksums of a database file's pages: the file is read straight through, past SQLite.

#include <cstdint>
#include <filesystem>
#include <vector>

namespace codetext {

struct PageCheck {
    bool is_database = false;           ///< false: nothing else is known
    bool has_checksums = false;         ///< false: no page was checked
    bool is_cut = false;                ///< the file is shorter than its header says
    std::int64_t pages = 0;             ///< that the file has
    std::int64_t damaged_pages = 0;     ///< that do not match their checksums
    std::vector<std::int64_t> damaged;  ///< the numbers, from 1, of the first MAX_NAMED of these
    static constexpr std::size_t MAX_NAMED = 50;
    bool is_whole() const { return is_database && !is_cut && damaged_pages == 0; }
};

/// Reads the file. A page that a running checkpoint writes meanwhile is read again. With a log
/// beside it, a file may be shorter than its header says.
///
/// REQUIRES: this process has no Database open at `path`. (It would lose its locks.)
/// Throws std::system_error.
PageCheck check_pages(const std::filesystem::path& path);

}  // namespace codetext
