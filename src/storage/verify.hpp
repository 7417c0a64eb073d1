#pragma once

// Whether an index reads back whole and agrees with itself.
//
//   for (const std::string& problem : schema::verify(db)) report(problem);

#include <string>
#include <vector>

#include "storage/database.hpp"

namespace codetext::schema {

/// Most problems that verify reports.
inline constexpr std::size_t MAX_PROBLEMS = 100;

/// What is wrong with the index, a line each, at most MAX_PROBLEMS; empty when it is whole. An
/// index is whole when SQLite finds no damage, every file's chunks follow each other from its first
/// row id and read back, files kept on disk have none, every chunk belongs to a file, and every
/// trigram of a sample of the chunks leads to them. Reads the whole index, unless SQLite finds
/// damage.
std::vector<std::string> verify(const Database& db);

}  // namespace codetext::schema
