// What the text of a file goes through before it is stored: decoding, lines, lower case, chunks.
// Each benchmark first compares every answer with the tests' slow form of the same thing.

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <algorithm>

#include "sample_text.hpp"
#include "storage/code_text/chunking.hpp"
#include "utils/reference.hpp"
#include "utils/unicode.hpp"

namespace codetext::bench {
namespace {

/// Times `work` on every sample text, unless `is_right(text, work(text))` is false for one of them.
template <typename Work, typename IsRight>
void over_texts(benchmark::State& state, Work work, IsRight is_right) {
    for (const std::string& text : sample_texts()) {
        if (!is_right(text, work(text))) return state.SkipWithError("wrong answer");
    }
    for (auto _ : state) {
        for (const std::string& text : sample_texts()) {
            auto answer = work(text);
            benchmark::DoNotOptimize(answer);
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * sample_bytes());
}

// What the other figures of this file include: a copy of the text for a function that takes it
// over.
void copying(benchmark::State& state) {
    over_texts(
        state, [](const std::string& text) { return text; },
        [](const std::string& text, const std::string& copy) { return copy == text; });
}
BENCHMARK(copying);

void decoding(benchmark::State& state) {
    over_texts(
        state, [](const std::string& text) { return unicode::decode(text); },
        [](const std::string& text, const std::string& decoded) {
            std::string expected;
            return decoded == icu::UnicodeString::fromUTF8(text).toUTF8String(expected);
        });
}
BENCHMARK(decoding);

void splitting(benchmark::State& state) {
    over_texts(
        state, [](const std::string& text) { return unicode::joined_lines(text); },
        [](const std::string& text, const std::optional<std::string>& lines) {
            std::string joined;
            for (const std::string& line : reference::reference_lines(text)) joined += line + '\n';
            return joined.empty() ? !lines : lines && *lines + '\n' == joined;
        });
}
BENCHMARK(splitting);

char ascii_lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Checked on the texts that are all ASCII, where lower-casing is a matter of 26 letters.
void lower_casing(benchmark::State& state) {
    over_texts(
        state, [](const std::string& text) { return unicode::lower(text); },
        [](const std::string& text, const std::string& lower) {
            return !unicode::is_ascii(text) ||
                   std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                              [](char a, char b) { return ascii_lower(a) == b; });
        });
}
BENCHMARK(lower_casing);

void chunking(benchmark::State& state) {
    over_texts(
        state, [](const std::string& text) { return code_text::code_chunks(text); },
        [](const std::string& text, const std::vector<Chunk>& chunks) {
            std::string joined = chunks.front().text;
            for (std::size_t i = 1; i < chunks.size(); ++i) joined += '\n' + chunks[i].text;
            return joined == unicode::joined_lines(text).value_or("");
        });
}
BENCHMARK(chunking);

}  // namespace
}  // namespace codetext::bench
