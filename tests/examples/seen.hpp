#pragma once

// What the examples take for granted: functions that take whatever an example hands out.

#include <sstream>
#include <string>
#include <string_view>

namespace codetext::test {

/// Remembers what it is called with as one text: a ":" between values, a "," after each call.
class Seen {
  public:
    template <typename... Values>
    void operator()(const Values&... values) {
        std::string_view separator;
        ((_add(separator, values), separator = ":"), ...);
        text += ",";
    }
    std::string text;

  private:
    template <typename Value>
    void _add(std::string_view separator, const Value& value) {
        text += separator;
        if constexpr (requires { value.text.view(); }) {  // a chunk
            text += value.text.view();
        } else if constexpr (requires { value.text(); }) {  // lines
            text += value.text();
        } else if constexpr (requires { value.entry.path; }) {  // a file of the indexer
            text += value.entry.path;
        } else if constexpr (requires { value.packed; }) {  // what became of it
            text += value.error.empty() ? "chunks" : value.error;
        } else if constexpr (requires { value.files.size(); }) {  // a batch of files
            text += std::to_string(value.files.size());
        } else if constexpr (requires(std::ostream & out) { out << value; }) {
            text += (std::ostringstream() << value).str();
        } else {
            text += std::to_string(value.size());
        }
    }
};

/// The names that the examples have for such functions.
struct Takers {
    Seen seen;
    Seen &look_at = seen, &mark = seen, &match = seen, &parse = seen, &parse_again = seen,
         &print = seen, &read_rows_of = seen, &report = seen, &search_in = seen, &show = seen,
         &store = seen, &use = seen;
};

}  // namespace codetext::test
