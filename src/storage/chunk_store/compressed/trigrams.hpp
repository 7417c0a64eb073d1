#pragma once

// Trigrams: what the trigram index knows of a text. A trigram is three bytes in a row of its UTF-8,
// ASCII capitals folded. None of the three is LF, since no line holds one. A text with a letter
// that lower-cases to ASCII (U+212A, U+0130) has the trigrams of its lower-case form as well, so
// that a search that ignores case finds it.

#include <cstdint>
#include <string_view>
#include <vector>

namespace codetext::chunk_store {

/// Number of possible trigrams.
inline constexpr std::uint32_t TRIGRAMS = 1u << 24;

/// Finds the distinct trigrams of texts. Holds bitmaps of up to 2 MB: make one for each thread.
class TrigramCollector {
  public:
    TrigramCollector();
    /// Appends the distinct trigrams of `text`, in no order, and returns how many.
    std::uint32_t append(std::string_view text, std::vector<std::uint32_t>& trigrams);

  private:
    template <unsigned BITS_PER_BYTE>
    void _collect(std::string_view text, std::vector<std::uint64_t>& table);
    // One bit for each trigram. Between calls only the bits of those that hold an LF are set.
    std::vector<std::uint64_t> _seen_ascii;
    std::vector<std::uint64_t> _seen_any;  ///< made for the first text beyond ASCII
    std::vector<std::uint32_t> _found;
};

}  // namespace codetext::chunk_store
