#include <algorithm>
#include <numeric>

#include "search/pattern.hpp"
#include "search/pattern_impl.hpp"

namespace codetext::search {

namespace {

constexpr std::size_t MIN_PIECE_BYTES = 3;
constexpr std::size_t MAX_ATOMS_TRIED = 64;

// The filter's atoms are lower-cased by simple folding, an index folds the letters of ASCII. They
// differ beyond ASCII, and where U+212A stands for a k or U+017F for an s. That is cut out.
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
    std::vector<int> ids = _always_present;
    for (int position : present) ids.push_back(_atom_ids[static_cast<std::size_t>(position)]);
    std::vector<int> patterns;
    _pattern._impl->filter().AllPotentials(ids, &patterns);
    return !patterns.empty();
}

std::optional<std::string> RequiredAtoms::piece_of_every_match() const {
    std::optional<std::string> longest;
    for (std::size_t i = 0; i < std::min(_pieces.size(), MAX_ATOMS_TRIED); ++i) {
        std::vector<int> others(_pieces.size());
        std::iota(others.begin(), others.end(), 0);
        others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
        if (may_match(others)) continue;
        for (const std::string& piece : _pieces[i]) {
            if (!longest || piece.size() > longest->size()) longest = piece;
        }
    }
    return longest;
}

}  // namespace codetext::search
