#pragma once

// What a query looks for, in words.

#include <string>
#include <vector>

#include "search/query/query.hpp"

namespace codetext::search {

/// A line each: what is looked for, what every matching line holds, and what the trigram index is
/// asked for.
std::vector<std::string> description_of(const Query& query);

}  // namespace codetext::search
