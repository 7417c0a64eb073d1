#include "search/query/plain_alternatives.hpp"

#include <re2/re2.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "search/query/pattern_text.hpp"
#include "utils/unicode.hpp"

// RE2 shares what neighbouring alternatives begin with, and only that. Of thousands in any order it
// shares nothing: each state of its automaton then names them all, and it runs out of memory and
// into a search that takes time for each of them at each byte. So texts are put in the order of a
// trie, whose branches stand in the order in which the texts first take them. Two texts match at
// one place only if one begins with the other. So that such texts keep their order, those before
// one that ends at a fork and those after it are put in order by themselves.

namespace codetext::search {

namespace {

constexpr std::size_t MANY = 32;

struct Text {
    std::string literal;
    std::string folded;  ///< compared in its place
};
using Texts = std::span<Text>;

bool ends(const Text& text, std::size_t depth) { return depth == text.folded.size(); }

unsigned char branch(const Text& text, std::size_t depth) {
    return static_cast<unsigned char>(text.folded[depth]);
}

void arrange(Texts texts, std::size_t depth);

/// Puts texts in order that share their first `depth` bytes, and are all longer.
void arrange_branches(Texts texts, std::size_t depth) {
    std::array<std::uint16_t, 256> ranks{};
    std::uint16_t last_rank = 0;
    for (const Text& text : texts) {
        std::uint16_t& rank = ranks[branch(text, depth)];
        if (rank == 0) rank = ++last_rank;
    }
    const auto rank_of = [&](const Text& text) { return ranks[branch(text, depth)]; };
    std::ranges::stable_sort(texts, {}, rank_of);
    while (!texts.empty()) {
        const auto end = std::ranges::upper_bound(texts, rank_of(texts[0]), {}, rank_of);
        const auto count = static_cast<std::size_t>(end - texts.begin());
        arrange(texts.first(count), depth + 1);
        texts = texts.subspan(count);
    }
}

/// Puts texts in order that share their first `depth` bytes.
void arrange(Texts texts, std::size_t depth) {
    if (texts.size() < 2) return;
    const auto goes_on_as_first = [&](const Text& text) {
        return !ends(text, depth) && !ends(texts[0], depth) &&
               branch(text, depth) == branch(texts[0], depth);
    };
    while (std::ranges::all_of(texts, goes_on_as_first)) ++depth;
    while (!texts.empty()) {
        const auto end = std::ranges::find_if(texts, [&](const Text& t) { return ends(t, depth); });
        const auto count = static_cast<std::size_t>(end - texts.begin());
        arrange_branches(texts.first(count), depth);
        texts = texts.subspan(std::min(count + 1, texts.size()));
    }
}

/// Where the first "|" stands that no backslash escapes, or the end.
std::size_t alternative_end(std::string_view pattern) {
    std::size_t at = 0;
    while (at < pattern.size() && pattern[at] != '|') at += pattern[at] == '\\' ? 2 : 1;
    return std::min(at, pattern.size());
}

/// Adds the texts of a pattern; false when it is anything but texts.
bool add_texts(std::string_view pattern, std::vector<Text>& texts) {
    while (true) {
        const std::size_t end = alternative_end(pattern);
        std::optional<std::string> literal = literal_of(pattern.substr(0, end));
        if (!literal) return false;
        texts.push_back({*literal, *literal});
        if (end == pattern.size()) return true;
        pattern.remove_prefix(end + 1);
    }
}

}  // namespace

std::optional<std::vector<std::string>> plain_alternatives(const std::vector<std::string>& patterns,
                                                           bool case_sensitive) {
    std::vector<Text> texts;
    for (const std::string& pattern : patterns) {
        if (!add_texts(pattern, texts)) return std::nullopt;
        if (!case_sensitive && !unicode::is_ascii(pattern)) return std::nullopt;
    }
    if (texts.size() < MANY) return std::nullopt;
    for (Text& text : texts) {
        if (!case_sensitive) text.folded = unicode::lower(text.literal);
    }
    arrange(texts, 0);
    std::vector<std::string> arranged;
    arranged.reserve(texts.size());
    for (const Text& text : texts) arranged.push_back(RE2::QuoteMeta(text.literal));
    return arranged;
}

}  // namespace codetext::search
