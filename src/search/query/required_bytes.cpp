#include "search/query/required_bytes.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

namespace codetext::search {

namespace {

using Bytes = std::bitset<256>;

/// Below these, what can be skipped over, or left out, is not worth the looking.
constexpr std::size_t MIN_LENGTH = 4;
constexpr double MIN_BITS = 12;
/// More repetitions are taken for this many.
constexpr std::size_t MAX_LENGTH = 64;

void add_range(Bytes& bytes, char first, char last) {
    for (int byte = first; byte <= last; ++byte) bytes.set(static_cast<std::size_t>(byte));
}

/// How rare a run is: bits that it takes to single it out of random printable text.
double bits_of(const RequiredBytes& run) {
    constexpr double PRINTABLE = 95;
    return static_cast<double>(run.length) *
           std::log2(PRINTABLE / static_cast<double>(run.bytes.count()));
}

/// A part of a pattern that matches a byte at a time, with its repetition.
struct Part {
    std::optional<Bytes> bytes;  ///< none: it matches more than ASCII, or no byte at all
    std::size_t at_least = 1;
};

// Reads a pattern part by part. What it does not understand it does not guess at.
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
            add_word(part.bytes.emplace());
        } else if (c > ' ' && c <= '~' && !is_word(c)) {
            part.bytes.emplace().set(static_cast<unsigned char>(c));
        } else {
            return false;
        }
        return true;
    }

    // Single characters and ranges of them; a class with anything else is not understood.
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
        // RE2 refuses a repetition of a repetition, or takes it for what is not meant here.
        return _rest.empty() || std::string_view("*+?{").find(_rest.front()) == _rest.npos;
    }

    // {n}, {n,} or {n,m}, up to its brace.
    bool _take_count(Part& part) {
        const std::size_t end = _rest.find('}');
        if (end == std::string_view::npos) return false;
        const std::string_view count = _rest.substr(1, end - 1);
        const std::size_t comma = std::min(count.find(','), count.size());
        const std::string_view most = count.substr(std::min(comma + 1, count.size()));
        if (!is_count(count.substr(0, comma)) || !(most.empty() || is_count(most))) return false;
        std::size_t least = 0;
        std::from_chars(count.data(), count.data() + comma, least);
        part.at_least = part.at_least == 0 ? 0 : std::min(least, MAX_LENGTH);
        _rest.remove_prefix(end);
        return true;
    }

    // What else stands between braces, a number with a zero before it too, RE2 takes for plain
    // text.
    static bool is_count(std::string_view number) {
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

    static bool is_word(char c) {
        Bytes word;
        add_word(word);
        return word[static_cast<unsigned char>(c)];
    }

    static void add_word(Bytes& bytes) {
        add_range(bytes, 'a', 'z');
        add_range(bytes, 'A', 'Z');
        add_range(bytes, '0', '9');
        bytes.set('_');
    }

    std::string_view _rest;
    bool _case_sensitive;
};

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
    std::optional<RequiredBytes> rarest;
    for (std::size_t first = 0; first < parts.size(); ++first) {
        RequiredBytes run{};
        for (std::size_t i = first; i < parts.size() && parts[i].bytes; ++i) {
            run.bytes |= *parts[i].bytes;
            run.length += parts[i].at_least;
            if (bits_of(run) > (rarest ? bits_of(*rarest) : MIN_BITS)) rarest = run;
        }
    }
    return rarest && rarest->length >= MIN_LENGTH ? rarest : std::nullopt;
}

// Only every length-th byte is looked at until one may be of a run.
std::size_t find_required_bytes(std::string_view text, const RequiredBytes& run, std::size_t from) {
    const auto holds = [&](std::size_t at) {
        return run.bytes[static_cast<unsigned char>(text[at])];
    };
    std::size_t begin = from;  // no run begins before
    while (begin + run.length <= text.size()) {
        std::size_t at = begin + run.length;
        while (at > begin && holds(at - 1)) --at;
        if (at == begin) return begin;
        begin = at;
    }
    return std::string_view::npos;
}

}  // namespace codetext::search
