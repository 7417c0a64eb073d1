#pragma once

// The text that the micro-benchmarks work on: source files of the project, or of the directory that
// the environment variable CODETEXT_BENCH_INPUT names.
//
//   for (const std::string& text : bench::sample_texts()) work(text);
//   state.SetBytesProcessed(state.iterations() * bench::sample_bytes());

#include <cstdint>
#include <string>
#include <vector>

namespace codetext::bench {

/// The files' bytes, in path order: C and C++ sources and headers, the first 16 MB of them.
/// Throws std::runtime_error when there are none.
const std::vector<std::string>& sample_texts();

/// Bytes of all of sample_texts().
std::int64_t sample_bytes();

/// The files as an index keeps them: decoded, lines joined by one LF each. Files without a line are
/// left out.
const std::vector<std::string>& sample_lines();

}  // namespace codetext::bench
