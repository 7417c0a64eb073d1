#include "search/files/glob.hpp"

#include <re2/re2.h>

#include <algorithm>
#include <stdexcept>

namespace codetext::search {

namespace {

// Translates a glob, without its "!" and outer slashes, into a regular expression over paths.
class Translation {
  public:
    explicit Translation(std::string_view glob) : _glob(glob) {}

    std::string regex() {
        while (_at < _glob.size()) _one();
        if (_open_alternatives > 0) _fail("is missing a }");
        return std::move(_regex);
    }

  private:
    [[noreturn]] void _fail(const char* what) const {
        throw std::invalid_argument("the glob " + std::string(_glob) + ' ' + what);
    }

    void _one() {
        const char c = _glob[_at++];
        if (c == '*') return _star();
        if (c == '[') return _set();
        if (c == '?') {
            _regex += "[^/]";
        } else if (c == '{') {
            ++_open_alternatives;
            _regex += "(?:";
        } else if (c == '}' && _open_alternatives > 0) {
            --_open_alternatives;
            _regex += ')';
        } else if (c == ',' && _open_alternatives > 0) {
            _regex += '|';
        } else {
            _literal(c == '\\' && _at < _glob.size() ? _glob[_at++] : c);
        }
    }

    void _literal(char c) { _regex += RE2::QuoteMeta(re2::StringPiece(&c, 1)); }

    // Two stars stand for directories only where slashes or the glob's ends are about them.
    void _star() {
        const bool starts_component = _at == 1 || _glob[_at - 2] == '/';
        const std::size_t end = std::min(_glob.find_first_not_of('*', _at), _glob.size());
        const bool ends_component = end == _glob.size() || _glob[end] == '/';
        const bool two = end == _at + 1;
        _at = end;
        if (!two || !starts_component || !ends_component) {
            _regex += "[^/]*";
        } else if (_at == _glob.size()) {
            _regex += ".*";
        } else {
            ++_at;
            _regex += "(?:.*/)?";
        }
    }

    void _set() {
        const bool negated = _at < _glob.size() && (_glob[_at] == '!' || _glob[_at] == '^');
        if (negated) ++_at;
        _regex += negated ? "[^/" : "[";
        const std::size_t first = _at;
        while (_at < _glob.size() && (_glob[_at] != ']' || _at == first)) {
            _set_member(_glob[_at++]);
        }
        if (_at >= _glob.size()) _fail("is missing a ]");
        ++_at;
        _regex += ']';
    }

    void _set_member(char c) {
        if (c == '-') {
            _regex += '-';
        } else {
            _literal(c == '\\' && _at < _glob.size() ? _glob[_at++] : c);
        }
    }

    std::string_view _glob;
    std::size_t _at = 0;
    int _open_alternatives = 0;
    std::string _regex;
};

std::string path_regex(std::string_view glob, bool excludes) {
    const bool directory = glob.ends_with('/');
    if (directory) glob.remove_suffix(1);
    const bool from_root = glob.find('/') != std::string_view::npos;
    if (glob.starts_with('/')) glob.remove_prefix(1);
    const std::string here = (from_root ? "" : "(?:.*/)?") + Translation(glob).regex();
    if (directory) return here + "/.*";
    return excludes ? here + "(?:/.*)?" : here;
}

}  // namespace

class Glob::Compiled {
  public:
    Compiled(const std::string& regex, const RE2::Options& options) : re(regex, options) {}
    RE2 re;
};

Glob::Glob(std::string_view glob) : _excludes(glob.starts_with('!')) {
    RE2::Options options;
    options.set_log_errors(false);
    options.set_dot_nl(true);
    const std::string regex = path_regex(glob.substr(_excludes ? 1 : 0), _excludes);
    _compiled = std::make_unique<const Compiled>(regex, options);
    if (!_compiled->re.ok()) {
        throw std::invalid_argument("the glob " + std::string(glob) +
                                    " does not compile: " + _compiled->re.error());
    }
}

Glob::~Glob() = default;
Glob::Glob(Glob&&) noexcept = default;
Glob& Glob::operator=(Glob&&) noexcept = default;

bool Glob::matches(std::string_view path) const { return RE2::FullMatch(path, _compiled->re); }

}  // namespace codetext::search
