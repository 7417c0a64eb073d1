#include "search/files/glob_regex.hpp"

#include <re2/re2.h>

#include <stdexcept>
#include <utility>
#include <vector>

#include "search/query/match_span.hpp"
#include "utils/unicode.hpp"

// Braces are written out first: a glob becomes all the sequences of tokens that it stands for, so
// that what a star means depends on its neighbours alone, whichever brace they stand in. Then each
// sequence becomes one alternative of a regular expression, which RE2 matches in time linear in the
// path.

namespace codetext::search {

namespace {

/// Bounds what braces may grow to: sequences times the bytes of the glob.
constexpr std::size_t MAX_WRITTEN_OUT_BYTES = 1 << 18;
constexpr int MAX_DEPTH = 100;

struct Token {
    enum class Kind { CHARACTER, SLASH, STAR };
    Kind kind;
    std::string regex;  ///< of a character
};
using Tokens = std::vector<Token>;

[[noreturn]] void fail(const char* what) { throw std::invalid_argument(what); }

std::string quoted(std::string_view character) {
    return RE2::QuoteMeta(re2::StringPiece(character.data(), character.size()));
}

// The members of a set, as the regular expression writes them. A set never matches "/".
class SetMembers {
  public:
    // UTF-8 orders its characters as their code points are ordered.
    void add(const std::string& first, const std::string& last) {
        if (last < first) fail("has a range that ends before it begins");
        if (first <= "/" && "/" <= last) {
            if (first < "/") _add(first, ".");
            if ("/" < last) _add("0", last);
        } else {
            _add(first, last);
        }
    }
    std::string regex(bool negated) const {
        if (negated) return "[^/" + _members + "]";
        return _members.empty() ? "[^\\x00-\\x{10FFFF}]" : "[" + _members + "]";
    }

  private:
    void _add(std::string_view first, std::string_view last) {
        _members += quoted(first) + "-" + quoted(last);
    }
    std::string _members;
};

// Reads a glob into the sequences of tokens that it stands for.
class Reader {
  public:
    explicit Reader(std::string_view glob) : _glob(glob) {}

    std::vector<Tokens> sequences(int depth = 0) {
        std::vector<Tokens> read(1);
        while (!_at_end()) {
            if (depth > 0 && (_peek() == ',' || _peek() == '}')) break;
            if (_takes('{')) {
                read = _products(read, _alternatives(depth + 1));
            } else {
                const Token token = _token();
                for (Tokens& sequence : read) sequence.push_back(token);
            }
        }
        return read;
    }

  private:
    bool _at_end() const { return _at == _glob.size(); }
    char _peek() const { return _glob[_at]; }
    bool _takes(char c) {
        if (_at_end() || _peek() != c) return false;
        ++_at;
        return true;
    }
    std::string _character() {
        const std::size_t begin = std::exchange(_at, next_code_point(_glob, _at));
        return std::string(_glob.substr(begin, _at - begin));
    }

    std::vector<Tokens> _alternatives(int depth) {
        if (depth > MAX_DEPTH) fail("has too many braces inside of one another");
        std::vector<Tokens> all;
        do {
            for (Tokens& sequence : sequences(depth)) all.push_back(std::move(sequence));
        } while (_takes(','));
        if (!_takes('}')) fail("is missing a }");
        return all;
    }

    std::vector<Tokens> _products(const std::vector<Tokens>& fronts,
                                  const std::vector<Tokens>& backs) const {
        if (fronts.size() * backs.size() > 1 + MAX_WRITTEN_OUT_BYTES / _glob.size()) {
            fail("stands for too many alternatives");
        }
        std::vector<Tokens> products;
        for (const Tokens& front : fronts) {
            for (const Tokens& back : backs) {
                products.push_back(front);
                products.back().insert(products.back().end(), back.begin(), back.end());
            }
        }
        return products;
    }

    Token _token() {
        if (_takes('*')) return {Token::Kind::STAR, ""};
        if (_takes('?')) return {Token::Kind::CHARACTER, "[^/]"};
        if (_takes('[')) return {Token::Kind::CHARACTER, _set()};
        if (_takes('\\') && _at_end()) fail("ends in a backslash that escapes nothing");
        const std::string character = _character();
        if (character == "/") return {Token::Kind::SLASH, ""};
        return {Token::Kind::CHARACTER, quoted(character)};
    }

    std::string _set() {
        const bool negated = _takes('!') || _takes('^');
        SetMembers members;
        // A "]" that comes first is a member.
        for (bool is_first = true; is_first || !_takes(']'); is_first = false) {
            const std::string first = _set_character();
            const std::string_view rest = _glob.substr(_at, 2);
            const bool is_range = rest.size() == 2 && rest[0] == '-' && rest[1] != ']';
            if (is_range) ++_at;
            members.add(first, is_range ? _set_character() : first);
        }
        return members.regex(negated);
    }

    std::string _set_character() {
        _takes('\\');
        if (_at_end()) fail("is missing a ]");
        return _character();
    }

    std::string_view _glob;
    std::size_t _at = 0;
};

// The stars from `at` on. Two that are a path's component by themselves stand for components.
std::string stars_regex(const Tokens& tokens, std::size_t& at) {
    const std::size_t begin = at;
    while (at < tokens.size() && tokens[at].kind == Token::Kind::STAR) ++at;
    const bool begins = begin == 0 || tokens[begin - 1].kind == Token::Kind::SLASH;
    const bool is_last = at == tokens.size();
    const bool ends = is_last || tokens[at].kind == Token::Kind::SLASH;
    if (at - begin != 2 || !begins || !ends) return "[^/]*";
    if (is_last) return ".+";
    ++at;
    return "(?:.*/)?";
}

std::string sequence_regex(const Tokens& tokens) {
    std::string regex;
    for (std::size_t at = 0; at < tokens.size();) {
        if (tokens[at].kind == Token::Kind::STAR) {
            regex += stars_regex(tokens, at);
        } else {
            regex += tokens[at].kind == Token::Kind::SLASH ? "/" : tokens[at].regex;
            ++at;
        }
    }
    return regex;
}

}  // namespace

std::string glob_regex(std::string_view glob) {
    if (unicode::decode(std::string(glob)) != glob) fail("is not valid UTF-8");
    std::string regex = "(?:";
    bool is_first = true;
    for (const Tokens& tokens : Reader(glob).sequences()) {
        if (!std::exchange(is_first, false)) regex += '|';
        regex += sequence_regex(tokens);
    }
    return regex += ')';
}

}  // namespace codetext::search
