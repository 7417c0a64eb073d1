// Which chunks can match a pattern: the lists of chunks that may hold each of its atoms are walked
// side by side in the order of their row ids (a k-way merge with a heap, O(n log k) for n entries
// in k lists), and each chunk is kept whose set of atoms may satisfy the pattern. The answer for
// each set is worked out once.

#include "search/run/chunks_worth_searching.hpp"

#include <algorithm>
#include <queue>
#include <unordered_map>

#include "storage/chunk_store.hpp"

namespace codetext::search {

using chunk_store::Candidates;
using chunk_store::TrigramQuery;

namespace {

/// Which of at most MAX_ATOMS atoms a chunk holds, one bit each.
using AtomSet = std::uint64_t;
constexpr std::size_t MAX_ATOMS = 64;
/// So many bytes of a needle narrow as much as more of them.
constexpr std::size_t MAX_NARROWING_BYTES = 1 << 10;

// One query for all pieces of an atom; none when they give no trigram.
std::optional<TrigramQuery> atom_trigrams(const std::vector<std::string>& pieces) {
    TrigramQuery all;
    for (const std::string& piece : pieces) {
        if (auto query = chunk_store::trigram_query(piece)) {
            all.trigrams.insert(all.trigrams.end(), query->trigrams.begin(), query->trigrams.end());
        }
    }
    if (all.trigrams.empty()) return std::nullopt;
    std::sort(all.trigrams.begin(), all.trigrams.end());
    all.trigrams.erase(std::unique(all.trigrams.begin(), all.trigrams.end()), all.trigrams.end());
    return all;
}

// Answers for sets of atoms, each worked out once.
class AtomSets {
  public:
    explicit AtomSets(const RequiredAtoms& atoms) : _atoms(&atoms) {}

    bool may_match(AtomSet set) {
        const auto [known, is_new] = _answers.try_emplace(set, false);
        if (is_new) known->second = _atoms->may_match(_positions(set));
        return known->second;
    }

  private:
    std::vector<int> _positions(AtomSet set) const {
        std::vector<int> positions;
        for (std::size_t i = 0; i < _atoms->atoms().size(); ++i) {
            if (i >= MAX_ATOMS || (set >> i & 1) != 0) positions.push_back(static_cast<int>(i));
        }
        return positions;
    }

    const RequiredAtoms* _atoms;
    std::unordered_map<AtomSet, bool> _answers;
};

struct AtomChunks {
    AtomSet atom;
    Candidates chunks;  ///< that may hold it
    std::size_t next = 0;
};

// Goes through the chunks of all lists in the order of their row ids.
class ChunkWalk {
  public:
    explicit ChunkWalk(std::vector<AtomChunks> lists) : _lists(std::move(lists)) {
        for (std::size_t i = 0; i < _lists.size(); ++i) _push(i);
    }
    bool at_end() const { return _heads.empty(); }
    std::int64_t rowid() const { return _heads.top().first; }

    /// The atoms of the chunk at hand; goes on to the next.
    AtomSet take() {
        const std::int64_t taken = rowid();
        AtomSet set = 0;
        while (!at_end() && rowid() == taken) {
            const std::size_t list = _heads.top().second;
            _heads.pop();
            set |= _lists[list].atom;
            _push(list);
        }
        return set;
    }

  private:
    void _push(std::size_t list) {
        AtomChunks& rows = _lists[list];
        if (rows.next < rows.chunks.rowids().size())
            _heads.push({rows.chunks.rowids()[rows.next++], list});
    }

    using Head = std::pair<std::int64_t, std::size_t>;
    std::vector<AtomChunks> _lists;
    std::priority_queue<Head, std::vector<Head>, std::greater<>> _heads;
};

// A line lies in one chunk, so the texts that a match needs are in one chunk together.
std::optional<Candidates> chunks_with_atoms(const Database& db, const RequiredAtoms& atoms) {
    AtomSets sets(atoms);
    AtomSet unasked = 0;
    std::vector<std::optional<TrigramQuery>> queries;
    for (std::size_t i = 0; i < std::min(atoms.atoms().size(), MAX_ATOMS); ++i) {
        queries.push_back(atom_trigrams(atoms.atoms()[i]));
        if (!queries.back()) unasked |= AtomSet{1} << i;
    }
    // A line may match that holds, of all atoms, only those without a trigram: nothing narrows.
    if (sets.may_match(unasked)) return std::nullopt;
    std::vector<AtomChunks> lists;
    for (std::size_t i = 0; i < queries.size(); ++i) {
        if (!queries[i]) continue;
        lists.push_back({AtomSet{1} << i, chunk_store::candidates(db, *queries[i])});
    }
    const ContentStamp stamp = lists.empty() ? db.content_stamp() : lists.front().chunks.stamp();
    std::vector<std::int64_t> rowids;
    ChunkWalk walk(std::move(lists));
    while (!walk.at_end()) {
        const std::int64_t rowid = walk.rowid();
        if (sets.may_match(walk.take() | unasked)) rowids.push_back(rowid);
    }
    return Candidates(std::move(rowids), stamp);
}

}  // namespace

std::optional<std::string> narrowing_needle(const Query& query) {
    if (query.inverted) return std::nullopt;
    if (!query.needle || query.needle->size() <= MAX_NARROWING_BYTES) return query.needle;
    const MatchSpan whole = whole_code_points(*query.needle, {0, MAX_NARROWING_BYTES});
    return query.needle->substr(0, whole.end);
}

std::optional<Candidates> chunks_worth_searching(const Database& db, const Query& query) {
    if (query.pattern && !query.inverted) {
        // What a pattern needs on a line says at least as much as the needle taken from it.
        if (auto found = chunks_with_atoms(db, RequiredAtoms(*query.pattern))) return found;
    }
    const std::optional<std::string> needle = narrowing_needle(query);
    if (!needle || !chunk_store::narrows(*needle, query.case_sensitive)) return std::nullopt;
    const auto trigrams = chunk_store::trigram_query(*needle);
    return trigrams ? std::optional(chunk_store::candidates(db, *trigrams)) : std::nullopt;
}

}  // namespace codetext::search
