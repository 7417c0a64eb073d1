#include "indexer/run/parse_pipeline.hpp"

#include <memory>
#include <utility>

namespace codetext::indexer {
namespace {

/// Files whose results may wait. Storing a batch stops the storing thread for a while, and the
/// others go on meanwhile.
constexpr std::size_t WINDOW_FILES = 4096;
/// The memory for files that are being read, and for results that wait.
constexpr std::size_t WINDOW_BYTES = 64 << 20;

}  // namespace

ParsePipeline parse_files(const Descriptor& root, std::span<const PlannedFile> files,
                          chunk_store::Layout layout, chunk_store::DictionaryHandle dictionary,
                          unsigned threads) {
    const auto make_worker = [&root, files, layout, dictionary = std::move(dictionary)] {
        // std::function wants what it holds to be copyable.
        auto packer = std::make_shared<chunk_store::Packer>(layout, dictionary);
        return [&root, files, packer = std::move(packer)](std::size_t item) {
            return parse_file(root, files[item], *packer);
        };
    };
    const auto result_bytes = [](const ParsedFile& parsed) { return parsed.packed.size_bytes(); };
    const auto expected_bytes = [files](std::size_t item) {
        return static_cast<std::size_t>(files[item].entry.stamp.size);
    };
    return ParsePipeline(
        {files.size(), make_worker, result_bytes, expected_bytes},
        {.threads = threads, .window_items = WINDOW_FILES, .window_bytes = WINDOW_BYTES});
}

}  // namespace codetext::indexer
