// Every step below the repository's root goes through the descriptor of the directory above it,
// with O_NOFOLLOW. What was looked at is then what is used: a directory that somebody exchanges for
// a link between two steps leads nowhere.
//
// SQLite alone opens the database by its path. check_database_files looks at the files right
// before, and SQLite refuses a link as the path's last component.

#include "storage/index_directory.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string>
#include <vector>

#include "storage/unusable_index.hpp"
#include "utils/directory_entries.hpp"
#include "utils/platform.hpp"
#include "utils/user.hpp"

namespace codetext::schema {
namespace fs = std::filesystem;

namespace {

constexpr const char* INDEX = "index";
constexpr const char* REQUESTS = "requests";
constexpr const char* IGNORE = ".gitignore";
constexpr std::string_view IGNORE_ALL = "*\n";
constexpr std::string_view DATABASE = "code.db";
/// What SQLite keeps beside a database.
constexpr std::array<std::string_view, 3> SIDE_FILES = {"-wal", "-shm", "-journal"};
constexpr int OPEN_DIRECTORY = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr mode_t FOR_THIS_USER = S_IRWXU;

[[noreturn]] void refuse(const fs::path& path, std::string_view fault) {
    throw UnusableIndex(
        fmt::format("{} is {}; move it away and run `codetext index`", path.string(), fault));
}

void check_owner(const struct stat& status, const fs::path& path, Owners owners) {
    if (owners == Owners::ANY || status.st_uid == 0 || is_this_user(status.st_uid)) return;
    throw UnusableIndex(
        fmt::format("{} belongs to another user (id {}), who may have put anything into it: pass "
                    "--any-owner to use it all the same",
                    path.string(), status.st_uid));
}

/// The directory `name` below `parent`; no descriptor when there is none.
Descriptor open_directory(int parent, const char* name, const fs::path& path, Owners owners) {
    Descriptor opened(::openat(parent, name, OPEN_DIRECTORY));
    if (!opened) {
        if (errno == ENOENT) return opened;
        if (says_nothing_is_there(errno)) refuse(path, "not a directory");
        throw_system_error("cannot open " + path.string());
    }
    struct stat status {};
    if (::fstat(opened.number(), &status) == -1) throw_system_error("cannot open " + path.string());
    check_owner(status, path, owners);
    return opened;
}

Descriptor make_directory(int parent, const char* name, const fs::path& path, Owners owners) {
    // One that is there already is opened and looked at like any other.
    if (::mkdirat(parent, name, FOR_THIS_USER) == -1 && errno != EEXIST) {
        throw_system_error("cannot make " + path.string());
    }
    Descriptor made = open_directory(parent, name, path, owners);
    if (!made) throw_system_error("cannot open " + path.string());
    return made;
}

/// An empty file was left by a full disk.
void write_ignore_file(const Descriptor& directory, const fs::path& path) {
    const Descriptor file(::openat(directory.number(), IGNORE,
                                   O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC,
                                   S_IRUSR | S_IWUSR));
    struct stat status {};
    if (!file || ::fstat(file.number(), &status) == -1) {
        if (says_nothing_is_there(errno)) refuse(path, "a symbolic link");
        throw_system_error("cannot write " + path.string());
    }
    if (!S_ISREG(status.st_mode)) refuse(path, "not a regular file");
    if (status.st_size > 0) return;
    const ssize_t written = ::write(file.number(), IGNORE_ALL.data(), IGNORE_ALL.size());
    if (written != std::ssize(IGNORE_ALL)) throw_system_error("cannot write " + path.string());
}

Descriptor open_root_directory(const fs::path& root) {
    Descriptor opened(::open(root.c_str(), platform::OPEN_FOR_LOOKUP | O_DIRECTORY | O_CLOEXEC));
    if (!opened) throw_system_error("cannot open " + root.string());
    return opened;
}

void remove(const Descriptor& directory, const char* name, int flags, const fs::path& path) {
    if (::unlinkat(directory.number(), name, flags) == 0) return;
    // A directory that holds what codetext has not made stays.
    if (errno == ENOENT || errno == ENOTEMPTY || errno == EEXIST) return;
    throw_system_error("cannot remove " + path.string());
}

/// Removes the files whose names begin with one of `beginnings`, in the order of these.
void remove_files(const Descriptor& directory, const fs::path& path,
                  std::initializer_list<std::string_view> beginnings) {
    std::vector<std::string> names;  // a directory is not changed while it is read
    each_entry(directory, [&](const dirent& entry) {
        names.emplace_back(static_cast<const char*>(entry.d_name));
        return true;
    });
    for (const std::string_view beginning : beginnings) {
        for (const std::string& name : names) {
            if (name.starts_with(beginning)) remove(directory, name.c_str(), 0, path / name);
        }
    }
}

}  // namespace

fs::path index_path(const fs::path& root) { return root / INDEX_DIRECTORY / INDEX / DATABASE; }

Descriptor open_index_directory(const fs::path& root, Owners owners) {
    const fs::path directory = root / INDEX_DIRECTORY;
    const Descriptor top = open_root_directory(root);
    const Descriptor outer =
        open_directory(top.number(), directory.filename().c_str(), directory, owners);
    if (!outer) return {};
    return open_directory(outer.number(), INDEX, directory / INDEX, owners);
}

Descriptor make_index_directory(const fs::path& root, Owners owners) {
    const fs::path directory = root / INDEX_DIRECTORY;
    const Descriptor top = open_root_directory(root);
    const Descriptor outer =
        make_directory(top.number(), directory.filename().c_str(), directory, owners);
    write_ignore_file(outer, directory / IGNORE);
    return make_directory(outer.number(), INDEX, directory / INDEX, owners);
}

Descriptor open_request_directory(const fs::path& root, Owners owners) {
    const Descriptor directory = open_index_directory(root, owners);
    if (!directory) return {};
    const fs::path path = index_path(root).replace_filename(REQUESTS);
    return open_directory(directory.number(), REQUESTS, path, owners);
}

Descriptor make_request_directory(const fs::path& root, Owners owners) {
    const Descriptor directory = make_index_directory(root, owners);
    const fs::path path = index_path(root).replace_filename(REQUESTS);
    return make_directory(directory.number(), REQUESTS, path, owners);
}

void check_database_files(const fs::path& path) {
    struct stat status {};
    const auto check = [&status](const fs::path& file) {
        if (::lstat(file.c_str(), &status) == -1 || S_ISREG(status.st_mode)) return;
        refuse(file, S_ISLNK(status.st_mode) ? "a symbolic link" : "not a regular file");
    };
    check(path);
    for (const std::string_view suffix : SIDE_FILES) check(path.string() + std::string(suffix));
}

void remove_database(const fs::path& root, Owners owners) {
    const Descriptor directory = open_index_directory(root, owners);
    if (directory) remove_files(directory, index_path(root).parent_path(), {DATABASE});
}

void remove_index(const fs::path& root, Owners owners) {
    const fs::path path = root / INDEX_DIRECTORY;
    const Descriptor top = open_root_directory(root);
    const Descriptor outer = open_directory(top.number(), path.filename().c_str(), path, owners);
    if (!outer) return;
    if (const Descriptor inner = open_directory(outer.number(), INDEX, path / INDEX, owners)) {
        if (const Descriptor requests = open_request_directory(root, owners)) {
            remove_files(requests, path / INDEX / REQUESTS, {REQUEST});
            remove(inner, REQUESTS, AT_REMOVEDIR, path / INDEX / REQUESTS);
        }
        // The lock goes last: whoever makes a new one must find nothing of the old index.
        remove_files(inner, path / INDEX, {DATABASE, WATCHER, "lock"});
    }
    remove(outer, INDEX, AT_REMOVEDIR, path / INDEX);
    remove(outer, IGNORE, 0, path / IGNORE);
    remove(top, path.filename().c_str(), AT_REMOVEDIR, path);
}

}  // namespace codetext::schema
