// The number of edits is the optimal string alignment distance: a table with a row for each prefix
// of one name and a column for each prefix of the other, of which three rows are kept. It takes
// time in the product of the two lengths.

#include "cli/nearest_name.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

namespace codetext::cli {
namespace {

constexpr std::size_t MOST_NAMES = 5;

std::size_t edits(std::string_view one, std::string_view other) {
    std::vector<std::size_t> two_back, back(other.size() + 1), row(other.size() + 1);
    for (std::size_t j = 0; j <= other.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= one.size(); ++i) {
        two_back = std::exchange(back, row);
        row[0] = i;
        for (std::size_t j = 1; j <= other.size(); ++j) {
            const std::size_t replaced = back[j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1);
            row[j] = std::min({back[j] + 1, row[j - 1] + 1, replaced});
            const bool swapped =
                i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1];
            if (swapped) row[j] = std::min(row[j], two_back[j - 2] + 1);
        }
    }
    return row.back();
}

std::vector<std::string_view> beginning_with(std::string_view given,
                                             const std::vector<std::string_view>& known) {
    std::vector<std::string_view> names;
    std::ranges::copy_if(known, std::back_inserter(names),
                         [&](std::string_view name) { return name.starts_with(given); });
    return names;
}

}  // namespace

std::vector<std::string_view> nearest_names(std::string_view given,
                                            const std::vector<std::string_view>& known) {
    if (given.empty()) return {};
    std::vector<std::string_view> names = beginning_with(given, known);
    std::size_t fewest = given.size() < 2 ? 0 : std::max<std::size_t>(1, given.size() / 3);
    for (const std::string_view name : names.empty() ? known : std::vector<std::string_view>()) {
        const std::size_t count = edits(given, name);
        if (count > fewest) continue;
        if (count < fewest) names.clear();
        fewest = count;
        names.push_back(name);
    }
    names.resize(std::min(names.size(), MOST_NAMES));
    return names;
}

std::string did_you_mean(const std::vector<std::string_view>& names, std::string_view prefix) {
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const bool is_last = i + 1 == names.size();
        text += i == 0 ? "; did you mean " : is_last ? " or " : ", ";
        text.append(prefix).append(names[i]);
    }
    return text.empty() ? text : text + '?';
}

}  // namespace codetext::cli
