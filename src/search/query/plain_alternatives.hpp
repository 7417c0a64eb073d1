#pragma once

// Many plain texts as one regular expression that RE2 is quick with. Private to search.

#include <optional>
#include <string>
#include <vector>

namespace codetext::search {

/// The plain texts that `patterns` stand for, when each is nothing but such texts with "|" between
/// them, and they are many: each as a pattern, in an order in which those that begin alike stand
/// together. What is matched, and which text matches first at a place, is as in the given order.
/// None for other patterns, and for few; unless `case_sensitive`, for texts beyond ASCII too.
std::optional<std::vector<std::string>> plain_alternatives(const std::vector<std::string>& patterns,
                                                           bool case_sensitive);

}  // namespace codetext::search
