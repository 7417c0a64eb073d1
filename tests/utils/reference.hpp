#pragma once

// The slow, obvious form of what the library does cleverly, for tests to compare with, and the
// texts to compare on: every short one over an alphabet, then random longer ones.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <utility>
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

/// Decodes by the well-formed sequences of the Unicode Standard, Table 3-7: the range of the first
/// byte, that of the second, and how many there are; those behind the second are all of one range.
inline std::string reference_decode(std::string_view bytes) {
    static constexpr int SEQUENCES[][5] = {
        {0x00, 0x7F, 0x00, 0x00, 1}, {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
        {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
        {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4}};
    std::string text;
    while (!bytes.empty()) {
        const auto in_range = [&](std::size_t at, int from, int to) {
            const int byte = at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : -1;
            return byte >= from && byte <= to;
        };
        std::size_t length = 1;
        bool whole = false;
        for (const auto& [first, last, second_first, second_last, size] : SEQUENCES) {
            if (!in_range(0, first, last)) continue;
            if (size > 1 && in_range(1, second_first, second_last)) ++length;
            while (length > 1 && std::cmp_less(length, size) && in_range(length, 0x80, 0xBF))
                ++length;
            whole = std::cmp_equal(length, size);
        }
        text += whole ? bytes.substr(0, length) : "\xEF\xBF\xBD";
        bytes.remove_prefix(length);
    }
    return text;
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
