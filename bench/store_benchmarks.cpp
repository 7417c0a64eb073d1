// Reading an index of the sample texts: unpacking files, and asking which may hold a needle. Bytes
// are those of the source text that the index answers for.

#include <benchmark/benchmark.h>

#include <algorithm>

#include "indexer/run/index_run.hpp"
#include "sample_text.hpp"
#include "storage/code_text/candidate_chunks.hpp"
#include "storage/temp_index.hpp"

namespace codetext::bench {
namespace {

/// An index of sample_lines(): text i of them is the file i.c.
class SampleIndex {
  public:
    SampleIndex() : _db(schema::open_index(_made(), Access::READ_ONLY)) {
        for (const Row& row : _db.fetchall("SELECT id, path FROM files ORDER BY id")) {
            files.push_back({row.integer(0), row.text(1), "c", std::nullopt});
        }
    }
    const Database& db() const { return _db; }
    static const std::string& text_of(const code_text::FileRow& file) {
        return sample_lines().at(std::stoul(file.path));
    }
    std::vector<code_text::FileRow> files;

  private:
    std::filesystem::path _made() {
        for (std::size_t i = 0; i < sample_lines().size(); ++i) {
            _folder.write(std::to_string(i) + ".c", sample_lines()[i] + "\n");
        }
        indexer::index_repository(_folder.path());
        return schema::index_path(_folder.path());
    }
    test_support::TempFolder _folder;
    Database _db;
};

const SampleIndex& sample_index() {
    static const SampleIndex index;
    return index;
}

std::vector<chunk_store::ChunkRow> rows_of(const code_text::FileRow& file) {
    const auto [first, end] = code_text::file_rowids(file.file_id);
    return chunk_store::file_rows(sample_index().db(), first, end);
}

bool reads_back(const code_text::FileRow& file) {
    std::string text;
    for (const chunk_store::ChunkRow& row : rows_of(file)) {
        if (row.start_line > 1) text += '\n';
        text += row.text.view();
    }
    return text == SampleIndex::text_of(file);
}

void unpacking(benchmark::State& state) {
    const auto& files = sample_index().files;
    if (files.size() != sample_lines().size() || !std::ranges::all_of(files, reads_back)) {
        return state.SkipWithError("wrong answer");
    }
    for (auto _ : state) {
        for (const code_text::FileRow& file : files) {
            for (const auto& row : rows_of(file)) benchmark::DoNotOptimize(row.text.view());
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * sample_bytes());
}
BENCHMARK(unpacking);

std::vector<std::int64_t> candidate_files(const std::string& needle) {
    const SampleIndex& index = sample_index();
    const auto store = chunk_store::layout(index.db()).value();
    return code_text::_candidate_chunks(index.db(), store, index.files, needle, true).file_ids();
}

void candidate_query(benchmark::State& state, const std::string& needle) {
    const std::vector<std::int64_t> candidates = candidate_files(needle);
    for (const code_text::FileRow& file : sample_index().files) {
        const bool holds = SampleIndex::text_of(file).find(needle) != std::string::npos;
        if (holds && !std::ranges::binary_search(candidates, file.file_id)) {
            return state.SkipWithError("wrong answer");
        }
    }
    for (auto _ : state) {
        state.PauseTiming();
        candidate_files("asked in between");  // the last answer is kept
        state.ResumeTiming();
        benchmark::DoNotOptimize(candidate_files(needle));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * sample_bytes());
    state.counters["files"] = static_cast<double>(candidates.size());
}
BENCHMARK_CAPTURE(candidate_query, common, "return");
BENCHMARK_CAPTURE(candidate_query, rare, "static_assert");
BENCHMARK_CAPTURE(candidate_query, absent, "no_such_symbol_zq");

}  // namespace
}  // namespace codetext::bench
