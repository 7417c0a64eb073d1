#include "indexer/run/dictionary_sample.hpp"

#include <algorithm>
#include <numeric>
#include <system_error>
#include <utility>

#include "indexer/run/parse_file.hpp"
#include "storage/code_text/chunk_rows.hpp"
#include "storage/code_text/chunking.hpp"
#include "utils/binary.hpp"
#include "utils/fsio.hpp"
#include "utils/unicode.hpp"

namespace codetext::indexer {
namespace {

/// The run reads the sampled files again, which costs it 1% of its CPU time at most: keeping their
/// texts is not worth the memory. Twice as many files make an index less than 0.1% smaller.
constexpr std::size_t MAX_SAMPLED_FILES = 1024;
/// A larger file is not worth its read: only a few of its chunks would be samples.
constexpr std::int64_t MAX_SAMPLED_FILE_BYTES = 4 << 20;

bool is_sampled(const PlannedFile& file) {
    return file.entry.stamp.size <= MAX_SAMPLED_FILE_BYTES &&
           !code_text::text_kept_on_disk(file.language, file.entry.stamp.size);
}

std::vector<Chunk> chunks_of(const Descriptor& root, const std::string& path) {
    std::string bytes;
    try {
        bytes = fsio::read_file_below(root, path).bytes;
    } catch (const std::system_error& error) {
        if (is_machine_failure(error.code().value())) throw;
        return {};  // the run reads the file again and reports why it cannot
    }
    if (is_binary(bytes)) return {};
    return code_text::code_chunks(unicode::decode(std::move(bytes)));
}

/// Adds chunks spread evenly over the file, at most `budget_bytes` in all.
void add_spread(std::vector<Chunk> chunks, std::size_t budget_bytes,
                std::vector<std::string>& samples) {
    std::size_t bytes = 0;
    for (const Chunk& chunk : chunks) bytes += chunk.text.size();
    const std::size_t step = bytes / budget_bytes + 1;
    std::size_t used = 0;
    for (std::size_t i = 0; i < chunks.size(); i += step) {
        used += chunks[i].text.size();
        if (used > budget_bytes) break;
        samples.push_back(std::move(chunks[i].text));
    }
}

}  // namespace

std::vector<std::string> sample_chunks(const Descriptor& root, std::span<const PlannedFile> files) {
    std::vector<const PlannedFile*> candidates;
    for (const PlannedFile& file : files) {
        if (is_sampled(file)) candidates.push_back(&file);
    }
    const auto total = std::accumulate(
        candidates.begin(), candidates.end(), std::int64_t{0},
        [](std::int64_t sum, const PlannedFile* file) { return sum + file->entry.stamp.size; });
    if (total < static_cast<std::int64_t>(chunk_store::DICTIONARY_MIN_BYTES)) return {};

    const std::size_t sampled = std::min(candidates.size(), MAX_SAMPLED_FILES);
    const std::size_t budget_bytes = chunk_store::DICTIONARY_SAMPLE_BYTES / sampled;
    std::vector<std::string> samples;
    for (std::size_t i = 0; i < sampled; ++i) {
        const PlannedFile& file = *candidates[i * candidates.size() / sampled];
        add_spread(chunks_of(root, file.entry.path), budget_bytes, samples);
    }
    return samples;
}

}  // namespace codetext::indexer
