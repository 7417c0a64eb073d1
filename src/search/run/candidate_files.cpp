#include "search/run/candidate_files.hpp"

#include <algorithm>
#include <memory>
#include <queue>
#include <unordered_map>

#include "storage/chunk_store.hpp"
#include "utils/unicode.hpp"

namespace codetext::search {

using chunk_store::TrigramQuery;

namespace {

/// Which of at most MAX_ATOMS atoms a chunk holds, one bit each.
using AtomSet = std::uint64_t;
constexpr std::size_t MAX_ATOMS = 64;

std::int64_t file_of(std::int64_t rowid) { return rowid / chunk_store::CHUNK_STRIDE; }

// The trigram index folds the case of ASCII letters only, and holds no NUL.
std::optional<TrigramQuery> needle_trigrams(const Query& query) {
    if (!query.needle || query.needle->find('\0') != std::string::npos) return std::nullopt;
    if (!query.case_sensitive && !unicode::is_ascii(*query.needle)) return std::nullopt;
    return chunk_store::trigram_query(*query.needle);
}

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

struct AtomRows {
    AtomSet atom;
    std::shared_ptr<const std::vector<std::int64_t>> rowids;  ///< of the chunks that may hold it
    std::size_t next = 0;
};

// Goes through the chunks of all lists in the order of their row ids.
class ChunkWalk {
  public:
    explicit ChunkWalk(std::vector<AtomRows> lists) : _lists(std::move(lists)) {
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
        AtomRows& rows = _lists[list];
        if (rows.next < rows.rowids->size()) _heads.push({(*rows.rowids)[rows.next++], list});
    }

    using Head = std::pair<std::int64_t, std::size_t>;
    std::vector<AtomRows> _lists;
    std::priority_queue<Head, std::vector<Head>, std::greater<>> _heads;
};

void add_file(std::vector<std::int64_t>& files, std::int64_t file_id) {
    if (files.empty() || files.back() != file_id) files.push_back(file_id);
}

std::vector<std::int64_t> files_with_needle(const Database& db, const TrigramQuery& trigrams) {
    std::vector<std::int64_t> files;
    const auto rowids = chunk_store::candidate_rowids(db, trigrams);
    for (std::int64_t rowid : *rowids) add_file(files, file_of(rowid));
    return files;
}

// A line lies in one chunk, so the texts that a match needs are in one chunk together.
std::optional<std::vector<std::int64_t>> files_with_atoms(const Database& db,
                                                          const RequiredAtoms& atoms) {
    AtomSets sets(atoms);
    AtomSet unasked = 0;
    std::vector<std::optional<TrigramQuery>> queries;
    for (std::size_t i = 0; i < std::min(atoms.atoms().size(), MAX_ATOMS); ++i) {
        queries.push_back(atom_trigrams(atoms.atoms()[i]));
        if (!queries.back()) unasked |= AtomSet{1} << i;
    }
    if (sets.may_match(unasked)) return std::nullopt;
    std::vector<AtomRows> lists;
    for (std::size_t i = 0; i < queries.size(); ++i) {
        if (!queries[i]) continue;
        lists.push_back({AtomSet{1} << i, chunk_store::candidate_rowids(db, *queries[i])});
    }
    std::vector<std::int64_t> files;
    ChunkWalk walk(std::move(lists));
    while (!walk.at_end()) {
        const std::int64_t file_id = file_of(walk.rowid());
        if (sets.may_match(walk.take() | unasked)) add_file(files, file_id);
    }
    return files;
}

std::vector<std::int64_t> files_on_disk(const Database& db) {
    std::vector<std::int64_t> files;
    db.each("SELECT id FROM files WHERE text_on_disk = 1 ORDER BY id", {}, [&](const RowView& row) {
        files.push_back(row.integer(0));
        return Visit::CONTINUE;
    });
    return files;
}

std::optional<std::vector<std::int64_t>> narrowed(const Database& db, const Query& query) {
    if (query.pattern) {
        // What the pattern needs on a line says at least as much as the needle that is taken of it.
        if (auto files = files_with_atoms(db, RequiredAtoms(*query.pattern))) return files;
    }
    const auto trigrams = needle_trigrams(query);
    return trigrams ? std::optional(files_with_needle(db, *trigrams)) : std::nullopt;
}

}  // namespace

std::optional<std::vector<std::int64_t>> candidate_files(const Database& db, const Query& query) {
    const std::optional<std::vector<std::int64_t>> chunked = narrowed(db, query);
    if (!chunked) return std::nullopt;
    const std::vector<std::int64_t> on_disk = files_on_disk(db);
    std::vector<std::int64_t> files;
    std::set_union(chunked->begin(), chunked->end(), on_disk.begin(), on_disk.end(),
                   std::back_inserter(files));
    return files;
}

}  // namespace codetext::search
