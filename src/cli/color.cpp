#include "cli/color.hpp"

#include <cstdlib>

namespace codetext::cli {

namespace {

std::string_view environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

}  // namespace

bool use_color(std::string_view when, bool is_terminal) {
    if (when != "auto") return when == "always";
    // https://no-color.org: any value but an empty one.
    return is_terminal && environment("NO_COLOR").empty() && environment("TERM") != "dumb";
}

}  // namespace codetext::cli
