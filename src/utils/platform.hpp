#pragma once

// What Linux has and other systems may lack, with a substitute for those. Only the Linux side is
// compiled and tested by us: the substitutes are untried.
//
//   const Descriptor directory(::open(path.c_str(), platform::OPEN_FOR_LOOKUP | O_CLOEXEC));

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>

#if defined(__linux__)
#include <sys/mman.h>
#endif
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "utils/descriptor.hpp"

extern char** environ;  // not every system's <unistd.h> declares it

namespace codetext::platform {

/// Opens a directory only to look up what is in it; that takes no permission to read it.
#if defined(O_PATH)
inline constexpr int OPEN_FOR_LOOKUP = O_PATH;
#elif defined(O_SEARCH)
inline constexpr int OPEN_FOR_LOOKUP = O_SEARCH;
#else
inline constexpr int OPEN_FOR_LOOKUP = O_RDONLY;  // takes that permission
#endif

/// In nanoseconds since the epoch. It wraps around for a time that 64 bits cannot hold (from the
/// year 2262 on): it is compared, never shown.
inline std::int64_t nanoseconds_of(const struct timespec& time) {
    constexpr std::uint64_t NANOSECONDS = 1'000'000'000;
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(time.tv_sec) * NANOSECONDS +
                                     static_cast<std::uint64_t>(time.tv_nsec));
}

/// When the file's content was changed last, as nanoseconds_of gives it.
inline std::int64_t modification_time_ns(const struct stat& status) {
#if defined(__APPLE__)
    return nanoseconds_of(status.st_mtimespec);
#else
    return nanoseconds_of(status.st_mtim);
#endif
}

/// When the file's content, or what the file system says of it, was changed last, likewise.
inline std::int64_t change_time_ns(const struct stat& status) {
#if defined(__APPLE__)
    return nanoseconds_of(status.st_ctimespec);
#else
    return nanoseconds_of(status.st_ctim);
#endif
}

/// When the file was made, as nanoseconds_of gives it; none where the file system does not tell, or
/// with errno set for a file that cannot be looked at. Follows no link.
inline std::optional<std::int64_t> creation_time_ns(const Descriptor& directory, const char* name) {
#if defined(__linux__)
    struct statx status {};
    if (::statx(directory.number(), name, AT_SYMLINK_NOFOLLOW, STATX_BTIME, &status) == -1 ||
        (status.stx_mask & STATX_BTIME) == 0) {
        return std::nullopt;
    }
    return nanoseconds_of({.tv_sec = static_cast<time_t>(status.stx_btime.tv_sec),
                           .tv_nsec = static_cast<long>(status.stx_btime.tv_nsec)});
#elif defined(__APPLE__)
    struct stat status {};
    if (::fstatat(directory.number(), name, &status, AT_SYMLINK_NOFOLLOW) == -1) {
        return std::nullopt;
    }
    return nanoseconds_of(status.st_birthtimespec);
#else
    static_cast<void>(directory), static_cast<void>(name);
    return std::nullopt;
#endif
}

/// A file that has no name and goes with its last descriptor; no descriptor, and errno, on failure.
/// Not inherited by programs that this one runs.
inline Descriptor unnamed_file() {
#if defined(__linux__)
    return Descriptor(::memfd_create("unnamed", MFD_CLOEXEC));
#else
    std::FILE* file = std::tmpfile();
    if (file == nullptr) return {};
    Descriptor copy(::fcntl(::fileno(file), F_DUPFD_CLOEXEC, 0));
    std::fclose(file);
    return copy;
#endif
}

/// As pipe(2); neither end is inherited. Without pipe2, a program that another thread starts at the
/// same moment may inherit them.
inline int make_pipe(std::array<int, 2>& ends) {
#if defined(__APPLE__)
    if (::pipe(ends.data()) == -1) return -1;
    for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
    return 0;
#else
    return ::pipe2(ends.data(), O_CLOEXEC);
#endif
}

/// Gives freed memory back to the system, for a program that will wait: others need it more.
inline void give_memory_back() {
#if defined(__GLIBC__)
    ::malloc_trim(0);
#endif
}

}  // namespace codetext::platform
