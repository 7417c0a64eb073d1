// The form is "PROCESS WORK SECONDS\n", for example "4711 index 1763921000". The old text goes
// first, so that what a full disk keeps out leaves none of it.

#include "indexer/run/lock_holder.hpp"

#include <fmt/format.h>
#include <sys/stat.h>

#include <array>
#include <charconv>
#include <csignal>
#include <limits>
#include <string>

#include "utils/wall_clock.hpp"

namespace codetext::indexer {
namespace {

struct Name {
    Work work;
    std::string_view word;     ///< in the file
    std::string_view command;  ///< for people
};

constexpr std::array<Name, 6> NAMES = {{{Work::INDEX, "index", "codetext index"},
                                        {Work::UPGRADE, "upgrade", "codetext upgrade"},
                                        {Work::REPAIR, "repair", "codetext verify --repair"},
                                        {Work::CLEAN, "clean", "codetext clean"},
                                        {Work::WATCH, "watch", "codetext watch"},
                                        {Work::FRESH, "fresh", "codetext search code --fresh"}}};

const Name& name_of(Work work) { return NAMES[static_cast<std::size_t>(work)]; }

constexpr std::size_t MOST_BYTES = 64;

bool is_own_file(const Descriptor& file) {
    struct stat status {};
    return ::fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

/// Takes what is before `end` off the text; nothing without an `end`.
std::optional<std::string_view> take_until(std::string_view& text, char end) {
    const std::size_t at = text.find(end);
    if (at == std::string_view::npos) return std::nullopt;
    const std::string_view taken = text.substr(0, at);
    text.remove_prefix(at + 1);
    return taken;
}

/// A decimal number from 1 to `most`.
std::optional<std::int64_t> number_in(std::optional<std::string_view> digits, std::int64_t most) {
    if (!digits) return std::nullopt;
    std::int64_t number = 0;
    const char* const end = digits->data() + digits->size();
    const auto [stop, failure] = std::from_chars(digits->data(), end, number);
    const bool is_whole = failure == std::errc() && stop == end;
    return is_whole && number >= 1 && number <= most ? std::optional(number) : std::nullopt;
}

std::int64_t now_s() { return now_ns() / NS_PER_S; }

bool lives(std::int64_t process) {
    return ::kill(static_cast<pid_t>(process), 0) == 0 || errno == EPERM;
}

std::optional<LockHolder> parsed(std::string_view text) {
    const auto process = number_in(take_until(text, ' '), std::numeric_limits<pid_t>::max());
    const auto word = take_until(text, ' ');
    const auto since_s = number_in(take_until(text, '\n'), now_s());
    if (!process || !word || !since_s) return std::nullopt;
    for (const Name& name : NAMES) {
        if (name.word == *word) return LockHolder{*process, name.work, *since_s};
    }
    return std::nullopt;
}

}  // namespace

std::string_view command_of(Work work) { return name_of(work).command; }

void write_holder(const Descriptor& file, Work work, std::int64_t offset) {
    if (!is_own_file(file) || ::ftruncate(file.number(), offset) == -1) return;
    const std::string text = fmt::format("{} {} {}\n", ::getpid(), name_of(work).word, now_s());
    [[maybe_unused]] const ssize_t written =
        ::pwrite(file.number(), text.data(), text.size(), offset);
}

std::optional<LockHolder> read_holder(const Descriptor& file, std::int64_t offset) {
    std::array<char, MOST_BYTES> bytes{};
    const ssize_t count = ::pread(file.number(), bytes.data(), bytes.size(), offset);
    if (count <= 0) return std::nullopt;
    const auto holder = parsed({bytes.data(), static_cast<std::size_t>(count)});
    return holder && lives(holder->process) ? holder : std::nullopt;
}

}  // namespace codetext::indexer
