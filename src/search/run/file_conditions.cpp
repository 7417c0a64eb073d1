#include "search/run/file_conditions.hpp"

#include <algorithm>
#include <iterator>

#include "search/run/chunks_worth_searching.hpp"

namespace codetext::search {

ConditionCandidates::ConditionCandidates(const Database& db,
                                         const std::vector<FileCondition>& conditions)
    : _conditions(&conditions) {
    for (const FileCondition& condition : conditions) {
        _candidates.push_back(chunks_worth_searching(db, condition.query));
    }
}

// A file without a candidate cannot match, so a condition that something matches in it fails there.
// One that nothing matches says nothing about the files with candidates.
void ConditionCandidates::narrow(std::vector<std::int64_t>& files,
                                 const std::vector<std::int64_t>& on_disk) const {
    for (std::size_t i = 0; i < _candidates.size(); ++i) {
        if (!(*_conditions)[i].is_wanted || !_candidates[i]) continue;
        const auto& chunked = _candidates[i]->file_ids();
        std::vector<std::int64_t> possible, left;
        std::ranges::set_union(chunked, on_disk, std::back_inserter(possible));
        std::ranges::set_intersection(files, possible, std::back_inserter(left));
        files = std::move(left);
    }
}

void ConditionCheck::limit_text(std::size_t bytes) {
    for (code_text::TextSource& source : _sources) code_text::limit_text(source, bytes);
}

bool ConditionCheck::holds(const code_text::FileRow& file) {
    constexpr FileWants ANY_MATCH{.max_matches = 1, .lines = false};
    for (std::size_t i = 0; i < _sources.size(); ++i) {
        const FileCondition& condition = (*_conditions)[i];
        const Stats stats =
            search_file(_sources[i], file, condition.query, ANY_MATCH, [](const ResultLine&) {});
        if ((stats.matched_lines > 0) != condition.is_wanted) return false;
    }
    return true;
}

}  // namespace codetext::search
