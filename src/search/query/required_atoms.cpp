#include <algorithm>
#include <functional>
#include <set>
#include <string_view>

#include "search/query/pattern.hpp"
#include "search/query/pattern_impl.hpp"
#include "utils/text_find.hpp"

// RE2's FilteredRE2 says which atoms a pattern is made of, and whether a line that holds only some
// of them may match (R. Cox, "Regular Expression Matching with a Trigram Index", 2012, describes
// the method). A text is in every match if no line may match that holds all atoms but those with
// the text in them. The texts tried are the atoms' pieces and what all atoms share, the longest
// first.
//
// The time is bounded for a pattern of any length: only the beginning of each piece is compared for
// what is shared, and the more atoms there are, the fewer texts are tried.

namespace codetext::search {

namespace {

constexpr std::size_t MIN_PIECE_BYTES = 3;
/// Trying one text takes a look at every atom.
constexpr std::size_t MAX_TEXTS_TRIED = 256;
constexpr std::size_t MAX_ATOMS_LOOKED_AT = 1 << 14;
/// What is shared by two pieces is looked for in so many first bytes of each.
constexpr std::size_t MAX_COMPARED_BYTES = 256;

// The filter lower-cases its atoms by simple folding, the index folds the letters of ASCII alone.
// The two differ beyond ASCII, and where U+212A stands for a k or U+017F for an s. Such characters
// are cut out of an atom.
bool folds_plainly(char c, bool beyond_ascii) {
    return c > 0 && !(beyond_ascii && (c == 'k' || c == 's'));
}

std::vector<std::string> pieces_of(const std::string& atom, bool beyond_ascii) {
    std::vector<std::string> pieces;
    const auto plain = [&](char c) { return folds_plainly(c, beyond_ascii); };
    auto start = std::find_if(atom.begin(), atom.end(), plain);
    while (start != atom.end()) {
        const auto end = std::find_if_not(start, atom.end(), plain);
        if (static_cast<std::size_t>(end - start) >= MIN_PIECE_BYTES)
            pieces.emplace_back(start, end);
        start = std::find_if(end, atom.end(), plain);
    }
    return pieces;
}

std::string longest_shared(std::string_view one, std::string_view other) {
    one = one.substr(0, MAX_COMPARED_BYTES);
    other = other.substr(0, MAX_COMPARED_BYTES);
    std::string_view longest;
    for (std::size_t start = 0; start < one.size(); ++start) {
        while (start + longest.size() < one.size()) {
            const std::string_view longer = one.substr(start, longest.size() + 1);
            if (text_find::find(other, longer) == text_find::NOT_FOUND) break;
            longest = longer;
        }
    }
    return std::string(longest);
}

std::string shared_with_any(const std::string& text, const std::vector<std::string>& pieces) {
    std::string longest;
    for (const std::string& piece : pieces) {
        std::string shared = longest_shared(text, piece);
        if (shared.size() > longest.size()) longest = std::move(shared);
    }
    return longest;
}

}  // namespace

RequiredAtoms::RequiredAtoms(const Pattern& pattern) : _pattern(pattern) {
    const std::vector<std::string>& atoms = pattern._impl->filter_atoms();
    for (std::size_t id = 0; id < atoms.size(); ++id) {
        std::vector<std::string> pieces = pieces_of(atoms[id], pattern._impl->folds_beyond_ascii());
        std::vector<int>& ids = pieces.empty() ? _always_present : _atom_ids;
        ids.push_back(static_cast<int>(id));
        if (!pieces.empty()) _pieces.push_back(std::move(pieces));
    }
}

bool RequiredAtoms::may_match(const std::vector<int>& present) const {
    if (!_pattern._impl->is_filtered()) return true;
    std::vector<int> ids = _always_present;
    for (int position : present) ids.push_back(_atom_ids[static_cast<std::size_t>(position)]);
    std::vector<int> patterns;
    _pattern._impl->filter().AllPotentials(ids, &patterns);
    return !patterns.empty();
}

bool RequiredAtoms::_matches_without(const std::string& text) const {
    std::vector<int> others;
    for (std::size_t i = 0; i < _pieces.size(); ++i) {
        const bool holds = std::any_of(_pieces[i].begin(), _pieces[i].end(), [&](const auto& p) {
            return text_find::find(p, text) != text_find::NOT_FOUND;
        });
        if (!holds) others.push_back(static_cast<int>(i));
    }
    return may_match(others);
}

std::optional<std::string> RequiredAtoms::text_of_every_match() const {
    if (_pieces.empty()) return std::nullopt;
    std::set<std::string> distinct;
    // Of `ab[12]c` the atoms are "ab1c" and "ab2c": what all atoms share may be needed too.
    std::string shared = _pieces.front().front();
    for (const std::vector<std::string>& pieces : _pieces) {
        distinct.insert(pieces.begin(), pieces.end());
        if (!shared.empty()) shared = shared_with_any(shared, pieces);
    }
    if (shared.size() >= MIN_PIECE_BYTES) distinct.insert(shared);
    std::vector<std::string> longest_first(distinct.begin(), distinct.end());
    std::ranges::stable_sort(longest_first, std::greater(), &std::string::size);
    const std::size_t most = std::min(MAX_TEXTS_TRIED, 1 + MAX_ATOMS_LOOKED_AT / _pieces.size());
    longest_first.resize(std::min(longest_first.size(), most));
    const auto needed = std::ranges::find_if_not(
        longest_first, [this](const std::string& text) { return _matches_without(text); });
    return needed == longest_first.end() ? std::nullopt : std::optional(*needed);
}

}  // namespace codetext::search
