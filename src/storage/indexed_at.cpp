// The time stands in the file and not in its stamp, for a copy of a tree gets new stamps. All times
// until the year 2286 have as many digits, so each overwrites the one before in its place: this
// takes no room on a full disk.

#include "storage/indexed_at.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <array>
#include <charconv>
#include <string>

#include "utils/wall_clock.hpp"

namespace codetext::schema {
namespace {

/// Its name begins with the database's, so it is removed with it.
constexpr const char* FILE_NAME = "code.db.indexed";
constexpr std::size_t DIGITS = 19;

Descriptor open_own_file(const Descriptor& directory, int access) {
    Descriptor file(::openat(directory.number(), FILE_NAME,
                             access | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
    struct stat status {};
    const bool is_own = file && ::fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode) &&
                        status.st_nlink == 1;
    if (!is_own) file.close();
    return file;
}

}  // namespace

std::optional<std::int64_t> indexed_at(const std::filesystem::path& root, Owners owners) {
    const Descriptor directory = open_index_directory(root, owners);
    if (!directory) return std::nullopt;
    const Descriptor file = open_own_file(directory, O_RDONLY);
    std::array<char, DIGITS> digits{};
    if (!file || ::pread(file.number(), digits.data(), DIGITS, 0) != std::ssize(digits)) {
        return std::nullopt;
    }
    std::int64_t time_ns = 0;
    const char* const end = digits.data() + DIGITS;
    const auto [stop, failure] = std::from_chars(digits.data(), end, time_ns);
    const bool is_time = failure == std::errc() && stop == end && time_ns > 0;
    return is_time && time_ns <= now_ns() ? std::optional(time_ns) : std::nullopt;
}

void set_indexed_at(const std::filesystem::path& root, Owners owners, std::int64_t time_ns) {
    const Descriptor directory = open_index_directory(root, owners);
    if (!directory) return;
    const Descriptor file = open_own_file(directory, O_WRONLY | O_CREAT);
    if (!file) return;
    const std::string text = fmt::format("{:0{}}\n", time_ns, DIGITS);
    [[maybe_unused]] const ssize_t written = ::pwrite(file.number(), text.data(), text.size(), 0);
}

}  // namespace codetext::schema
