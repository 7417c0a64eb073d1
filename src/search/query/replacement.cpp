// A search knows where a match is, not what its groups took in. So the pattern is matched once
// more, with the whole span and nothing else: what stands around it still decides about ^, $ and
// \b.

#include "search/query/replacement.hpp"

#include <re2/re2.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "search/query/pattern_text.hpp"

namespace codetext::search {
namespace {

constexpr std::int64_t MAX_MEMORY_BYTES = 64 << 20;

bool is_name_character(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

/// A part of the form: text as it stands, or the name of a group.
struct FormPart {
    std::string_view text;
    bool is_group;
};

/// Takes the next part off the form.
FormPart take_part(std::string_view& form) {
    const std::size_t dollar = std::min(form.find('$'), form.size());
    if (dollar > 0) {
        const FormPart part{form.substr(0, dollar), false};
        form.remove_prefix(dollar);
        return part;
    }
    const bool in_braces = form.substr(1).starts_with('{');
    const std::size_t begin = in_braces ? 2 : 1;
    std::size_t end = begin;
    while (end < form.size() && is_name_character(form[end])) ++end;
    const bool is_closed = !in_braces || (end < form.size() && form[end] == '}');
    FormPart part{form.substr(begin, end - begin), true};
    std::size_t taken = end + (in_braces ? 1 : 0);
    if (end == begin || !is_closed) {
        // No name: "$$" is one dollar, and a dollar before anything else is itself.
        part = {form.substr(0, 1), false};
        taken = form.substr(1).starts_with('$') ? 2 : 1;
    }
    form.remove_prefix(taken);
    return part;
}

}  // namespace

class Replacement::Groups {
  public:
    explicit Groups(const QueryOptions& options)
        : _re("(?m)" + alternatives(options.patterns), _options(options)) {
        if (!_re.ok()) throw std::invalid_argument("the pattern does not compile: " + _re.error());
    }

    /// What each group took in, the whole match first.
    std::vector<re2::StringPiece> of(std::string_view line, MatchSpan span) const {
        std::vector<re2::StringPiece> taken(
            static_cast<std::size_t>(_re.NumberOfCapturingGroups()) + 1);
        if (!_re.Match(line, span.start, span.end, RE2::ANCHOR_BOTH, taken.data(),
                       static_cast<int>(taken.size()))) {
            std::ranges::fill(taken, re2::StringPiece());
        }
        return taken;
    }

    std::optional<std::size_t> number_of(std::string_view name) const {
        std::size_t number = 0;
        const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
        if (error == std::errc() && end == name.data() + name.size()) return number;
        const auto& names = _re.NamedCapturingGroups();
        const auto found = names.find(std::string(name));
        if (found == names.end()) return std::nullopt;
        return static_cast<std::size_t>(found->second);
    }

  private:
    static RE2::Options _options(const QueryOptions& options) {
        RE2::Options re2;
        re2.set_case_sensitive(!ignores_case(options));
        re2.set_never_nl(true);
        re2.set_log_errors(false);
        re2.set_max_mem(MAX_MEMORY_BYTES);
        return re2;
    }
    RE2 _re;
};

Replacement::Replacement(const QueryOptions& options, std::string form) : _form(std::move(form)) {
    // Plain text has no groups.
    if (!options.fixed_strings) _groups = std::make_unique<const Groups>(options);
}
Replacement::~Replacement() = default;
Replacement::Replacement(Replacement&&) noexcept = default;

std::string Replacement::of(std::string_view line, MatchSpan span) const {
    std::vector<re2::StringPiece> groups;
    if (_groups) groups = _groups->of(line, span);
    std::string result;
    for (std::string_view form = _form; !form.empty();) {
        const FormPart part = take_part(form);
        if (!part.is_group) {
            result += part.text;
            continue;
        }
        if (part.text == "0") {
            result += line.substr(span.start, span.end - span.start);
        } else if (_groups) {
            const auto number = _groups->number_of(part.text);
            if (number && *number < groups.size()) result += std::string_view(groups[*number]);
        }
    }
    return result;
}

}  // namespace codetext::search
