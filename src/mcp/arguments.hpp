#pragma once

// The arguments of a call, checked against the table of its tool.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "mcp/message.hpp"
#include "mcp/tools.hpp"

namespace codetext::mcp {

class Arguments {
  public:
    /// `given` is the object of a call's arguments, or none. Throws ProtocolError for one that is
    /// unknown, missing, of another type or out of its bounds. Both must outlive it.
    Arguments(const Tool& tool, const Json* given);

    /// What was given, or else "", no text, false, or the number's fallback. Only for names that
    /// the tool has.
    std::string text(std::string_view name) const;
    std::vector<std::string> texts(std::string_view name) const;
    bool flag(std::string_view name) const;
    std::int64_t number(std::string_view name) const;
    bool has(std::string_view name) const { return _value(name) != nullptr; }

    /// All that decides which results there are, in one text.
    std::string question() const;

  private:
    const Json* _value(std::string_view name) const;
    const Tool* _tool;
    const Json* _given;
};

}  // namespace codetext::mcp
