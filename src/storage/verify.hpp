#pragma once

// Whether an index reads back whole and agrees with itself.

#include <string>
#include <vector>

#include "storage/database.hpp"

namespace codetext::schema {

/// Most problems that verify reports.
inline constexpr std::size_t MAX_PROBLEMS = 100;

/// What is wrong with the index, a line each, at most MAX_PROBLEMS; nothing when it is whole:
/// SQLite finds no damage, every file's chunks follow each other from its first row id and read
/// back, files kept on disk have none, no chunk is without a file, and every trigram of a sample of
/// the chunks leads to them. Reads the whole index; what SQLite finds damaged, no further.
std::vector<std::string> verify(const Database& db);

}  // namespace codetext::schema
