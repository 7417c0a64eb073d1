#pragma once

// The tools that the server has, as data: what `tools/list` shows, and what a call is checked with.

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace codetext::mcp {

/// Whether a tool can be had: one that writes is left out of a server that must not.
enum class Effect { READS, WRITES };

struct Parameter {
    enum class Kind { TEXT, TEXTS, FLAG, NUMBER };
    std::string_view name;
    Kind kind;
    std::string_view help;
    bool is_required = false;
    std::int64_t least = 0, most = 0, fallback = 0;  ///< of a number
    /// It says how much of the results is shown, not which results there are.
    bool is_of_page = false;
};

/// The properties of a result, each as JSON of a schema; an empty one is left out.
using Properties = std::array<std::string_view, 6>;

struct Tool {
    std::string_view name, title, description;
    Effect effect;
    std::span<const Parameter> parameters;
    Properties result;
    std::string_view required;  ///< of the result's properties, as a JSON array
};

/// None of this name: nullptr.
const Tool* tool_named(std::string_view name, bool may_write);

/// The result of `tools/list`, JSON.
std::string tool_list(bool may_write);

}  // namespace codetext::mcp
