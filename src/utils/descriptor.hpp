#pragma once

// An open file descriptor that closes itself.
//
//   const Descriptor directory(::openat(AT_FDCWD, path.c_str(), O_DIRECTORY | O_CLOEXEC));
//   if (!directory) throw_system_error("cannot open " + path);

#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace codetext {

class Descriptor {
  public:
    Descriptor() = default;
    /// Takes over `number`, which may be the -1 of a call that failed.
    explicit Descriptor(int number) : _number(number) {}
    Descriptor(Descriptor&& other) noexcept : _number(std::exchange(other._number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(_number, other._number);
        return *this;
    }
    ~Descriptor() { close(); }

    explicit operator bool() const { return _number != -1; }
    int number() const { return _number; }
    /// Gives the descriptor away: whoever calls closes it.
    int release() { return std::exchange(_number, -1); }
    void close() {
        if (_number != -1) ::close(std::exchange(_number, -1));
    }

  private:
    int _number = -1;
};

/// Whether errno's value says that no file is at a path, or that a symbolic link was not followed.
inline bool says_nothing_is_there(int error) {
    return error == ENOENT || error == ENOTDIR || error == ELOOP;
}

/// Whether errno's value tells of the machine, not of the file that was asked for: it lacks
/// descriptors, memory or room, or its disk fails. To go on as if the file were unreadable would
/// lose files without a word.
inline bool is_machine_failure(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == ENOSPC || error == EIO;
}

/// Throws std::system_error with errno's code and `doing` as its message.
[[noreturn]] inline void throw_system_error(const std::string& doing) {
    throw std::system_error(errno, std::system_category(), doing);
}

}  // namespace codetext
