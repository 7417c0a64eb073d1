#pragma once

#include <string>
#include <string_view>

namespace codetext::search {

/// The regular expression with each group `(?<name>...)` written as `(?P<name>...)`, which older
/// RE2 takes too. `(?<=` and `(?<!` stay, for RE2 to refuse.
std::string with_named_groups(std::string_view pattern);

}  // namespace codetext::search
