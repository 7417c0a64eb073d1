#pragma once

// Names that a misspelt one may stand for, such as "color" for "colour".

#include <string>
#include <string_view>
#include <vector>

namespace codetext::cli {

/// Those of `known` that begin with `given`; else those that the fewest edits lead to: a character
/// added, left out, replaced, or two neighbours swapped. One edit is allowed for each three
/// characters of `given`, and one for a name of two. At most five, in the order of `known`.
std::vector<std::string_view> nearest_names(std::string_view given,
                                            const std::vector<std::string_view>& known);

/// The end of a message, each name with `prefix` in front; empty when there is no name.
std::string did_you_mean(const std::vector<std::string_view>& names, std::string_view prefix = "");

}  // namespace codetext::cli
