#pragma once

// Who runs the program.

#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace codetext {

/// The user who called sudo, when this is root.
inline std::optional<uid_t> user_behind_sudo() {
    const char* text = std::getenv("SUDO_UID");
    if (::geteuid() != 0 || text == nullptr) return std::nullopt;
    uid_t user = 0;
    const std::string_view digits = text;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), user);
    if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
    return user;
}

/// Whether what `user` owns belongs to the person who runs the program: this process's user, or the
/// one who called sudo. git's rule for repositories is the same.
inline bool is_this_user(uid_t user) { return user == ::geteuid() || user == user_behind_sudo(); }

}  // namespace codetext
