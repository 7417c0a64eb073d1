#pragma once

// What one file gives to a search: its lines as the renderer writes them, once it is known that the
// file is as it was indexed and that all conditions hold. Private to search.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "search/run/file_conditions.hpp"
#include "search/run/output_buffer.hpp"
#include "search/run/search_batches.hpp"
#include "search/run/search_run.hpp"
#include "search/run/tree_reader.hpp"

namespace codetext::search {

/// How many results a file with these stats gives.
std::int64_t results_of(const Stats& stats, ResultKind kind);

/// What is the same for all files of a batch. What it points to must outlive it.
struct BatchContext {
    const SearchOptions* options;
    const SearchBatch* batch;
    const TreeReader* reader;
    /// Ids of the files in which something can match, ascending; none: any of them.
    const std::optional<std::vector<std::int64_t>>* possible;
};

/// Searches one file after the other, for one thread.
class FileResults {
  public:
    FileResults(const BatchContext& context, std::unique_ptr<Renderer> renderer);

    /// From now on a file of more text throws chunk_store::TextTooLarge. To be called again after
    /// such a failure.
    void limit_text(std::size_t bytes);

    /// Searches the batch's file at `item`; what it shows goes to `out` if it has a result. No more
    /// than `most_results` of its lines are looked for. Passes on what `out` throws.
    Stats search(std::size_t item, std::int64_t most_results, OutputBuffer& out);

  private:
    bool _is_possible(const code_text::FileRow& file) const;
    Stats _as_it_is(const code_text::FileRow& file, const FileWants& wants, OutputBuffer& out);
    Stats _from_disk(const code_text::FileRow& file, const FileWants& wants, OutputBuffer& out);
    template <typename Check>
    Stats _shown(const code_text::FileRow& file, const FileWants& wants,
                 code_text::TextSource* source, const Check& check, OutputBuffer& out);

    BatchContext _context;
    code_text::TextSource _source, _disk;
    ConditionCheck _conditions, _conditions_on_disk;
    TreeReader::Stamps _stamps;
    std::unique_ptr<Renderer> _renderer;
};

}  // namespace codetext::search
