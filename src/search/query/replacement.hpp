#pragma once

// What is shown in place of a match.
//
//   search::Replacement replacement({.patterns = {"(\\w+)_probe"}}, "${1}_remove");
//   std::string text = replacement.of("int foo_probe(void)", {4, 13});  // "foo_remove"

#include <memory>
#include <string>
#include <string_view>

#include "search/query/match_span.hpp"
#include "search/query/query.hpp"

namespace codetext::search {

/// Safe for use by several threads at once.
class Replacement {
  public:
    /// In `form`, `$1` or `${1}` stands for what the first group of the pattern took in, `$name` or
    /// `${name}` for the group of that name, `$0` for the whole match, `$$` for a dollar. A name
    /// goes as far as letters, digits and underscores do. A group that took no part, or is not
    /// there, gives nothing. Throws std::invalid_argument as make_query does.
    Replacement(const QueryOptions& options, std::string form);
    ~Replacement();
    Replacement(Replacement&&) noexcept;

    /// What is shown for the match at `span` of the line.
    std::string of(std::string_view line, MatchSpan span) const;

  private:
    class Groups;
    std::string _form;
    std::unique_ptr<const Groups> _groups;
};

}  // namespace codetext::search
