#pragma once

// The slow, obvious form of what the library does cleverly, for tests to compare with, and the
// texts to compare on: every short one over an alphabet, then random longer ones.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace codetext::reference {

/// The parts of `text` between its separators; none of the empty text.
inline std::vector<std::string> words(std::string_view text, char separator = ' ') {
    std::vector<std::string> result(text.empty() ? 0 : 1);
    for (const char byte : text) {
        if (byte == separator) result.emplace_back();
        if (byte != separator) result.back() += byte;
    }
    return result;
}

inline std::vector<std::string> reference_lines(std::string_view text) {
    static const std::vector<std::string> BOUNDARIES = {
        "\r\n", "\n", "\r", "\v", "\f", "\x1C", "\x1D", "\x1E", "\u0085", "\u2028", "\u2029"};
    std::vector<std::string> lines;
    bool open = false;
    while (!text.empty()) {
        if (!std::exchange(open, true)) lines.emplace_back();
        const auto boundary = std::find_if(BOUNDARIES.begin(), BOUNDARIES.end(),
                                           [&](auto& one) { return text.starts_with(one); });
        open = boundary == BOUNDARIES.end();
        if (open) lines.back() += text.front();
        text.remove_prefix(open ? 1 : boundary->size());
    }
    return lines;
}

/// Random texts: runs of one unit between random ones, so that a vector's border falls on all sorts
/// of neighbours.
class RandomTexts {
  public:
    static constexpr std::uint32_t SEED = 20240607;  ///< printed with a failure

    explicit RandomTexts(std::vector<std::string> alphabet) : _alphabet(std::move(alphabet)) {}

    std::size_t below(std::size_t end) { return _random() % end; }

    std::string text(std::size_t most_runs) {
        std::string result;
        for (std::size_t runs = below(most_runs + 1); runs > 0; --runs) {
            const std::string& unit = _alphabet[below(_alphabet.size())];
            const std::size_t times = below(4) == 0 ? below(40) : 1;
            for (std::size_t i = 0; i < times; ++i) result += unit;
        }
        return result;
    }

  private:
    std::vector<std::string> _alphabet;
    std::mt19937 _random{SEED};
};

/// Calls `check` with every text of at most `most` units of `alphabet`, the shortest first, and
/// then with random longer ones, until an ASSERT fails.
template <typename Check>
void for_texts(const std::vector<std::string>& alphabet, int most, Check check) {
    std::vector<std::string> texts = {""};
    for (int units = 0; units <= most; ++units) {
        std::vector<std::string> longer;
        for (const std::string& text : texts) {
            check(text);
            if (testing::Test::HasFatalFailure()) return;
            for (const std::string& unit : alphabet) {
                if (units < most) longer.push_back(text + unit);
            }
        }
        texts = std::move(longer);
    }
    SCOPED_TRACE(RandomTexts::SEED);
    RandomTexts random(alphabet);
    for (int i = 0; i < 20000 && !testing::Test::HasFatalFailure(); ++i) check(random.text(24));
}

}  // namespace codetext::reference
