#pragma once

// The slow, obvious form of what the library does cleverly, for tests to compare with, and the
// texts to compare on: every short one over an alphabet, then random longer ones.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace codetext::reference {

/// Decodes by the well-formed sequences of the Unicode Standard, Table 3-7, a range for each byte.
inline std::string reference_decode(std::string_view bytes) {
    using Range = std::pair<int, int>;
    static const std::vector<std::vector<Range>> SEQUENCES = {
        {{0x00, 0x7F}},
        {{0xC2, 0xDF}, {0x80, 0xBF}},
        {{0xE0, 0xE0}, {0xA0, 0xBF}, {0x80, 0xBF}},
        {{0xE1, 0xEC}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xED, 0xED}, {0x80, 0x9F}, {0x80, 0xBF}},
        {{0xEE, 0xEF}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xF0, 0xF0}, {0x90, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xF1, 0xF3}, {0x80, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xF4, 0xF4}, {0x80, 0x8F}, {0x80, 0xBF}, {0x80, 0xBF}},
    };
    std::string text;
    while (!bytes.empty()) {
        std::size_t longest = 0;
        bool whole = false;
        for (const auto& sequence : SEQUENCES) {
            std::size_t n = 0;
            const auto in_range = [&](std::size_t i) {
                const int byte = static_cast<unsigned char>(bytes[i]);
                return byte >= sequence[i].first && byte <= sequence[i].second;
            };
            while (n < sequence.size() && n < bytes.size() && in_range(n)) ++n;
            longest = std::max(longest, n);
            whole = whole || n == sequence.size();
        }
        text += whole ? std::string(bytes.substr(0, longest)) : "\xEF\xBF\xBD";
        bytes.remove_prefix(std::max<std::size_t>(longest, 1));
    }
    return text;
}

inline std::vector<std::string> reference_lines(std::string_view text) {
    static constexpr std::array<std::string_view, 11> BOUNDARIES = {
        "\r\n", "\n", "\r", "\v", "\f", "\x1C", "\x1D", "\x1E", "\u0085", "\u2028", "\u2029"};
    std::vector<std::string> lines;
    bool open = false;
    while (!text.empty()) {
        if (!std::exchange(open, true)) lines.emplace_back();
        const auto* boundary =
            std::find_if(BOUNDARIES.begin(), BOUNDARIES.end(),
                         [&](std::string_view candidate) { return text.starts_with(candidate); });
        open = boundary == BOUNDARIES.end();
        if (open) lines.back() += text.front();
        text.remove_prefix(open ? 1 : boundary->size());
    }
    return lines;
}

/// The lines joined by one LF each; none when there are none.
inline std::optional<std::string> reference_joined(const std::vector<std::string>& lines) {
    if (lines.empty()) return std::nullopt;
    std::string joined = lines.front();
    for (std::size_t i = 1; i < lines.size(); ++i) joined += "\n" + lines[i];
    return joined;
}

inline std::size_t reference_find(std::string_view text, std::string_view needle,
                                  std::size_t from = 0) {
    for (std::size_t at = from; at + needle.size() <= text.size(); ++at) {
        if (text.substr(at, needle.size()) == needle) return at;
    }
    return std::string_view::npos;
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
