#include "search/query/required_bytes.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

// A pattern without groups and alternatives is a row of parts that match one byte each, with their
// repetitions. Any parts in a row that match nothing but ASCII make required bytes: the union of
// their sets, as many times as they are sure to match. Those with the most bits of information are
// chosen. Each part is tried as the first, with no more parts after it than MAX_LENGTH, so the
// cost is linear in the pattern.
//
// A search for N bytes of a set tests every Nth byte of the text first, and goes backwards from one
// that is in the set: the bad-character rule of R. S. Boyer and J. S. Moore, "A fast string
// searching algorithm", Communications of the ACM 20(10), 1977. It tests no byte more than twice.

namespace codetext::search {

namespace {

using Bytes = std::bitset<256>;

/// Required bytes below these are too common for a search to gain by skipping.
constexpr std::size_t MIN_LENGTH = 4;
constexpr double MIN_BITS = 12;
/// Longer repetitions are taken for this many, and so are more parts in a row.
constexpr std::size_t MAX_LENGTH = 64;
/// In a very long pattern, the required bytes are looked for near its beginning.
constexpr std::size_t MAX_FIRST_PARTS = 4096;

void add_range(Bytes& bytes, char first, char last) {
    const std::size_t end = std::size_t{static_cast<unsigned char>(last)} + 1;
    for (std::size_t byte = static_cast<unsigned char>(first); byte < end; ++byte) bytes.set(byte);
}

/// How rare the bytes are: the bits of information that they have in random printable text.
double bits_of(const RequiredBytes& required) {
    constexpr double PRINTABLE = 95;
    return static_cast<double>(required.length) *
           std::log2(PRINTABLE / static_cast<double>(required.bytes.count()));
}

/// A part of a pattern that matches one byte, or an assertion, with its repetition.
struct Part {
    std::optional<Bytes> bytes;  ///< none: it matches more than ASCII, or no byte at all
    std::size_t at_least = 1;    ///< how many times it matches
};

// Reads a pattern part by part, and stops at the first that it does not understand.
class Parts {
  public:
    Parts(std::string_view pattern, bool case_sensitive)
        : _rest(pattern), _case_sensitive(case_sensitive) {}

    bool at_end() const { return _rest.empty(); }

    /// The next part; none when the pattern is not understood from here on.
    std::optional<Part> next() {
        Part part;
        if (!_take_bytes(part)) return std::nullopt;
        if (part.bytes) part.bytes = _folded(*part.bytes);
        if (!_take_repetition(part)) return std::nullopt;
        return part;
    }

  private:
    char _take() {
        const char c = _rest.front();
        _rest.remove_prefix(1);
        return c;
    }

    bool _take_bytes(Part& part) {
        const char c = _take();
        if (c < ' ' || c > '~') return false;
        switch (c) {
            case '\\':
                return _take_escape(part);
            case '[':
                return _take_class(part);
            case '.':
                return true;
            case '^':
            case '$':
                part.at_least = 0;
                return true;
            case '(':
            case ')':
            case '|':
            case '*':
            case '+':
            case '?':
            case '{':
                return false;
            default:
                part.bytes.emplace().set(static_cast<unsigned char>(c));
                return true;
        }
    }

    bool _take_escape(Part& part) {
        if (_rest.empty()) return false;
        const char c = _take();
        if (c == 'b') {
            part.at_least = 0;
        } else if (c == 'd') {
            add_range(part.bytes.emplace(), '0', '9');
        } else if (c == 'w') {
            _add_word(part.bytes.emplace());
        } else if (c > ' ' && c <= '~' && !_is_word(c)) {
            part.bytes.emplace().set(static_cast<unsigned char>(c));
        } else {
            return false;
        }
        return true;
    }

    // Understands single characters and ranges of them alone.
    bool _take_class(Part& part) {
        const std::size_t end = _rest.find(']', 1);
        if (end == std::string_view::npos) return false;
        std::string_view inside = _rest.substr(0, end);
        _rest.remove_prefix(end + 1);
        const bool plain =
            std::all_of(inside.begin(), inside.end(), [](char c) { return c >= ' ' && c <= '~'; });
        if (!plain || inside.find_first_of("\\[]^") != std::string_view::npos) return false;
        Bytes& bytes = part.bytes.emplace();
        while (!inside.empty()) {
            const bool is_range = inside.size() > 2 && inside[1] == '-';
            if (!is_range && inside.size() > 1 && inside[0] == '-') return false;
            const char last = inside[is_range ? 2 : 0];
            if (last < inside[0]) return false;
            add_range(bytes, inside[0], last);
            inside.remove_prefix(is_range ? 3 : 1);
        }
        return bytes.any();
    }

    bool _take_repetition(Part& part) {
        if (_rest.empty()) return true;
        const char c = _rest.front();
        if (c == '*' || c == '?') {
            part.at_least = 0;
        } else if (c == '{') {
            if (!_take_count(part)) return false;
        } else if (c != '+') {
            return true;
        }
        _take();
        if (!_rest.empty() && _rest.front() == '?') _take();
        // RE2 refuses a repetition of a repetition, or gives it another meaning.
        return _rest.empty() || std::string_view("*+?{").find(_rest.front()) == _rest.npos;
    }

    // {n}, {n,} or {n,m}, up to its brace.
    bool _take_count(Part& part) {
        const std::size_t end = _rest.find('}');
        if (end == std::string_view::npos) return false;
        const std::string_view count = _rest.substr(1, end - 1);
        const std::size_t comma = std::min(count.find(','), count.size());
        const std::string_view most = count.substr(std::min(comma + 1, count.size()));
        if (!_is_count(count.substr(0, comma)) || !(most.empty() || _is_count(most))) return false;
        std::size_t least = 0;
        std::from_chars(count.data(), count.data() + comma, least);
        part.at_least = part.at_least == 0 ? 0 : std::min(least, MAX_LENGTH);
        _rest.remove_prefix(end);
        return true;
    }

    // RE2 takes braces with anything else in them for plain text, also a number that begins with a
    // zero.
    static bool _is_count(std::string_view number) {
        constexpr std::size_t MOST_DIGITS = 4;  // RE2 refuses more than 1000
        return !number.empty() && number.size() <= MOST_DIGITS &&
               (number == "0" || number.front() != '0') &&
               number.find_first_not_of("0123456789") == std::string_view::npos;
    }

    // Where case is ignored U+212A may stand for a k and U+017F for an s.
    std::optional<Bytes> _folded(Bytes bytes) const {
        if (_case_sensitive) return bytes;
        for (std::size_t c = 'a'; c <= 'z'; ++c) {
            const bool either = bytes[c] || bytes[c - 'a' + 'A'];
            bytes[c] = bytes[c - 'a' + 'A'] = either;
        }
        return bytes['k'] || bytes['s'] ? std::nullopt : std::optional(bytes);
    }

    static bool _is_word(char c) {
        Bytes word;
        _add_word(word);
        return word[static_cast<unsigned char>(c)];
    }

    static void _add_word(Bytes& bytes) {
        add_range(bytes, 'a', 'z');
        add_range(bytes, 'A', 'Z');
        add_range(bytes, '0', '9');
        bytes.set('_');
    }

    std::string_view _rest;
    bool _case_sensitive;
};

// The rarest of the required bytes that begin with the part at `first`; none below MIN_BITS.
std::optional<RequiredBytes> rarest_from(const std::vector<Part>& parts, std::size_t first) {
    std::optional<RequiredBytes> rarest;
    double most_bits = MIN_BITS;
    RequiredBytes required{};
    const std::size_t end = std::min(parts.size(), first + MAX_LENGTH);
    for (std::size_t i = first; i < end && parts[i].bytes; ++i) {
        required.bytes |= *parts[i].bytes;
        required.length += parts[i].at_least;
        const double bits = bits_of(required);
        if (bits <= most_bits) continue;
        rarest = required;
        most_bits = bits;
    }
    return rarest;
}

std::optional<RequiredBytes> rarest_of(const std::vector<Part>& parts) {
    std::optional<RequiredBytes> rarest;
    for (std::size_t first = 0; first < std::min(parts.size(), MAX_FIRST_PARTS); ++first) {
        const std::optional<RequiredBytes> found = rarest_from(parts, first);
        if (found && (!rarest || bits_of(*found) > bits_of(*rarest))) rarest = found;
    }
    return rarest && rarest->length >= MIN_LENGTH ? rarest : std::nullopt;
}

}  // namespace

std::optional<RequiredBytes> required_bytes(std::string_view pattern, bool case_sensitive) {
    std::vector<Part> parts;
    Parts reader(pattern, case_sensitive);
    while (!reader.at_end()) {
        std::optional<Part> part = reader.next();
        if (!part) return std::nullopt;
        parts.push_back(*part);
    }
    // RE2 looks for the literal that a pattern begins with, at the speed of memchr.
    if (!parts.empty() && parts[0].bytes && parts[0].bytes->count() == 1 && parts[0].at_least > 0) {
        return std::nullopt;
    }
    return rarest_of(parts);
}

std::size_t find_required_bytes(std::string_view text, const RequiredBytes& required,
                                std::size_t from) {
    const auto holds = [&](std::size_t at) {
        return required.bytes[static_cast<unsigned char>(text[at])];
    };
    std::size_t begin = from;  // the bytes begin at no place before
    while (begin + required.length <= text.size()) {
        std::size_t at = begin + required.length;
        while (at > begin && holds(at - 1)) --at;
        if (at == begin) return begin;
        begin = at;
    }
    return std::string_view::npos;
}

}  // namespace codetext::search
