#pragma once

// What must hold for a whole file so that its results count: that something else matches in it too,
// or does not. Private to search.

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "search/run/search_run.hpp"
#include "storage/chunk_store.hpp"
#include "storage/code_text.hpp"

namespace codetext::search {

/// The files in which all conditions may hold, as the trigram index knows it before any text is
/// read. One for a search.
class ConditionCandidates {
  public:
    /// REQUIRES: chunk_store::asks_before_reading holds for the index's layout.
    ConditionCandidates(const Database& db, const std::vector<FileCondition>& conditions);

    /// The chunks in which the condition's query may match; none when nothing narrows them.
    const std::optional<chunk_store::Candidates>& of(std::size_t condition) const {
        return _candidates[condition];
    }
    /// Takes out of `files` (ascending ids) those in which a condition cannot hold. `on_disk` are
    /// files without chunks, likewise, in which anything may match.
    void narrow(std::vector<std::int64_t>& files, const std::vector<std::int64_t>& on_disk) const;

  private:
    const std::vector<FileCondition>* _conditions;
    std::vector<std::optional<chunk_store::Candidates>> _candidates;
};

/// Answers for one file after the other. It has the sources of one thread: a copy serves another.
class ConditionCheck {
  public:
    /// One source for each condition.
    ConditionCheck(const std::vector<FileCondition>& conditions,
                   std::vector<code_text::TextSource> sources)
        : _conditions(&conditions), _sources(std::move(sources)) {}

    void limit_text(std::size_t bytes);
    /// Whether all conditions hold for the file.
    bool holds(const code_text::FileRow& file);

  private:
    const std::vector<FileCondition>* _conditions;
    std::vector<code_text::TextSource> _sources;
};

}  // namespace codetext::search
