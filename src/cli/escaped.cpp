#include "cli/escaped.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>

#include "utils/unicode.hpp"

// Both forms go through the text unit by unit: a well-formed sequence of UTF-8, or a byte that
// begins none.

namespace codetext::cli {
namespace {

struct Unit {
    std::string_view bytes;
    std::uint32_t code_point;  ///< of a byte that begins no sequence: the byte
    bool well_formed;
};

Unit unit_at(std::string_view text, std::size_t at) {
    const std::size_t size = unicode::sequence_bytes(text.substr(at));
    if (size == 0) return {text.substr(at, 1), static_cast<unsigned char>(text[at]), false};
    constexpr unsigned char FIRST_BYTE_BITS[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    std::uint32_t code_point = static_cast<unsigned char>(text[at]) & FIRST_BYTE_BITS[size];
    for (std::size_t i = 1; i < size; ++i) {
        code_point = code_point << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3F);
    }
    return {text.substr(at, size), code_point, true};
}

/// Control characters (C0, DEL, C1), which a terminal obeys; U+2028 and U+2029, which end a line;
/// and the characters that change the direction of text (Unicode Standard Annex #9): U+061C,
/// U+200E, U+200F, U+202A to U+202E and U+2066 to U+2069, which make a text look like another one.
bool is_harmful(const Unit& unit) {
    const auto between = [&](std::uint32_t first, std::uint32_t last) {
        return first <= unit.code_point && unit.code_point <= last;
    };
    return !unit.well_formed || between(0, 0x1F) || between(0x7F, 0x9F) || between(0x61C, 0x61C) ||
           between(0x200E, 0x200F) || between(0x2028, 0x202E) || between(0x2066, 0x2069);
}

/// Calls `take` with each unit.
template <typename Take>
void for_units(std::string_view text, Take take) {
    for (std::size_t at = 0; at < text.size();) {
        const Unit unit = unit_at(text, at);
        take(unit);
        at += unit.bytes.size();
    }
}

bool needs_quotes(std::string_view path) {
    // Nearly every path is of these alone.
    const auto is_plain = [](char c) { return c > '"' && c < 0x7F; };
    if (std::all_of(path.begin(), path.end(), is_plain)) return false;
    bool harmful = path.starts_with('"');
    for_units(path, [&](const Unit& unit) { harmful = harmful || is_harmful(unit); });
    return harmful;
}

void append_quoted(std::string& out, const Unit& unit) {
    constexpr std::string_view NAMED = "\a\b\t\n\v\f\r\"\\", NAMES = "abtnvfr\"\\";
    const std::size_t name = NAMED.find(unit.bytes);
    if (name != NAMED.npos) {
        out.append({'\\', NAMES[name]});
    } else if (is_harmful(unit)) {
        for (const char byte : unit.bytes) {
            fmt::format_to(std::back_inserter(out), "\\{:03o}", static_cast<unsigned char>(byte));
        }
    } else {
        out.append(unit.bytes);
    }
}

/// Whether `digits` are two hexadecimal ones, and which byte they are.
bool is_hexadecimal(std::string_view digits, unsigned char& byte) {
    const char* end = digits.data() + digits.size();
    return digits.size() == 2 && std::from_chars(digits.data(), end, byte, 16).ptr == end;
}

}  // namespace

void append_escaped(std::string& out, std::string_view text) {
    for_units(text, [&](const Unit& unit) {
        if (unit.code_point == '\t' || !is_harmful(unit)) {
            out.append(unit.bytes);
        } else if (unit.code_point == '\n') {
            out.append("\\n");
        } else {
            const bool is_byte = unit.bytes.size() == 1;
            fmt::format_to(std::back_inserter(out),
                           fmt::runtime(is_byte ? "\\x{:02x}" : "<U+{:04X}>"), unit.code_point);
        }
    });
}

std::string escaped(std::string_view text) {
    std::string result;
    append_escaped(result, text);
    return result;
}

std::string unescaped(std::string_view text) {
    constexpr std::string_view NAMES = "nrt0\\", NAMED{"\n\r\t\0\\", NAMES.size()};
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char next = text[at] == '\\' && at + 1 < text.size() ? text[at + 1] : ' ';
        unsigned char byte = 0;
        if (const std::size_t name = NAMES.find(next); name != NAMES.npos) {
            result += NAMED[name];
            at += 1;
        } else if (next == 'x' && is_hexadecimal(text.substr(at + 2, 2), byte)) {
            result += static_cast<char>(byte);
            at += 3;
        } else {
            result += text[at];
        }
    }
    return result;
}

std::string quoted_path(std::string path) {
    if (!needs_quotes(path)) return path;
    std::string quoted = "\"";
    for_units(path, [&](const Unit& unit) { append_quoted(quoted, unit); });
    return quoted + '"';
}

}  // namespace codetext::cli
