#pragma once

// Whether an index reads back whole and agrees with itself.
//
//   for (const std::string& problem : schema::verify(db)) report(problem);

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "storage/database.hpp"
#include "storage/database/page_check.hpp"

namespace codetext::schema {

/// Most problems that verify reports.
inline constexpr std::size_t MAX_PROBLEMS = 100;

struct Findings {
    std::vector<std::string> problems;     ///< a line each, at most MAX_PROBLEMS
    std::vector<std::int64_t> hurt_files;  ///< ids of files whose own rows are wrong
    bool is_beyond_files = false;          ///< more is wrong than the rows of these files
};

/// What is wrong with the index; no problem when it is whole. An
/// index is whole when SQLite finds no damage, every file's chunks follow each other from its first
/// row id and read back, files kept on disk have none, every chunk belongs to a file, the trigram
/// index has all that was written, and every trigram of a sample of the chunks leads to them. Reads
/// the whole index. Where SQLite finds damage, the tables and the files that are hurt are named.
Findings find_damage(const Database& db);
/// The problems that find_damage finds.
std::vector<std::string> verify(const Database& db);

/// What a check of the pages found, a line each.
std::vector<std::string> page_problems(const PageCheck& check);

/// The problems of the pages, and then of the index that they hold. Throws UnusableIndex and
/// DatabaseError where there is no index to verify. REQUIRES: as check_pages.
Findings find_damage_in_file(const std::filesystem::path& path);
/// The problems that find_damage_in_file finds.
std::vector<std::string> verify_file(const std::filesystem::path& path);

}  // namespace codetext::schema
