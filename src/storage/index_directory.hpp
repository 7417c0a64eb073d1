#pragma once

// The directory in which a repository keeps its index. The tree around it may be a stranger's, and
// so may a directory of that name: no symbolic link is followed below the repository's root,
// nothing but regular files is opened, and an index that another user owns is not used unasked.
//
//   const Descriptor directory = schema::make_index_directory(root, schema::Owners::TRUSTED);

#include <filesystem>
#include <string_view>

#include "utils/descriptor.hpp"

namespace codetext::schema {

/// The directory, below a repository's root, that holds what codetext keeps there.
inline constexpr std::string_view INDEX_DIRECTORY = ".codetext";

/// The database file's place below the repository's root: two directories down.
std::filesystem::path index_path(const std::filesystem::path& root);

/// Whose index may be used.
enum class Owners {
    TRUSTED,  ///< one of this user, of root, or of the user who called sudo
    ANY,
};

/// Opens the directory of the database file; gives no descriptor when there is none. Throws
/// UnusableIndex when something else is in its place, or another user owns it.
Descriptor open_index_directory(const std::filesystem::path& root, Owners owners);

/// As open_index_directory, and makes it where there is none, for this user alone: an index holds
/// the text of the files. A .gitignore keeps git from listing it. Throws std::system_error when it
/// cannot be made.
Descriptor make_index_directory(const std::filesystem::path& root, Owners owners);

/// The directory in which searches leave requests for a watcher, below the index's. Results and
/// failures as for open_index_directory and make_index_directory.
Descriptor open_request_directory(const std::filesystem::path& root, Owners owners);
Descriptor make_request_directory(const std::filesystem::path& root, Owners owners);

/// What the names of requests begin with.
inline constexpr std::string_view REQUEST = "request-";
/// The file, in the index's directory, on which a watcher holds a lock.
inline constexpr const char* WATCHER = "watcher";

/// Throws UnusableIndex when the database at `path`, or a file that SQLite keeps beside it, is
/// there and is no regular file: a symbolic link may lead anywhere, and a FIFO would be waited for.
void check_database_files(const std::filesystem::path& path);

/// Removes the database and what SQLite keeps beside it, and leaves the directories. REQUIRES:
/// nobody else writes the index. Throws std::system_error when something cannot be removed.
void remove_database(const std::filesystem::path& root, Owners owners);

/// Removes the index and what belongs to it. Files in its directories that codetext has not made
/// stay there, and so do the directories then. REQUIRES: nobody writes the index. Throws
/// std::system_error when something cannot be removed.
void remove_index(const std::filesystem::path& root, Owners owners);

}  // namespace codetext::schema
