// Nearly every path has no "/" before "." or another "/", and no NUL. That is looked for eight
// bytes at a time, in the bytes and in those after them: what is set in both marks a place where a
// component must be read. Zero bytes are told exactly, byte by byte (H. S. Warren, "Hacker's
// Delight", 2nd edition, section 6-1).

#include "utils/path_below.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace codetext {

namespace {

constexpr std::uint64_t repeated(char c) {
    return std::uint64_t{0x0101010101010101} * static_cast<unsigned char>(c);
}

/// The high bit of each byte that is zero.
std::uint64_t zero_bytes(std::uint64_t word) {
    constexpr std::uint64_t LOW = repeated('\x7f');
    return ~(((word & LOW) + LOW) | word | LOW);
}

std::uint64_t bytes_equal(std::uint64_t word, char c) { return zero_bytes(word ^ repeated(c)); }

/// Whether eight bytes hold a NUL, or a "/" that another "/" or "." follows.
bool is_doubtful(std::uint64_t bytes, std::uint64_t following) {
    return (zero_bytes(bytes) | (bytes_equal(bytes, '/') &
                                 (bytes_equal(following, '/') | bytes_equal(following, '.')))) != 0;
}

bool needs_a_look(std::string_view path) {
    std::size_t at = 0;
    std::uint64_t bytes = 0, following = 0;
    for (; at + 9 <= path.size(); at += 8) {
        std::memcpy(&bytes, path.data() + at, 8);
        std::memcpy(&following, path.data() + at + 1, 8);
        if (is_doubtful(bytes, following)) return true;
    }
    // Fewer than nine bytes are left. What fills them up is no NUL, and follows a "/" at the end.
    char rest[9];
    std::memset(rest, '.', sizeof rest);
    std::memcpy(rest, path.data() + at, path.size() - at);
    std::memcpy(&bytes, rest, 8);
    std::memcpy(&following, rest + 1, 8);
    return is_doubtful(bytes, following);
}

bool has_good_components(std::string_view path) {
    while (true) {
        const std::size_t end = std::min(path.find('/'), path.size());
        const std::string_view component = path.substr(0, end);
        if (component.empty() || component == "." || component == "..") return false;
        if (component.find('\0') != std::string_view::npos) return false;
        if (end == path.size()) return true;
        path.remove_prefix(end + 1);
    }
}

}  // namespace

bool is_path_below(std::string_view path) {
    if (path.empty()) return false;
    const bool is_plain = path.front() != '/' && path.front() != '.' && !needs_a_look(path);
    return is_plain || has_good_components(path);
}

}  // namespace codetext
